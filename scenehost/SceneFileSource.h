// The files a scene file names or is: the scene file itself, read whole only when it is a
// regular file within a size limit, and image files, looked at (never read) so that a path
// naming a directory, a device or a file too big to embed is refused with the scene.
#pragma once

#include <cstdint>
#include <string>

namespace scenehost {

// Reads the regular file at `path` into `text`. Anything else (a directory, a FIFO, a device) is
// refused before it is read, and so is a file larger than `maxBytes`; the size is taken from the
// open descriptor and no more than that is read, so a file that grows meanwhile stays bounded.
// On refusal `error` says what is wrong, after "PATH: ".
bool ReadSceneBytes(const std::string& path, uint64_t maxBytes, std::string* text,
                    std::string* error);

// What is wrong with `path` as an image file: "is a directory", "is not a regular file ..." or
// "is N bytes; ...". Empty when it is a regular file below 4 GiB, and also when it does not
// exist or cannot be looked at: the plug-in meets and logs those itself.
std::string ImageFileProblem(const std::string& path);

} // namespace scenehost
