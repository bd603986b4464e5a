// Warnings about what the plug-in does on purpose and without a word, found from the scene, the
// save's log and the written file: an empty file when the selected items are exported and none
// are selected, polygons without a material tag that the save drops, meshes refused by the
// 16-bit index limit, images without a type in a .glb, RGB colours (alpha 0) on blended
// materials, and .gltf image names that a URI would need to escape.
#pragma once

#include "gltfio_json.h"

#include <string>
#include <vector>

namespace scenehost {
class SceneHost;
}

namespace qvhost {

struct SaveWarning {
    std::string kind; // "nothing-selected", "untagged-polygons", ...
    std::string item; // the item, image or mesh it is about
    std::string text; // what happened and the way out
};

// The warnings for a save of `host` that wrote the document `json` (a .glb when `glb`).
std::vector<SaveWarning> FindSaveWarnings(scenehost::SceneHost& host,
                                          const rapidjson::Document& json, bool glb);

} // namespace qvhost
