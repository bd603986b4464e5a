// The files a scene file names or is: the scene file itself, read whole only when it is a
// regular file within a size limit, and image files, looked at (never read) so that a path
// naming a directory, a device or a file too big to embed is refused with the scene.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace scenehost {

// The bytes of a scene file. They are mapped from the file where the system allows it, so that
// a large scene is not copied out of the page cache first (for a file of a hundred megabytes,
// that copy took a quarter of a whole save), and read into memory where it does not.
//
// A mapping shares the file's pages: a file cut short by another program while it is mapped
// ends the reading process with SIGBUS, as any program that maps its input risks.
class SceneBytes {
public:
    SceneBytes() = default;
    ~SceneBytes() { Release(); }
    SceneBytes(const SceneBytes&) = delete;
    SceneBytes& operator=(const SceneBytes&) = delete;

    // Takes in the regular file at `path`. Anything else (a directory, a FIFO, a device) is
    // refused before it is read, and so is a file larger than `maxBytes`; the size is taken from
    // the open descriptor and no more than that is read, so a file that grows meanwhile stays
    // bounded. On refusal `error` says what is wrong, after "PATH: ".
    bool Open(const std::string& path, uint64_t maxBytes, std::string* error);

    std::string_view Text() const;

    // Lets the bytes go; Text() is empty after.
    void Release();

private:
    // Reads the file into copy_; 0 or the errno of a failed read.
    int ReadCopy(int fd, size_t length);

    void* mapping_ = nullptr;
    size_t mappedSize_ = 0;
    std::string copy_; // when not mapped
};

// What is wrong with `path` as an image file: "is a directory", "is not a regular file ..." or
// "is N bytes; ...". Empty when it is a regular file below 4 GiB, and also when it does not
// exist or cannot be looked at: the plug-in meets and logs those itself.
std::string ImageFileProblem(const std::string& path);

} // namespace scenehost
