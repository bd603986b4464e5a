// Where the bytes of an export go, and the names of the output files.
//
// The document produces its output into a GltfOutputStream; a GltfStringStream keeps the bytes
// in memory, a GltfFileStream sends them to a file and remembers whether every write, the flush
// and the close succeeded. All file-system failures of the output files meet here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

class GltfOutputStream {
public:
    virtual ~GltfOutputStream() = default;
    virtual void Write(const void* data, std::size_t size) = 0;

    void Write(const std::string& bytes) { Write(bytes.data(), bytes.size()); }
    void WriteFill(unsigned char byte, std::size_t count);
    void WriteUint32(uint32_t value); // little-endian, whatever the machine
};

class GltfStringStream : public GltfOutputStream {
public:
    using GltfOutputStream::Write;
    void Write(const void* data, std::size_t size) override;
    const std::string& Bytes() const { return bytes; }

private:
    std::string bytes;
};

class GltfFileStream : public GltfOutputStream {
public:
    explicit GltfFileStream(const std::string& hostPath); // opens for binary writing
    ~GltfFileStream() override;
    GltfFileStream(const GltfFileStream&) = delete;
    GltfFileStream& operator=(const GltfFileStream&) = delete;

    using GltfOutputStream::Write;
    void Write(const void* data, std::size_t size) override;
    bool IsOpen() const { return file != nullptr; }
    // Flushes and closes; true when the file was opened and everything reached it.
    bool Close();

private:
    FILE* file = nullptr;
    bool failed = false;
};

// The output names, all computed on the host's path before any file is touched.

// path without its last "." and what follows; the search does not stop at separators.
std::string CutAtLastDot(const std::string& path);
// The part behind the last backslash; the whole string when there is none.
std::string BaseNameOf(const std::string& path);
// The "uri" of the .bin beside a .gltf: its base name.
std::string BinUriFor(const std::string& hostPath);
// The directory that receives the image copies: the .gltf path cut just behind the position of
// the last backslash of the host's path (the separator stays; empty when there is none). The
// two paths differ when the last "." stands in a directory name; when the cut would fall past
// the end of the .gltf path it throws std::out_of_range("invalid string position").
std::string ImageDirectoryFor(const std::string& hostPath, const std::string& gltfPath);
