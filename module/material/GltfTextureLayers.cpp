// Texture layers: image maps with glTF effects become textures in the material's fields. glTF
// reads metallic and roughness from the blue and green channels of one image, occlusion from
// red and alpha from the base colour image, while the host lets each image map pick a channel;
// the checks here warn where the host's preview and the file would differ. They never correct:
// images are passed on as they are.
#include "saver/GltfSaver.h"

#include "document/GltfDocument.h"
#include "host/QvItemQuery.h"

namespace {

constexpr int32_t projectionUvMap = 6;

#define PREVIEW_MAY_DIFFER " Vorn preview render and external preview results possibly wont match."

// The image channel glTF reads for an effect, by the host's "rgba" value, with the words the
// warnings use for the map and the channel.
const SwizzleRule swizzleRules[] = {
    {"aoGLTF", 3, "GLTF_AmbientOclussion", "Red"},
    {"metallicGLTF", 5, "GLTF_Metallic", "Blue"},
    {"roughnessGLTF", 4, "GLTF_Roughness", "Green"},
    {"baseColorGLTF", 0, "GLTF_BaseColor", "RGB"},
    {"dissolve", 2, "Dissolve", "Alpha"},
};

const SwizzleRule* SwizzleRuleOf(const std::string& effect) {
    for (const SwizzleRule& rule : swizzleRules)
        if (effect == rule.effect) return &rule;
    return nullptr;
}

// A double as an int for a log line; values an int cannot hold show as 0.
int LogInt(double value) {
    return value > -2147483648.0 && value < 2147483648.0 ? int(value) : 0;
}

bool SameImage(const std::shared_ptr<GltfTexture>& a, const std::shared_ptr<GltfTexture>& b) {
    return a->imagePath == b->imagePath;
}

} // namespace

// Swizzling and channel are judged per image map, but an image map without such a channel keeps
// the value of the one before it within the material (deliberate: the warnings depend on it).
void GltfSaver::SwizzleCheck(const SwizzleRule& rule, int32_t& swizzling, int32_t& rgba) {
    CQvUser_Item item;
    GetItem(item);
    const char* name = ItemName();
    name = name ? name : "";
    std::string mapWords = std::string(rule.label) + " image map %s." PREVIEW_MAY_DIFFER;
    swizzling = ReadEditInt(item.get(), qvChanSwizzling, swizzling);
    if (swizzling == 0) {
        log.LogWarning(("    Swizzling is not turned on for " + mapWords).c_str(), name);
        return;
    }
    rgba = ReadEditInt(item.get(), qvChanRgba, rgba);
    if (rgba != rule.channel)
        log.LogWarning(("    Swizzling channel must be '" + std::string(rule.channelName) +
                        "' for " + mapWords)
                           .c_str(),
                       name);
}

// glTF reads metallic and roughness from one image: the first map handled fills the field, and
// a second map on another image is named in a warning and left out of the file.
void GltfSaver::SetMetallicRoughness(GltfMaterial* m, const std::shared_ptr<GltfTexture>& texture,
                                     const char* label, const char* mapName) {
    if (!m->metallicRoughnessTexture) {
        m->metallicRoughnessTexture = texture;
    } else if (!SameImage(m->metallicRoughnessTexture, texture)) {
        std::string format = std::string("    GLTF_Metallic and GLTF_Roughness image maps in one "
                                         "material group must use the same image. ") +
                             label + " image map :%s." PREVIEW_MAY_DIFFER;
        log.LogWarning(format.c_str(), mapName);
    }
}

void GltfSaver::ApplyEffectTextures(GltfMaterial* m, const EffectLayerMap& effectLayers) {
    int32_t swizzling = 0, rgba = 0;
    for (const auto& [effect, item] : effectLayers.FirstOfEachEffect()) {
        SetItem(item);
        std::shared_ptr<GltfTexture> texture = TextureForLayer(item);
        if (!texture) continue;
        const char* name = ItemName();
        name = name ? name : "";
        if (const SwizzleRule* rule = SwizzleRuleOf(effect)) SwizzleCheck(*rule, swizzling, rgba);
        if (effect == "normalGLTF") {
            m->normalTexture = texture;
        } else if (effect == "emisGLTF") {
            m->emissiveTexture = texture;
        } else if (effect == "aoGLTF") {
            if (m->metallicRoughnessTexture && !SameImage(m->metallicRoughnessTexture, texture))
                log.LogWarning(
                    "    GLTF_Metallic, GLTF_Roughness and GLTF_AmbientOclussion image maps in "
                    "one material group should use the same image. GLTF_AmbientOclussion "
                    "image map :%s. If they share the same image file resulting export "
                    "file will be smaller in size.",
                    name);
            m->occlusionTexture = texture;
        } else if (effect == "metallicGLTF") {
            SetMetallicRoughness(m, texture, "GLTF_Metallic", name);
        } else if (effect == "roughnessGLTF") {
            SetMetallicRoughness(m, texture, "GLTF_Roughness", name);
        } else if (effect == "baseColorGLTF") {
            m->baseColorTexture = texture;
        } else if (effect == "dissolve") {
            if (m->baseColorTexture && !SameImage(m->baseColorTexture, texture))
                log.LogWarning(
                    "    Dissolve and GLTF_BaseColor image maps in one material group must "
                    "use the same image. Dissolve image map :%s." PREVIEW_MAY_DIFFER,
                    name);
            m->alphaMode = GltfAlphaMode::Blend;
        }
        // Any other effect cannot reach here: the walk gathers only these.
    }
}

std::shared_ptr<GltfTexture> GltfSaver::TextureForLayer(IQvItem* item) {
    const char* itemName = ItemName();
    std::string name = itemName ? itemName : "";
    auto known = texturesByLayer.find(name);
    if (known != texturesByLayer.end()) return known->second;
    CQvUser_Texture face;
    const char* file = nullptr;
    if (!face.bind(item) || QvFailed(face->ImageFile(&file)) || !file) return nullptr;

    std::string uvMap, locatorName;
    int32_t projMode = 0;
    CQvUser_Item locator;
    bool hasLocator = QvSucceeded(face->Locator(locator.out())) && locator;
    if (hasLocator) {
        uvMap = ReadEditString(locator.get(), qvChanUvMap);
        locatorName = ItemNameOrEmpty(locator.get());
        projMode = ReadEditInt(locator.get(), qvChanProjType, 0);
    }
    log.LogInfo("      imageMap:%s file:%s uvmap:%s projMode:%d", name.c_str(), file, uvMap.c_str(),
                projMode);
    log.LogInfo("      Creating texture:%s texLoc:%s", name.c_str(), locatorName.c_str());

    // The host shows image maps with this suffix; it has no place in a file.
    std::string textureName = name;
    size_t suffix = textureName.find("(Image)");
    if (suffix != std::string::npos) textureName.erase(suffix, 7);
    auto texture = std::make_shared<GltfTexture>(textureName);
    texture->imagePath = file;
    if (projMode == projectionUvMap)
        texture->uvMapName = uvMap;
    else
        log.LogWarning("Creating texture:%s failed! Textures need to have texture locators and "
                       "'UVMap' projection type.",
                       name.c_str());
    if (hasLocator) {
        // Deliberately crossed: the host calls the wrap mode "tile" and the repeat count "wrap".
        texture->wrapU = static_cast<GltfWrapMode>(ReadEditInt(locator.get(), qvChanTileU, 0));
        texture->wrapV = static_cast<GltfWrapMode>(ReadEditInt(locator.get(), qvChanTileV, 0));
        texture->repeatU = ReadEditDouble(locator.get(), qvChanWrapU, 0.0);
        texture->repeatV = ReadEditDouble(locator.get(), qvChanWrapV, 0.0);
        // The line has always carried the repeat counts under the tile labels. It is kept as users
        // know it; the counts go in as integers, so that the line is the same on every run.
        log.LogInfo("       tileU:%d tileV:%d", LogInt(texture->repeatU), LogInt(texture->repeatV));
    }
    texturesByLayer.emplace(name, texture);
    return texture;
}
