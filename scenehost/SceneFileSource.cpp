#include "SceneFileSource.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace scenehost {

namespace {

// A .glb keeps its lengths in 32 bits, so an image it may embed stays below 4 GiB.
constexpr uint64_t kImageSizeLimit = uint64_t(1) << 32;

const char* FileKind(mode_t mode) {
    if (S_ISDIR(mode)) return "a directory";
    if (S_ISFIFO(mode)) return "a FIFO";
    if (S_ISCHR(mode)) return "a character device";
    if (S_ISBLK(mode)) return "a block device";
    if (S_ISSOCK(mode)) return "a socket";
    return "not a file";
}

// "is a directory", or "is not a regular file but a FIFO" and the like; empty for a regular file.
std::string NotRegular(mode_t mode) {
    if (S_ISREG(mode)) return std::string();
    if (S_ISDIR(mode)) return "is a directory";
    return std::string("is not a regular file but ") + FileKind(mode);
}

std::string TooBig(uint64_t size, uint64_t limit) {
    return "is " + std::to_string(size) + " bytes, more than the limit of " +
           std::to_string(limit) + " bytes (--max-scene-size raises it)";
}

// Closes the descriptor however the read ends.
class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) ::close(fd_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Get() const { return fd_; }

private:
    int fd_;
};

// Asks for huge pages under the buffer of a large file's text: filled in 4 KiB pages, a hundred
// megabytes cost tens of thousands of page faults, a good part of reading the file.
void AdviseHugePages(char* buffer, size_t size) {
#ifdef MADV_HUGEPAGE
    constexpr uintptr_t kHugePage = uintptr_t(2) << 20;
    uintptr_t begin = (reinterpret_cast<uintptr_t>(buffer) + kHugePage - 1) & ~(kHugePage - 1);
    uintptr_t end = (reinterpret_cast<uintptr_t>(buffer) + size) & ~(kHugePage - 1);
    if (end > begin) ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
#else
    (void)buffer, (void)size;
#endif
}

} // namespace

bool ReadSceneBytes(const std::string& path, uint64_t maxBytes, std::string* text,
                    std::string* error) {
    auto refuse = [&](const std::string& what) {
        if (error) *error = path + ": " + what;
        return false;
    };
    const std::string cannot = "cannot read the scene file";
    // Looked at before opening: opening a FIFO for reading would wait for a writer.
    struct stat before;
    if (::stat(path.c_str(), &before) != 0) return refuse(cannot);
    if (!S_ISREG(before.st_mode)) return refuse(cannot + ": it " + NotRegular(before.st_mode));
    // Non-blocking, in case the path was swapped for a FIFO since; the check below refuses it.
    Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat opened;
    if (file.Get() < 0 || ::fstat(file.Get(), &opened) != 0) return refuse(cannot);
    if (!S_ISREG(opened.st_mode)) return refuse(cannot + ": it " + NotRegular(opened.st_mode));
    const uint64_t size = static_cast<uint64_t>(opened.st_size);
    if (size > maxBytes) return refuse(cannot + ": it " + TooBig(size, maxBytes));
    text->clear();
    text->reserve(static_cast<size_t>(size)); // not touched yet: the advice comes first
    AdviseHugePages(&(*text)[0], static_cast<size_t>(size));
    text->assign(static_cast<size_t>(size), '\0');
    size_t done = 0;
    while (done < text->size()) {
        ssize_t got = ::read(file.Get(), &(*text)[done], text->size() - done);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return refuse(cannot + ": " + std::strerror(errno));
        if (got == 0) break; // shrank while read: what is there is the file
        done += static_cast<size_t>(got);
    }
    text->resize(done);
    return true;
}

std::string ImageFileProblem(const std::string& path) {
    struct stat info;
    if (::stat(path.c_str(), &info) != 0) return std::string();
    std::string problem = NotRegular(info.st_mode);
    if (!problem.empty()) return problem;
    const uint64_t size = static_cast<uint64_t>(info.st_size);
    if (size >= kImageSizeLimit)
        return "is " + std::to_string(size) + " bytes; image files must be smaller than 4 GiB";
    return std::string();
}

} // namespace scenehost
