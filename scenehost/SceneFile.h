// Scene files: JSON descriptions of a scene, read into a SceneHost. docs/scene-format.md tells
// the format. The reader is strict: an unknown member, a reference to an item that does not
// exist, a value of the wrong kind or a type the host does not have refuses the file, with
// "file:line:column: what is wrong" pointing at the offending value.
//
// A refused file may leave the host partly filled; a caller that is refused discards the host.
#pragma once

#include <cstdint>
#include <string>

namespace scenehost {

class SceneHost;

// The largest scene file read unless the caller says otherwise: 1 GiB, several times the JSON of
// a scene of a million triangles.
constexpr uint64_t kDefaultMaxSceneSize = uint64_t(1) << 30;

// Reads a scene file. Relative image paths in it are taken relative to the file's folder, and
// every image path ends up absolute, as the host keeps them (Item::SetImage). A path that is not
// a regular file, or a file larger than `maxBytes`, is refused before it is read.
bool LoadSceneFile(SceneHost& host, const std::string& path, uint64_t maxBytes, std::string* error);
bool LoadSceneFile(SceneHost& host, const std::string& path, std::string* error);

// The same for text in memory; `fileName` stands for the file in messages and `baseDir` is
// where relative image paths start (empty: the working folder).
bool LoadSceneText(SceneHost& host, const std::string& text, const std::string& fileName,
                   const std::string& baseDir, std::string* error);

} // namespace scenehost
