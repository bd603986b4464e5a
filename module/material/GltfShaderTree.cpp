// The shader tree walk: each polygon material name finds the enabled mask whose "ptag" is that
// name; the layers under it decide the glTF material. Only glTF shader layers and image maps
// with glTF effects carry it; of the host's own layers only a material's transparency and
// double-sidedness and the "dissolve" image map count, and layers made for other engines are
// skipped by name.
#include "saver/GltfSaver.h"

#include "document/GltfDocument.h"
#include "host/CQvGlobals.h"
#include "host/QvItemQuery.h"

#include <cstring>

namespace {

const char* const hostEffects[] = {
    "lumiColor", "lumiAmount", "diffColor",  "diffAmount",     "specColor",  "specAmount",
    "rough",     "reflColor",  "reflAmount", "tranColor",      "tranAmount", "dissolve",
    "bump",      "normal",     "displace",   "vectorDisplace", nullptr};
const char* const unityEffects[] = {"metallicUT", "albedoUT",  "smoothUT", "emisUT",
                                    "normalUT",   "bumpUT",    "aoUT",     "detailMaskUT",
                                    "albedo2UT",  "normal2UT", nullptr};
const char* const unrealEffects[] = {"metallicUE", "baseUE", "roughUE", "specUE", "emisUE",
                                     "normalUE",   "bumpUE", "aoUE",    "sssUE",  "ccUE",
                                     "ccrUE",      "opacUE", nullptr};
const char* const gltfEffects[] = {"metallicGLTF", "baseColorGLTF", "roughnessGLTF", "emisGLTF",
                                   "normalGLTF",   "aoGLTF",        nullptr};

const char* FindEffect(const std::string& effect, const char* const* list) {
    for (; *list; ++list)
        if (effect == *list) return *list;
    return nullptr;
}

// The six layer types, looked up once per process at their first use: they depend on the host
// alone. A function-local static is initialised once even when two threads arrive together.
struct LayerTypes {
    QvTypeCode mask = 0, advancedMaterial = 0, unityShader = 0, unrealShader = 0, glTFShader = 0,
               imageMap = 0;
};

const LayerTypes& LayerTypeCodes() {
    static const LayerTypes codes = [] {
        LayerTypes t;
        CQvUser_SceneService service;
        if (CQvGlobals::LookupService(service)) {
            service->ItemTypeLookup("mask", &t.mask);
            service->ItemTypeLookup("advancedMaterial", &t.advancedMaterial);
            service->ItemTypeLookup("unityShader", &t.unityShader);
            service->ItemTypeLookup("unrealShader", &t.unrealShader);
            service->ItemTypeLookup("glTFShader", &t.glTFShader);
            service->ItemTypeLookup("imageMap", &t.imageMap);
        }
        return t;
    }();
    return codes;
}

void ClassifyImageMap(ShaderLayer& layer) {
    if ((layer.knownEffect = FindEffect(layer.effect, hostEffects))) {
        layer.family = ShaderFamily::Host;
    } else if (FindEffect(layer.effect, unityEffects)) {
        layer.family = ShaderFamily::Unity;
    } else if (FindEffect(layer.effect, unrealEffects)) {
        layer.family = ShaderFamily::Unreal;
    } else if ((layer.knownEffect = FindEffect(layer.effect, gltfEffects))) {
        layer.family = ShaderFamily::Gltf;
    } else {
        layer.family = ShaderFamily::Host;
    }
}

} // namespace

// What one tag's walk gathers.
struct GltfSaver::ShaderWalk {
    std::vector<ShaderLayer> layerStack;
    std::vector<IQvItem*> gltfMaterials;
    EffectLayerMap effectLayers;
    IQvItem* hostMaterial = nullptr; // survives from mask to mask within the walk
    uint32_t gltfIndex = 0;
};

ShaderLayer GltfSaver::ClassifyLayer(IQvItem* item) {
    ShaderLayer layer;
    CQvUser_Item opened;
    if (!opened.bind(item)) return layer;
    layer.item = item;
    layer.valid = true;
    layer.name = ItemNameOrEmpty(item);
    CQvUser_Scene scene;
    CQvUser_ChannelRead edit;
    if (QvSucceeded(item->Context(scene.out())) && scene)
        scene->GetChannels(qvActionEdit, 0.0, edit.out());
    int32_t enableChannel = ChannelIndexOf(item, qvChanEnable), enable = 0;
    if (enableChannel >= 0 && edit &&
        QvSucceeded(edit->ReadInteger(item, uint32_t(enableChannel), &enable)))
        layer.enabled = enable > 0;

    const LayerTypes& t = LayerTypeCodes();
    if (ItemIsA(item, t.mask)) {
        layer.family = ShaderFamily::Host, layer.kind = ShaderLayerKind::Mask;
    } else if (ItemIsA(item, t.advancedMaterial)) {
        layer.family = ShaderFamily::Host, layer.kind = ShaderLayerKind::Material;
    } else if (ItemIsA(item, t.unityShader)) {
        layer.family = ShaderFamily::Unity, layer.kind = ShaderLayerKind::Material;
    } else if (ItemIsA(item, t.unrealShader)) {
        layer.family = ShaderFamily::Unreal, layer.kind = ShaderLayerKind::Material;
    } else if (ItemIsA(item, t.glTFShader)) {
        layer.family = ShaderFamily::Gltf, layer.kind = ShaderLayerKind::Material;
    } else if (ItemIsA(item, t.imageMap)) {
        layer.kind = ShaderLayerKind::ImageMap;
        int32_t effectChannel = ChannelIndexOf(item, qvChanEffect);
        const char* effect = nullptr;
        if (effectChannel >= 0 && edit &&
            QvSucceeded(edit->ReadString(item, uint32_t(effectChannel), &effect)) && effect)
            layer.effect = effect;
        ClassifyImageMap(layer);
    } else {
        layer.family = ShaderFamily::Host, layer.kind = ShaderLayerKind::Other;
    }
    return layer;
}

int GltfSaver::CreateMaterials() {
    if (materials == 0) return 0;
    log.LogInfo("Creating materials");
    for (auto& [name, used] : usedMaterialNames) {
        if (!MaterialForTag(name)) log.LogError("Failed to create material:%s", name.c_str());
    }
    AttachMaterialsToMeshes();
    return 0;
}

// A primitive finds its material through its mesh's `materials`, by the record's own name.
void GltfSaver::AttachMaterialsToMeshes() {
    for (auto& [mesh, names] : meshMaterialNames) {
        for (const std::string& name : names) {
            GltfMaterial* material = materialsByTag[name];
            if (material) mesh->materials.emplace(material->name, material);
        }
    }
}

GltfMaterial* GltfSaver::MaterialForTag(const std::string& tag) {
    auto cached = materialsByTag.find(tag);
    if (cached != materialsByTag.end()) return cached->second;
    auto mask = enabledMasks.find(tag);
    if (mask == enabledMasks.end()) {
        if (tag == "Default")
            log.LogInfo("Failed to find the poly mask tag:%s, using default material", tag.c_str());
        GltfMaterial* material = rootNode->CreateMaterial(tag);
        if (material) materialsByTag.emplace(tag, material);
        return material;
    }
    IQvItem* maskItem = mask->second;
    log.LogInfo("Found mask:%s ptag:%s ptype:%s", tag.c_str(),
                ReadChannelString(setupChannels.get(), maskItem, qvChanPtag).c_str(),
                ReadChannelString(setupChannels.get(), maskItem, qvChanPtyp).c_str());
    ShaderWalk walk;
    walk.layerStack.push_back(ClassifyLayer(maskItem));
    while (!walk.layerStack.empty()) {
        ShaderLayer layer = walk.layerStack.back();
        walk.layerStack.pop_back();
        WalkShaderLayer(layer, walk);
    }
    GltfMaterial* material = MaterialOfWalk(tag, walk);
    if (!material) return nullptr;
    materialsByTag.emplace(tag, material);
    if (!walk.effectLayers.Empty()) ApplyEffectTextures(material, walk.effectLayers);
    return material;
}

void GltfSaver::WalkShaderLayer(const ShaderLayer& layer, ShaderWalk& walk) {
    if (!layer.valid || !layer.enabled) return;
    const char* name = layer.name.c_str();
    switch (layer.family) {
    case ShaderFamily::Gltf:
        if (layer.kind == ShaderLayerKind::Material) {
            walk.gltfMaterials.push_back(layer.item);
        } else if (layer.kind == ShaderLayerKind::ImageMap) {
            if (layer.knownEffect)
                walk.effectLayers.Insert(layer.knownEffect, layer.item);
            else if (layer.effect == "layerMask")
                log.LogInfo("    Skipping layer mask %s", name);
            else
                log.LogWarning("    Unsupported layer effect %s for %s", layer.effect.c_str(),
                               name);
        }
        // Logged for every glTF-family layer, also for those just taken.
        log.LogInfo("    Skipping Gltf shader layer %s", name);
        return;
    case ShaderFamily::Unity:
        log.LogInfo("    Skipping Unity shader layer %s", name);
        return;
    case ShaderFamily::Unreal:
        log.LogInfo("    Skipping Unreal shader layer %s", name);
        return;
    case ShaderFamily::Host:
        break;
    default:
        log.LogWarning("    Unsupported layer %s", name);
        return;
    }
    if (layer.kind == ShaderLayerKind::Mask)
        ExpandMask(layer, walk);
    else if (layer.kind == ShaderLayerKind::ImageMap && layer.effect == "dissolve")
        walk.effectLayers.Insert("dissolve", layer.item);
}

// Pushes the children last to first, so that the walk meets them in order. A host material
// counts only when it sits at a child index no greater than the glTF shader's, and only the
// first one found does.
void GltfSaver::ExpandMask(const ShaderLayer& mask, ShaderWalk& walk) {
    walk.gltfIndex = 0;
    uint32_t count = ItemChildCount(mask.item);
    for (uint32_t i = count; i-- > 0;) {
        CQvUser_Item child;
        if (QvFailed(mask.item->SubByIndex(i, child.out()))) child.clear();
        ShaderLayer layer = ClassifyLayer(child.get());
        walk.layerStack.push_back(layer);
        if (!layer.enabled || layer.kind != ShaderLayerKind::Material) continue;
        if (layer.family == ShaderFamily::Gltf) {
            walk.gltfIndex = i;
        } else if (layer.family == ShaderFamily::Host) {
            if (walk.hostMaterial)
                log.LogWarning(
                    "    Found multiple Vorn materials in glTF layer '%s' only the first "
                    "Vorn material under the glTF material in the shader tree will be "
                    "used for transparency!",
                    mask.name.c_str());
            else if (i > walk.gltfIndex)
                log.LogWarning("    Vorn material in glTF layer '%s' must be placed below glTF "
                               "material in the shader tree!",
                               mask.name.c_str());
            else
                walk.hostMaterial = layer.item;
        }
    }
}

GltfMaterial* GltfSaver::MaterialOfWalk(const std::string& tag, const ShaderWalk& walk) {
    GltfMaterial* material = rootNode->CreateMaterial(tag);
    if (!material) return nullptr;
    if (walk.gltfMaterials.empty()) {
        log.LogWarning("    Poly tag %s does not have material layer effect", tag.c_str());
        return material;
    }
    ReadGltfShader(material, walk.gltfMaterials[0]);
    if (walk.hostMaterial) ReadHostMaterial(material, walk.hostMaterial);
    if (walk.gltfMaterials.size() > 1)
        log.LogWarning("    Multiple material layers detected within poly tag %s", tag.c_str());
    return material;
}
