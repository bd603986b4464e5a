// The two output forms: a .gltf with a .bin beside it, or one .glb; the streams they go
// through; the output names.
//
// The JSON text is serialised once, into memory, and then written; a .glb needs its length
// before its header. Files are written with checked fwrite/fflush/fclose, so a disk that fills
// up or a path that cannot be opened turns into a failed Write instead of a silently short file.
#include "document/GltfJson.h"
#include "document/GltfOutput.h"
#include "document/HostPath.h"
#include "host/GltfLogMsg.h"

#include <cstring>
#include <stdexcept>

// ---- Streams -----------------------------------------------------------------------------------

void GltfOutputStream::WriteFill(unsigned char byte, std::size_t count) {
    unsigned char fill[16];
    std::memset(fill, byte, sizeof fill);
    while (count > 0) {
        const std::size_t step = count < sizeof fill ? count : sizeof fill;
        Write(fill, step);
        count -= step;
    }
}

void GltfOutputStream::WriteUint32(uint32_t value) {
    const unsigned char bytes[4] = {
        static_cast<unsigned char>(value), static_cast<unsigned char>(value >> 8),
        static_cast<unsigned char>(value >> 16), static_cast<unsigned char>(value >> 24)};
    Write(bytes, sizeof bytes);
}

void GltfStringStream::Write(const void* data, std::size_t size) {
    if (size != 0) bytes.append(static_cast<const char*>(data), size);
}

GltfFileStream::GltfFileStream(const std::string& hostPath) : file(OpenHostFile(hostPath, "wb")) {}

GltfFileStream::~GltfFileStream() {
    if (file) std::fclose(file);
}

void GltfFileStream::Write(const void* data, std::size_t size) {
    if (!file || failed || size == 0) return;
    if (std::fwrite(data, 1, size, file) != size) failed = true;
}

bool GltfFileStream::Close() {
    if (!file) return false;
    bool written = !failed;
    if (std::fflush(file) != 0) written = false;
    if (std::fclose(file) != 0) written = false;
    file = nullptr;
    return written;
}

// ---- Output names ------------------------------------------------------------------------------

std::string CutAtLastDot(const std::string& path) {
    const std::size_t dot = path.rfind('.');
    return dot == std::string::npos ? path : path.substr(0, dot);
}

std::string BaseNameOf(const std::string& path) {
    const std::size_t separator = path.rfind('\\');
    return separator == std::string::npos ? path : path.substr(separator + 1);
}

std::string BinUriFor(const std::string& hostPath) {
    return BaseNameOf(CutAtLastDot(hostPath) + ".bin");
}

std::string ImageDirectoryFor(const std::string& hostPath, const std::string& gltfPath) {
    const std::size_t separator = hostPath.rfind('\\');
    if (separator == std::string::npos) return std::string();
    // Deliberate: the host path's position cuts the .gltf path, so when the last "." stands in a
    // directory name the images go to a directory named by the first characters of the .gltf path.
    // Deliberately unguarded: a position past the end of the .gltf path throws, and the save
    // ends in the saver's catch-all with the .gltf written and the .bin left empty.
    if (separator + 1 > gltfPath.size()) throw std::out_of_range("invalid string position");
    return gltfPath.substr(0, separator + 1);
}

// ---- The two forms -----------------------------------------------------------------------------

std::string gltfjson::serializeJson(const Value& root) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    root.Accept(writer); // false after a NaN or infinity: the text ends there, and stays so
    return std::string(buffer.GetString(), buffer.GetSize());
}

uint64_t GlbFileLength(uint64_t jsonLength, uint64_t binLength) {
    const uint64_t jsonPad = (0u - jsonLength) & 3u;
    const uint64_t binPad = (0u - binLength) & 3u;
    return 12 + 8 + jsonLength + jsonPad + 8 + binLength + binPad;
}

namespace {

// Checked before a file is opened, so a save that cannot be stated in 32 bits writes nothing.
bool fitsLengthFields(const GltfDocument& document, const std::string& path, uint64_t length) {
    if (length <= kGltfMaxFileLength) return true;
    if (document.log)
        document.log->LogError("Output file %s would be %llu bytes, more than its 32-bit length "
                               "fields can hold; nothing was written",
                               path.c_str(), static_cast<unsigned long long>(length));
    return false;
}

// Header, JSON chunk padded with blanks, BIN chunk padded with zeros. The BIN chunk is written
// also when it is empty. The caller has checked that every length fits in 32 bits.
void writeGlbBytes(const GltfDocument& document, const std::string& jsonText,
                   GltfOutputStream& out) {
    const uint32_t jsonLength = static_cast<uint32_t>(jsonText.size());
    const uint32_t jsonPad = (0u - jsonLength) & 3u;
    const uint32_t binLength = static_cast<uint32_t>(StreamedChunkLength(document.chunks, false));
    const uint32_t binPad = (0u - binLength) & 3u;

    out.Write("glTF", 4);
    out.WriteUint32(2);
    out.WriteUint32(static_cast<uint32_t>(GlbFileLength(jsonLength, binLength)));
    out.WriteUint32(jsonLength + jsonPad);
    out.Write("JSON", 4);
    out.Write(jsonText);
    out.WriteFill(0x20, jsonPad);
    out.WriteUint32(binLength + binPad);
    out.WriteUint32(0x004E4942u); // "BIN\0"
    document.WriteChunks(out, false, std::string());
    out.WriteFill(0, binPad);
}

} // namespace

// The .gltf takes the host's name with its extension replaced, whatever that extension was.
// Both files are open before the image directory is formed, so a path that leaves no room for
// the directory throws with the .gltf written and the .bin empty.
bool GltfDocument::WriteGltfFiles(const std::string& path, const GltfJsonValue& root) const {
    const std::string stem = CutAtLastDot(path);
    if (!fitsLengthFields(*this, stem + ".bin", StreamedChunkLength(chunks, true))) return false;
    GltfFileStream gltfFile(stem + ".gltf");
    if (!gltfFile.IsOpen()) return false;
    gltfFile.Write(gltfjson::serializeJson(root));
    if (!gltfFile.Close()) return false;

    // Written also when empty: the buffer's "uri" names it.
    GltfFileStream binFile(stem + ".bin");
    if (!binFile.IsOpen()) return false;
    const std::string directory = ImageDirectoryFor(path, stem + ".gltf");
    WriteChunks(binFile, true, directory);
    return binFile.Close();
}

// The .glb takes the host's path as given.
bool GltfDocument::WriteGlbFile(const std::string& path, const GltfJsonValue& root) const {
    const std::string jsonText = gltfjson::serializeJson(root);
    const uint64_t binLength = StreamedChunkLength(chunks, false);
    if (!fitsLengthFields(*this, path, GlbFileLength(jsonText.size(), binLength))) return false;
    GltfFileStream file(path);
    if (!file.IsOpen()) return false;
    writeGlbBytes(*this, jsonText, file);
    return file.Close();
}

void GltfDocument::WriteGlb(const GltfJsonValue& root, GltfOutputStream& out) const {
    writeGlbBytes(*this, gltfjson::serializeJson(root), out);
}
