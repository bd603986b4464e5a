// Material export: the host's shader tree becomes glTF materials with their textures.
//
//   shader tree walk   CreateMaterials / MaterialForTag: for each polygon material name, the
//                      enabled mask of that "ptag" is walked and its layers classified
//                      (GltfShaderTree.cpp)
//   material channels  the glTF shader layer gives the PBR factors, a host material below it
//                      transparency and double-sidedness (GltfMaterialChannels.cpp)
//   texture layers     image maps with glTF effects become textures in the material's fields,
//                      with warnings where the host's preview and the file would differ
//                      (GltfTextureLayers.cpp)
#pragma once

#include "qv/core.h"

#include <cstdint>
#include <string>
#include <vector>

class IQvItem;

// The shading system a layer belongs to.
enum class ShaderFamily : uint32_t { None = 0, Host = 1, Unreal = 2, Unity = 3, Gltf = 4 };
enum class ShaderLayerKind : uint32_t { None = 0, Mask = 1, Material = 2, ImageMap = 3, Other = 4 };

// One classified item of the shader tree.
struct ShaderLayer {
    IQvItem* item = nullptr; // not owned; the scene keeps it alive
    std::string name;
    ShaderFamily family = ShaderFamily::None;
    ShaderLayerKind kind = ShaderLayerKind::None;
    bool valid = false;
    bool enabled = false;
    std::string effect;                // image maps only
    const char* knownEffect = nullptr; // the host or glTF effect it matched, else null
};

// What glTF reads of an image map with one of the checked effects: the host's "rgba" channel
// value it expects, and the names the warnings give the map and the channel.
struct SwizzleRule {
    const char* effect;
    int32_t channel;
    const char* label;
    const char* channelName;
};

// Image maps that count for one material, by effect. Equal effects keep their walk order, and
// effects are read in the order their first map was met, but for one wrinkle that the exported
// files have always shown and that is kept: while the map is small (eight buckets, up to eight
// entries) a new effect whose bucket already holds another effect goes in front of it. Of the
// effects read, only "baseColorGLTF" and "dissolve" share such a bucket; from the ninth entry on
// the buckets are 64 and no longer shared.
class EffectLayerMap {
public:
    void Insert(const std::string& effect, IQvItem* item);
    bool Empty() const { return entries.empty(); }
    // The first map of each effect, in reading order.
    std::vector<std::pair<std::string, IQvItem*>> FirstOfEachEffect() const;
    void Clear();

private:
    size_t BucketOf(const std::string& effect) const;

    std::vector<std::pair<std::string, IQvItem*>> entries;
    size_t buckets = 8;
};
