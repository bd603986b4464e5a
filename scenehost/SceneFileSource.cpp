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

// Maps the pages under the buffer in one call: page by page, a hundred megabytes cost tens of
// thousands of page-fault traps. Only a hint: the fill would map them anyway.
void MapPages(char* buffer, size_t size) {
#ifdef MADV_POPULATE_WRITE
    constexpr uintptr_t kPage = 4096;
    uintptr_t begin = (reinterpret_cast<uintptr_t>(buffer) + kPage - 1) & ~(kPage - 1);
    uintptr_t end = (reinterpret_cast<uintptr_t>(buffer) + size) & ~(kPage - 1);
    if (end > begin) ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_POPULATE_WRITE);
#else
    (void)buffer, (void)size;
#endif
}

// Reads up to `size` bytes into `buffer`, less where the file ends first; `*done` says how many.
// Returns 0 or the errno of a failed read.
int ReadUpTo(int fd, char* buffer, size_t size, size_t* done) {
    *done = 0;
    while (*done < size) {
        ssize_t got = ::read(fd, buffer + *done, size - *done);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return errno;
        if (got == 0) break;
        *done += size_t(got);
    }
    return 0;
}

// The file's pages, read-only, all mapped at once; null where the system refuses (an empty file,
// some file systems).
void* MapFile(int fd, size_t length) {
    if (length == 0) return nullptr;
    int flags = MAP_PRIVATE;
#ifdef MAP_POPULATE
    flags |= MAP_POPULATE;
#endif
    void* mapping = ::mmap(nullptr, length, PROT_READ, flags, fd, 0);
    if (mapping == MAP_FAILED) return nullptr;
    // A file cut short since its size was taken would fault where it ends: read it instead.
    struct stat now;
    if (::fstat(fd, &now) != 0 || static_cast<uint64_t>(now.st_size) < length) {
        ::munmap(mapping, length);
        return nullptr;
    }
    return mapping;
}

} // namespace

bool SceneBytes::Open(const std::string& path, uint64_t maxBytes, std::string* error) {
    Release();
    auto refuse = [&](const std::string& what) {
        if (error) *error = path + ": " + what;
        return false;
    };
    const std::string cannot = "cannot read the scene file";
    // Looked at before opening: opening a FIFO for reading would wait for a writer.
    struct stat before;
    if (::stat(path.c_str(), &before) != 0) return refuse(cannot + ": " + std::strerror(errno));
    if (!S_ISREG(before.st_mode)) return refuse(cannot + ": it " + NotRegular(before.st_mode));
    // Non-blocking, in case the path was swapped for a FIFO since; the check below refuses it.
    Descriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat opened;
    if (file.Get() < 0 || ::fstat(file.Get(), &opened) != 0)
        return refuse(cannot + ": " + std::strerror(errno));
    if (!S_ISREG(opened.st_mode)) return refuse(cannot + ": it " + NotRegular(opened.st_mode));
    const uint64_t size = static_cast<uint64_t>(opened.st_size);
    if (size > maxBytes) return refuse(cannot + ": it " + TooBig(size, maxBytes));
    const size_t length = static_cast<size_t>(size);
    mapping_ = MapFile(file.Get(), length);
    if (mapping_) {
        mappedSize_ = length;
        return true;
    }
    const int failure = ReadCopy(file.Get(), length);
    if (failure != 0) return refuse(cannot + ": " + std::strerror(failure));
    return true;
}

int SceneBytes::ReadCopy(int fd, size_t length) {
    copy_.reserve(length); // not touched yet: the pages are mapped first
    MapPages(&copy_[0], length);
    copy_.assign(length, '\0');
    size_t done = 0;
    const int failure = ReadUpTo(fd, &copy_[0], length, &done);
    // A file that shrank while read gives what is there.
    copy_.resize(failure == 0 ? done : 0);
    return failure;
}

std::string_view SceneBytes::Text() const {
    if (mapping_) return std::string_view(static_cast<const char*>(mapping_), mappedSize_);
    return copy_;
}

void SceneBytes::Release() {
    if (mapping_) ::munmap(mapping_, mappedSize_);
    mapping_ = nullptr;
    mappedSize_ = 0;
    std::string().swap(copy_);
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
