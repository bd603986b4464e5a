#include "SaveOptionTable.h"

#include <algorithm>
#include <sstream>

namespace qvhost {

namespace {
const char* const kPrefix = "sceneio.gltf.save.";
}

const std::vector<SaveOption>& SaveOptions() {
    // In the order the plug-in reads them.
    static const std::vector<SaveOption> options = {
        {"exportType", 1, "0 whole scene, 1 selected items, 2 selected hierarchies, other: nothing",
         "what is exported; the default exports the selected items only, each without its "
         "children, and an empty file when nothing is selected"},
        {"geometry", 1, "0 off, 1 on", "0: mesh items become nodes without meshes"},
        {"materials", 1, "0 off, 1 on", "0: no materials, textures or images"},
        {"cameras", 1, "0 off, 1 on", "0: cameras, and everything under them, are left out"},
        {"animation", 1, "0 off, 1 on", "0: no animations are sampled or written"},
        {"morphMaps", 1, "1 on, other: off", "1: skins (joints and weights) are written"},
        {"skinnedMeshInWS", 1, "1 on, other: off", "1: skinned meshes are written in world space"},
        {"tangentsBitangents", 0, "0 off, other: on",
         "on: a mesh's tangent-frame maps are written as TANGENT (none are computed)"},
        {"indicesExport", 0, "0 16-bit, other: 32-bit",
         "index width; with 16 bits a mesh of more than 65,535 triangle corners is left out"},
        {"sampleAnimFpsMultiplier", 0, "1 twice the scene's rate, other: the scene's rate",
         "the rate at which animations are sampled"},
        {"exportActionType", 0, "0 the scene as it plays, 1 every action, 2 the active action",
         "which animations are written"},
    };
    return options;
}

std::string FullOptionName(const SaveOption& option) {
    return std::string(kPrefix) + option.shortName;
}

std::string ExpandOptionName(const std::string& name) {
    const std::vector<SaveOption>& options = SaveOptions();
    auto found = std::find_if(options.begin(), options.end(),
                              [&](const SaveOption& o) { return name == o.shortName; });
    return found == options.end() ? name : FullOptionName(*found);
}

std::string SaveOptionsHelp() {
    std::ostringstream out;
    out << "save options (--set NAME=VALUE; NAME is the short name or sceneio.gltf.save.NAME):\n";
    for (const SaveOption& o : SaveOptions()) {
        out << "  " << o.shortName << " (default " << o.defaultValue << ")\n"
            << "      " << o.description << "\n"
            << "      values: " << o.values << "\n";
    }
    return out.str();
}

} // namespace qvhost
