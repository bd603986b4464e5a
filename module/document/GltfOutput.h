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
#include <vector>

struct GltfBufferChunk;

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

// ---- Lengths
// ------------------------------------------------------------------------------------- A .glb
// states its total and its chunk lengths in 32 bits, and the .bin's length is the buffer's 32-bit
// "byteLength": every length is summed in 64 bits before anything is written, and a save whose
// total does not fit fails instead of writing lengths that wrapped around.

// The bytes the chunks stream: into the BIN chunk of a .glb (images read whole), or into the
// .bin beside a .gltf (images copied, not streamed). An image file larger than 32 bits can state
// counts with its true size, whatever its chunk says.
uint64_t StreamedChunkLength(const std::vector<GltfBufferChunk>& chunks, bool copyImages);
// The whole .glb: header, both chunk headers, both padded contents.
uint64_t GlbFileLength(uint64_t jsonLength, uint64_t binLength);
constexpr uint64_t kGltfMaxFileLength = 0xFFFFFFFFu;
