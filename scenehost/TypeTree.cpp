#include "TypeTree.h"

#include "qv/scene.h"
#include "qv/shade.h"

#include <algorithm>
#include <stdexcept>

namespace scenehost {

namespace {

ChannelDef Int(const char* name, int32_t v) {
    return {name, ChannelKind::Integer, ChannelValue::Integer(v)};
}
ChannelDef Num(const char* name, double v) {
    return {name, ChannelKind::Double, ChannelValue::Double(v)};
}
ChannelDef Text(const char* name, const char* v) {
    return {name, ChannelKind::String, ChannelValue::String(v)};
}
ChannelDef Obj(const char* name) {
    return {name, ChannelKind::Object, ChannelValue::None(ChannelKind::Object)};
}
ChannelDef Mat(const char* name) {
    return {name, ChannelKind::Matrix, ChannelValue::None(ChannelKind::Matrix)};
}

// Three number channels of one default: X, Y and Z, or R, G and B.
std::vector<ChannelDef> Three(const char* a, const char* b, const char* c, double v) {
    return {Num(a, v), Num(b, v), Num(c, v)};
}

std::vector<ChannelDef> Join(std::vector<ChannelDef> a, const std::vector<ChannelDef>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

} // namespace

int32_t TypeDef::Channel(const std::string& channelName) const {
    auto it = channelIndex.find(channelName);
    return it == channelIndex.end() ? -1 : static_cast<int32_t>(it->second);
}

TypeTree::TypeTree() {
    // The scene item: the current time, the frame rate, the whole range and the current (play)
    // range, all in seconds. A new scene runs 0 to 5 seconds, 120 frames at 24 per second.
    Define("scene", "",
           {Num(qvChanTime, 0.0), Num("fps", 24.0), Num("sceneS", 0.0), Num("sceneE", 5.0),
            Num("currentS", 0.0), Num("currentE", 5.0)});
    DefineLocators();
    DefineTransforms();
    DefineShading();
    DefineOthers();
}

void TypeTree::DefineLocators() {
    // The matrices are the host's computed transforms. "visible" 0 is the default state, in
    // which the item shows; any other value hides it.
    Define("locator", "",
           {Mat(qvChanWposMatrix), Mat(qvChanWrotMatrix), Mat(qvChanWsclMatrix),
            Mat(qvChanWorldMatrix), Mat(qvChanLocalMatrix), Mat(qvChanParentMatrix),
            Int(qvChanVisible, 0)});
    Define("groupLocator", "locator", {});
    Define("camera", "locator",
           {Num("focalLen", 0.05), Num("apertureX", 0.036), Num("apertureY", 0.024)});
    Define("light", "locator", {Num("radiance", 3.0)});
    Define("sunLight", "light", {});
    Define("pointLight", "light", {Num("radius", 0.0)});
    Define("spotLight", "light", {Num("cone", 0.7)});
    Define("areaLight", "light", {Num("width", 1.0), Num("height", 1.0)});
    Define("mesh", "locator", {Obj(qvChanMesh)});
    Define("meshInst", "locator", {});
    Define("triSurf", "locator", {Obj(qvChanSurf)});
    // Texture locators place a texture layer; projType 6 is a UV map projection.
    Define("txtrLocator", "locator",
           {Int(qvChanProjType, 6), Text(qvChanUvMap, ""), Int(qvChanTileU, 1), Int(qvChanTileV, 1),
            Num(qvChanWrapU, 1.0), Num(qvChanWrapV, 1.0)});
    Define("replicator", "locator", {Int(qvChanEnable, 1)});
}

void TypeTree::DefineTransforms() {
    // Transform items of a locator's stack. X, Y and Z stand at indices 0 to 2 in each kind,
    // which a plug-in may rely on. Rotations are in radians; "order" 0 to 5 is XYZ, XZY, YXZ,
    // YZX, ZXY, ZYX, the axes in the order they are applied.
    Define("transform", "", {});
    Define("translation", "transform", Three(qvChanPosX, qvChanPosY, qvChanPosZ, 0.0));
    Define("rotation", "transform",
           Join(Three(qvChanRotX, qvChanRotY, qvChanRotZ, 0.0), {Int("order", 0)}));
    Define("scale", "transform", Three(qvChanSclX, qvChanSclY, qvChanSclZ, 1.0));
    Define("shear", "transform", Three("shr.X", "shr.Y", "shr.Z", 0.0));
}

void TypeTree::DefineShading() {
    // Every layer of the shader tree is a texture layer: masks, materials, shaders, image maps.
    // A mask selects polygons by the tag named in "ptag", of the kind named in "ptyp"; its
    // children are its layers, in order, index 0 at the bottom of the tree as the user sees it.
    Define("textureLayer", "", {Int(qvChanEnable, 1), Num("opacity", 1.0), Text(qvChanEffect, "")});
    Define("mask", "textureLayer", {Text(qvChanPtag, ""), Text(qvChanPtyp, "Material")});
    Define("advancedMaterial", "textureLayer",
           Join(Three("diffCol.R", "diffCol.G", "diffCol.B", 0.8),
                {Num("diffAmt", 0.8), Num(qvChanDissAmt, 0.0), Int(qvChanDblSided, 0)}));
    // A new image map drives the diffuse colour with all of the image: "swizzling" off, and
    // "rgba" 0 (RGB; 2 alpha, 3 red, 4 green, 5 blue) picks the channel once it is on.
    Define("imageMap", "textureLayer",
           {Text(qvChanEffect, "diffColor"), Int(qvChanSwizzling, 0), Int(qvChanRgba, 0)});
    // The glTF layer holds glTF's own factors under glTF's names, with glTF's defaults: white,
    // fully metallic and rough, no emission. "shadeModel" 1 makes it unlit.
    Define(
        "glTFShader", "textureLayer",
        Join(Join(Three(qvChanBaseColorR, qvChanBaseColorG, qvChanBaseColorB, 1.0),
                  {Int(qvChanShadeModel, 0), Num(qvChanMetallic, 1.0), Num(qvChanRoughness, 1.0)}),
             Join(Three(qvChanEmissiveR, qvChanEmissiveG, qvChanEmissiveB, 0.0),
                  {Num(qvChanEmissiveLevel, 1.0), Num(qvChanNormalScale, 1.0),
                   Num(qvChanAoScale, 1.0)})));
    Define("unityShader", "textureLayer", {});
    Define("unrealShader", "textureLayer", {});
    Define("lightMaterial", "textureLayer", Three("lightCol.R", "lightCol.G", "lightCol.B", 1.0));
    Define("polyRender", "textureLayer", {Int(qvChanResX, 640), Int(qvChanResY, 480)});
    // An image clip: the file that image maps can show.
    Define("videoStill", "", {Text("filename", "")});
}

void TypeTree::DefineOthers() {
    Define("morphDeform", "", {Int(qvChanEnable, 1), Num("strength", 1.0), Text("mapName", "")});
    Define("deformGroup", "", {Int(qvChanEnable, 1)});
    Define("ikFullBody", "", {Int(qvChanEnable, 1)});
    // A deformer item: a joint of a deform group or a deformer linked to a mesh. With "type" 1
    // its weights are the mesh's weight map named by "name". A locator moves it (DeformerLocator).
    Define("influence", "", {Int(qvChanEnable, 1), Int("type", 1), Text("name", "")});
    // "active" and "enable" of a clip are what IQvActionClip reads and sets (setup values).
    Define("actionclip", "", {Int(qvChanEnable, 1), Int("active", 0)});
    Define("group", "", {});
}

void TypeTree::Define(const std::string& name, const std::string& super,
                      std::vector<ChannelDef> own) {
    TypeDef def;
    def.name = name;
    def.code = static_cast<QvTypeCode>(types_.size() + 1);
    if (!super.empty()) {
        const TypeDef* parent = Find(super);
        if (!parent) throw std::logic_error("type catalogue: super-type defined late: " + super);
        def.super = parent->code;
        def.channels = parent->channels;
    }
    for (ChannelDef& channel : own) {
        // A channel that the super-type has already keeps its place and takes this type's
        // default: the host's image maps show "diffColor" where other layers have no effect.
        auto inherited = std::find_if(def.channels.begin(), def.channels.end(),
                                      [&](const ChannelDef& c) { return c.name == channel.name; });
        if (inherited == def.channels.end()) {
            def.channels.push_back(std::move(channel));
            continue;
        }
        if (inherited->kind != channel.kind)
            throw std::logic_error("type catalogue: " + name + " changes the kind of " +
                                   channel.name);
        inherited->defaultValue = std::move(channel.defaultValue);
    }
    for (uint32_t i = 0; i < def.channels.size(); ++i)
        def.channelIndex[def.channels[i].name] = i;
    byName_[name] = def.code;
    types_.push_back(std::move(def));
}

const TypeDef* TypeTree::Find(const std::string& name) const {
    if (hidden_.count(name)) return nullptr;
    auto it = byName_.find(name);
    return it == byName_.end() ? nullptr : &types_[it->second - 1];
}

const TypeDef* TypeTree::Find(QvTypeCode code) const {
    if (code == 0 || code > types_.size()) return nullptr;
    return &types_[code - 1];
}

bool TypeTree::Derives(QvTypeCode type, QvTypeCode ancestor) const {
    for (const TypeDef* t = Find(type); t; t = Find(t->super))
        if (t->code == ancestor) return true;
    return false;
}

bool TypeTree::Derives(QvTypeCode type, const std::string& ancestorName) const {
    auto it = byName_.find(ancestorName); // absent types still classify the items of the scene
    return it != byName_.end() && Derives(type, it->second);
}

void TypeTree::Hide(const std::string& name) {
    hidden_.insert(name);
}

} // namespace scenehost
