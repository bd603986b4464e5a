#include "TypeTree.h"

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

// Three channels "<prefix>.X", ".Y", ".Z" of one default.
std::vector<ChannelDef> Xyz(const std::string& prefix, double v) {
    std::vector<ChannelDef> out;
    for (const char* axis : {".X", ".Y", ".Z"})
        out.push_back({prefix + axis, ChannelKind::Double, ChannelValue::Double(v)});
    return out;
}

std::vector<ChannelDef> Rgb(const std::string& prefix, double v) {
    std::vector<ChannelDef> out;
    for (const char* c : {".R", ".G", ".B"})
        out.push_back({prefix + c, ChannelKind::Double, ChannelValue::Double(v)});
    return out;
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
           {Num("time", 0.0), Num("fps", 24.0), Num("sceneS", 0.0), Num("sceneE", 5.0),
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
           {Mat("wposMatrix"), Mat("wrotMatrix"), Mat("wsclMatrix"), Mat("worldMatrix"),
            Mat("localMatrix"), Mat("parentMatrix"), Int("visible", 0)});
    Define("groupLocator", "locator", {});
    Define("camera", "locator",
           {Num("focalLen", 0.05), Num("apertureX", 0.036), Num("apertureY", 0.024)});
    Define("light", "locator", {Num("radiance", 3.0)});
    Define("sunLight", "light", {});
    Define("pointLight", "light", {Num("radius", 0.0)});
    Define("spotLight", "light", {Num("cone", 0.7)});
    Define("areaLight", "light", {Num("width", 1.0), Num("height", 1.0)});
    Define("mesh", "locator", {Obj("mesh")});
    Define("meshInst", "locator", {});
    Define("triSurf", "locator", {Obj("surf")});
    // Texture locators place a texture layer; projType 6 is a UV map projection.
    Define("txtrLocator", "locator",
           {Int("projType", 6), Text("uvMap", ""), Int("tileU", 1), Int("tileV", 1),
            Num("wrapU", 1.0), Num("wrapV", 1.0)});
    Define("replicator", "locator", {Int("enable", 1)});
}

void TypeTree::DefineTransforms() {
    // Transform items of a locator's stack. X, Y and Z stand at indices 0 to 2 in each kind,
    // which a plug-in may rely on. Rotations are in radians; "order" 0 to 5 is XYZ, XZY, YXZ,
    // YZX, ZXY, ZYX, the axes in the order they are applied.
    Define("transform", "", {});
    Define("translation", "transform", Xyz("pos", 0.0));
    Define("rotation", "transform", Join(Xyz("rot", 0.0), {Int("order", 0)}));
    Define("scale", "transform", Xyz("scl", 1.0));
    Define("shear", "transform", Xyz("shr", 0.0));
}

void TypeTree::DefineShading() {
    // Every layer of the shader tree is a texture layer: masks, materials, shaders, image maps.
    // A mask selects polygons by the tag named in "ptag", of the kind named in "ptyp"; its
    // children are its layers, in order, index 0 at the bottom of the tree as the user sees it.
    Define("textureLayer", "", {Int("enable", 1), Num("opacity", 1.0), Text("effect", "")});
    Define("mask", "textureLayer", {Text("ptag", ""), Text("ptyp", "Material")});
    Define(
        "advancedMaterial", "textureLayer",
        Join(Rgb("diffCol", 0.8), {Num("diffAmt", 0.8), Num("dissAmt", 0.0), Int("dblSided", 0)}));
    // A new image map drives the diffuse colour with all of the image: "swizzling" off, and
    // "rgba" 0 (RGB; 2 alpha, 3 red, 4 green, 5 blue) picks the channel once it is on.
    Define("imageMap", "textureLayer",
           {Text("effect", "diffColor"), Int("swizzling", 0), Int("rgba", 0)});
    // The glTF layer holds glTF's own factors under glTF's names, with glTF's defaults: white,
    // fully metallic and rough, no emission. "shadeModel" 1 makes it unlit.
    Define("glTFShader", "textureLayer",
           Join(Join(Rgb("baseColor", 1.0),
                     {Int("shadeModel", 0), Num("metallic", 1.0), Num("roughness", 1.0)}),
                Join(Rgb("emissive", 0.0),
                     {Num("emissivelevel", 1.0), Num("normalscale", 1.0), Num("aoscale", 1.0)})));
    Define("unityShader", "textureLayer", {});
    Define("unrealShader", "textureLayer", {});
    Define("lightMaterial", "textureLayer", Rgb("lightCol", 1.0));
    Define("polyRender", "textureLayer", {Int("resX", 640), Int("resY", 480)});
    // An image clip: the file that image maps can show.
    Define("videoStill", "", {Text("filename", "")});
}

void TypeTree::DefineOthers() {
    Define("morphDeform", "", {Int("enable", 1), Num("strength", 1.0), Text("mapName", "")});
    Define("deformGroup", "", {Int("enable", 1)});
    Define("ikFullBody", "", {Int("enable", 1)});
    // A deformer item: a joint of a deform group or a deformer linked to a mesh. With "type" 1
    // its weights are the mesh's weight map named by "name". A locator moves it (DeformerLocator).
    Define("influence", "", {Int("enable", 1), Int("type", 1), Text("name", "")});
    // "active" and "enable" of a clip are what IQvActionClip reads and sets (setup values).
    Define("actionclip", "", {Int("enable", 1), Int("active", 0)});
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
