// The host's persistent configuration, kept in a text file, and the services that go with the
// load options a settings command hands over.
//
// The configuration file: a header line, then one value a line, in key order:
//
//     # qvhost configuration 1
//     gltfLoader/gltfLoadOptions/importUnits = integer 8
//     gltfLoader/gltfLoadOptions/globalScalingFactor = float 2.5
//
// The key is the PersistConfigure name and the PersistStart names inside it, joined by '/'; the
// type is the one PersistAddValue declared. Lines starting with '#' and blank lines are
// ignored, and so is a line that is not of that form. Values of entries that no module has
// declared in this session are kept as they were. Each change rewrites the whole file
// atomically: a temporary file beside it ("FILE.tmp"), flushed and synced, then renamed over
// FILE, so that a crash mid-write leaves the previous file whole.
//
// Every entry holds one instance (Count 1), whether declared single or list.
//
// Without a file (no Open) the values live in memory only.
#pragma once

#include "ComBase.h"

#include "qv/value.h"

#include <cstddef>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace scenehost {

class PersistenceService;

class PersistentEntry final : public Owned<IQvPersistentEntry> {
public:
    PersistentEntry(Observation& observation, PersistenceService& service, std::string key)
        : Owned(observation), service_(service), key_(std::move(key)) {}
    QvResult Count(uint32_t* count) override;
    QvResult Select(uint32_t index) override;
    QvResult Append() override { return qvOk; }
    QvResult GetInt(int32_t* value) override;
    QvResult SetInt(int32_t value) override;
    QvResult GetDouble(double* value) override;
    QvResult SetDouble(double value) override;

private:
    PersistenceService& service_;
    std::string key_;
};

class PersistenceService final : public Owned<IQvPersistenceService> {
public:
    static constexpr const char* kHeader = "# qvhost configuration 1";

    explicit PersistenceService(Observation& observation) : Owned(observation) {}

    // Reads FILE (a missing file is an empty configuration) and writes every change to it from
    // then on. False with a reason when FILE exists but cannot be read.
    bool Open(const std::string& path, std::string* error);
    const std::string& Path() const { return path_; }
    // The configuration file qvhost uses: $QVHOST_CONFIG, else $XDG_CONFIG_HOME/qvhost/config.txt,
    // else ~/.config/qvhost/config.txt.
    static std::string DefaultPath();

    // For tests: the next writes put only this many bytes into the temporary file and then fail,
    // as a crash or a full disk would.
    void FailWritesAfter(size_t bytes) { failAfter_ = bytes; }

    // The value of a key as text ("" when none) and its type.
    bool Lookup(const std::string& key, std::string* type, std::string* text) const;
    // Sets a value and rewrites the file; on failure the previous value stays, in memory and on
    // disk, and the result is qvFailed.
    QvResult Store(const std::string& key, const std::string& text);

    QvResult PersistConfigure(const char* name, IQvVisitor* visitor) override;
    QvResult PersistStart(const char* name, uint32_t kind) override;
    QvResult PersistEnd(IQvPersistentEntry** entry) override;
    QvResult PersistAddValue(const char* typeName) override;

private:
    struct Value {
        std::string type;
        std::string text; // empty: declared, never set
    };
    bool WriteFile(std::string* error) const;

    std::string path_;
    std::map<std::string, Value> values_;
    std::vector<std::string> open_; // names from PersistConfigure down to the current entry
    std::map<std::string, std::unique_ptr<PersistentEntry>> entries_;
    size_t failAfter_ = std::numeric_limits<size_t>::max();
};

// Keeps the last options object a settings command handed over, with a reference.
class LoadOptionsService final : public Owned<IQvLoadOptionsService> {
public:
    using Owned::Owned;
    QvResult SetOptions(IQvUnknown* options) override;
    QvResult GetOptions(IQvUnknown** options) override;
    IQvUnknown* Held() const { return held_.get(); }

private:
    ComRef<IQvUnknown> held_;
};

// Block streams over a byte buffer: little-endian u32 and IEEE double.
class BlockWriter final : public Transient<IQvBlockWrite> {
public:
    // Writes that would go beyond `limit` bytes fail with qvShortBuffer.
    explicit BlockWriter(size_t limit = std::numeric_limits<size_t>::max()) : limit_(limit) {}
    QvResult WriteU32(uint32_t value) override;
    QvResult WriteDouble(double value) override;
    const std::string& Bytes() const { return bytes_; }

private:
    QvResult Put(const void* data, size_t size);
    std::string bytes_;
    size_t limit_;
};

class BlockReader final : public Transient<IQvBlockRead> {
public:
    explicit BlockReader(std::string bytes) : bytes_(std::move(bytes)) {}
    // A read beyond the end fails with qvOutOfRange.
    QvResult ReadU32(uint32_t* value) override;
    QvResult ReadDouble(double* value) override;

private:
    QvResult Take(void* data, size_t size);
    std::string bytes_;
    size_t at_ = 0;
};

} // namespace scenehost
