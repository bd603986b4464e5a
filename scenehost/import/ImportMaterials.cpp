// Materials as the host's shader tree holds them: under one render item, a mask per material
// that selects the polygons of its tag, holding a glTF shader with the material's factors, a host
// material before it when the material is see-through (its dissolve is what makes a save blend),
// and an image map per texture, placed by a texture locator on the texture's UV map.
#include "ImportContext.h"
#include "Utf8.h"

#include <assimp/material.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

namespace scenehost::import {

namespace fs = std::filesystem;

namespace {

// The texture kinds a glTF material has, with the image map effect of each.
struct TextureKind {
    aiTextureType type;
    const char* effect;
};
const TextureKind kTextureKinds[] = {
    {aiTextureType_BASE_COLOR, "baseColorGLTF"}, {aiTextureType_DIFFUSE, "baseColorGLTF"},
    {aiTextureType_NORMALS, "normalGLTF"},       {aiTextureType_EMISSIVE, "emisGLTF"},
    {aiTextureType_LIGHTMAP, "aoGLTF"},
};

std::string UniqueTag(const std::string& wanted, std::set<std::string>& taken, size_t index) {
    std::string tag = wanted.empty() ? "Material" + std::to_string(index) : wanted;
    for (int n = 2; !taken.insert(tag).second; ++n)
        tag = (wanted.empty() ? "Material" : wanted) + " " + std::to_string(n);
    return tag;
}

void Item(JsonOut& json, const std::string& id, const char* type, const std::string& name,
          const std::string& parent) {
    Key(json, "id");
    json.String(id.c_str());
    Key(json, "type");
    json.String(type);
    Key(json, "name");
    json.String(name.c_str());
    if (!parent.empty()) {
        Key(json, "parent");
        json.String(parent.c_str());
    }
}

class MaterialWriter {
public:
    explicit MaterialWriter(ImportContext& context) : context_(context), json_(context.json) {}

    void WriteAll() {
        const aiScene& model = context_.model;
        std::set<std::string> taken;
        for (unsigned m = 0; m < model.mNumMaterials; ++m)
            context_.materialTags.push_back(
                UniqueTag(model.mMaterials[m]->GetName().C_Str(), taken, m));
        json_.StartObject();
        Item(json_, "render", "polyRender", "Render", "");
        json_.EndObject();
        for (unsigned m = 0; m < model.mNumMaterials; ++m)
            WriteMaterial(*model.mMaterials[m], m);
    }

private:
    void WriteMaterial(const aiMaterial& material, unsigned index) {
        const std::string tag = context_.materialTags[index];
        const std::string mask = "mask" + std::to_string(index);
        json_.StartObject();
        Item(json_, mask, "mask", tag + " (Material)", "render");
        Key(json_, "channels");
        json_.StartObject();
        Key(json_, "ptag");
        json_.String(tag.c_str());
        json_.EndObject();
        json_.EndObject();

        float opacity = 1.0f;
        if (material.Get(AI_MATKEY_OPACITY, opacity) == AI_SUCCESS && opacity < 1.0f)
            WriteHostMaterial(mask, opacity);
        WriteShader(material, mask);
        for (const TextureKind& kind : kTextureKinds)
            WriteTextures(material, kind, mask);
    }

    void WriteHostMaterial(const std::string& mask, float opacity) {
        json_.StartObject();
        Item(json_, mask + "host", "advancedMaterial", "Material", mask);
        Key(json_, "channels");
        json_.StartObject();
        Key(json_, "dissAmt");
        json_.Double(1.0 - double(opacity));
        json_.EndObject();
        json_.EndObject();
    }

    void WriteShader(const aiMaterial& material, const std::string& mask) {
        aiColor4D base(0.8f, 0.8f, 0.8f, 1.0f);
        if (material.Get(AI_MATKEY_BASE_COLOR, base) != AI_SUCCESS)
            material.Get(AI_MATKEY_COLOR_DIFFUSE, base);
        // Formats without metalness describe plastics and paints: not metal, fairly rough.
        float metallic = 0.0f, roughness = 0.8f;
        material.Get(AI_MATKEY_METALLIC_FACTOR, metallic);
        material.Get(AI_MATKEY_ROUGHNESS_FACTOR, roughness);
        aiColor3D emissive(0.0f, 0.0f, 0.0f);
        material.Get(AI_MATKEY_COLOR_EMISSIVE, emissive);
        json_.StartObject();
        Item(json_, mask + "shader", "glTFShader", "glTF Material", mask);
        Key(json_, "channels");
        json_.StartObject();
        const std::pair<const char*, float> channels[] = {
            {"baseColor.R", base.r},    {"baseColor.G", base.g},   {"baseColor.B", base.b},
            {"metallic", metallic},     {"roughness", roughness},  {"emissive.R", emissive.r},
            {"emissive.G", emissive.g}, {"emissive.B", emissive.b}};
        for (const auto& [name, value] : channels) {
            Key(json_, name);
            json_.Double(double(UnitRange(value)));
        }
        json_.EndObject();
        json_.EndObject();
    }

    void WriteTextures(const aiMaterial& material, const TextureKind& kind,
                       const std::string& mask) {
        // A diffuse texture stands in for a base colour one only where there is none.
        if (kind.type == aiTextureType_DIFFUSE &&
            material.GetTextureCount(aiTextureType_BASE_COLOR))
            return;
        for (unsigned t = 0; t < material.GetTextureCount(kind.type); ++t) {
            aiString path;
            unsigned uvIndex = 0;
            // Some formats name an empty texture where a material has none.
            if (material.GetTexture(kind.type, t, &path, nullptr, &uvIndex) != AI_SUCCESS ||
                path.length == 0)
                continue;
            const std::string image = ImagePath(path.C_Str());
            if (image.empty()) continue;
            const std::string id = mask + "image" + std::to_string(images_++);
            const std::string locator = id + "place";
            json_.StartObject();
            Item(json_, id, "imageMap", fs::path(image).filename().string(), mask);
            Key(json_, "image");
            json_.String(image.c_str());
            Key(json_, "textureLocator");
            json_.String(locator.c_str());
            Key(json_, "channels");
            json_.StartObject();
            Key(json_, "effect");
            json_.String(kind.effect);
            // The image's colour channels as they are, which is what glTF reads them as.
            Key(json_, "swizzling");
            json_.Int(1);
            Key(json_, "rgba");
            json_.Int(0);
            json_.EndObject();
            json_.EndObject();

            json_.StartObject();
            Item(json_, locator, "txtrLocator", "Texture Locator", "");
            Key(json_, "channels");
            json_.StartObject();
            Key(json_, "projType");
            json_.Int(6);
            Key(json_, "uvMap");
            json_.String(
                context_.uvMapNames.at(uvIndex < context_.uvMapNames.size() ? uvIndex : 0).c_str());
            json_.EndObject();
            json_.EndObject();
        }
    }

    // The image's path as the scene file gives it, or "" (with a warning) when there is none.
    std::string ImagePath(const std::string& given) {
        if (const aiTexture* embedded = context_.model.GetEmbeddedTexture(given.c_str()))
            return Placed(WriteEmbedded(*embedded, given));
        std::string path = given;
        for (char& c : path)
            if (c == '\\') c = '/';
        fs::path file =
            fs::path(path).is_absolute() ? fs::path(path) : fs::path(context_.modelFolder) / path;
        std::error_code error;
        if (!fs::is_regular_file(file, error)) {
            context_.warnings.push_back("the image '" + given + "' is not there; left out");
            return std::string();
        }
        const std::string absolute = fs::absolute(file, error).lexically_normal().string();
        if (!scenehost::IsValidUtf8(absolute)) {
            context_.warnings.push_back("the image path '" + given +
                                        "' is not UTF-8, which a scene file cannot hold; left out");
            return std::string();
        }
        return Placed(absolute);
    }

    std::string Placed(const std::string& absolute) const {
        if (absolute.empty() || context_.place.relativeTo.empty()) return absolute;
        std::error_code error;
        fs::path relative = fs::relative(absolute, context_.place.relativeTo, error);
        return error || relative.empty() ? absolute : relative.generic_string();
    }

    // An image the model holds in itself, written as a file of its own; "" when it is raw
    // texels (no file format) or cannot be written.
    std::string WriteEmbedded(const aiTexture& texture, const std::string& given) {
        if (texture.mHeight != 0 || context_.place.embeddedImageFolder.empty()) {
            context_.warnings.push_back("the embedded image '" + given +
                                        "' is raw pixels, not an image file; left out");
            return std::string();
        }
        std::string extension = texture.achFormatHint[0] ? texture.achFormatHint : "bin";
        if (extension == "jpeg") extension = "jpg";
        std::error_code error;
        fs::create_directories(context_.place.embeddedImageFolder, error);
        const fs::path file = fs::path(context_.place.embeddedImageFolder) /
                              ("embedded" + std::to_string(embedded_++) + "." + extension);
        std::ofstream out(file, std::ios::binary);
        out.write(reinterpret_cast<const char*>(texture.pcData), std::streamsize(texture.mWidth));
        if (!out.flush()) {
            context_.warnings.push_back("the embedded image '" + given +
                                        "' could not be written to " + file.string() +
                                        "; left out");
            return std::string();
        }
        return fs::absolute(file, error).lexically_normal().string();
    }

    ImportContext& context_;
    JsonOut& json_;
    size_t images_ = 0;
    size_t embedded_ = 0;
};

} // namespace

void WriteMaterials(ImportContext& context) {
    MaterialWriter(context).WriteAll();
}

} // namespace scenehost::import
