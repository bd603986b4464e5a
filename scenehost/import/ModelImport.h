// Models in other formats, read through assimp and written as a scene file's text: the node
// hierarchy with local transforms, meshes with their polygons as the source keeps them, normals,
// UV sets and colours as vertex maps, materials as masks with glTF shaders and image maps, and
// cameras. What a scene cannot carry (lights, skins, animations, lines and points) is left out
// with a warning each. docs/import.md tells the details.
#pragma once

#include <string>
#include <vector>

namespace scenehost {

struct ImportedModel {
    std::string sceneText;             // a scene file, for LoadSceneText or to be written out
    std::vector<std::string> warnings; // what was left out, one line each, without a prefix
};

struct ImportPlace {
    // Where image files that the model embeds are written; made when there is one.
    std::string embeddedImageFolder;
    // The folder image paths are written relative to (the scene file's); empty: absolute paths.
    std::string relativeTo;
    bool showProgress = false; // a percentage on standard error while assimp reads
};

// Reads `modelPath`. False with `error` set when assimp cannot read it or it holds no scene.
bool ImportModel(const std::string& modelPath, const ImportPlace& place, ImportedModel* out,
                 std::string* error);

} // namespace scenehost
