#include "Persistence.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace scenehost {

// ---- Entries ----------------------------------------------------------------------------------

QvResult PersistentEntry::Count(uint32_t* count) {
    if (!count) return qvFailed;
    *count = 1;
    return qvOk;
}

QvResult PersistentEntry::Select(uint32_t index) {
    return index == 0 ? qvOk : qvOutOfRange;
}

QvResult PersistentEntry::GetInt(int32_t* value) {
    std::string type, text;
    if (!value || !service_.Lookup(key_, &type, &text) || text.empty()) return qvNotFound;
    char* end = nullptr;
    long n = std::strtol(text.c_str(), &end, 10);
    if (*end != '\0') return qvNotFound;
    *value = int32_t(n);
    return qvOk;
}

QvResult PersistentEntry::SetInt(int32_t value) {
    return service_.Store(key_, std::to_string(value));
}

QvResult PersistentEntry::GetDouble(double* value) {
    std::string type, text;
    if (!value || !service_.Lookup(key_, &type, &text) || text.empty()) return qvNotFound;
    char* end = nullptr;
    double d = std::strtod(text.c_str(), &end);
    if (*end != '\0') return qvNotFound;
    *value = d;
    return qvOk;
}

QvResult PersistentEntry::SetDouble(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.17g", value);
    return service_.Store(key_, text);
}

// ---- The service ------------------------------------------------------------------------------

std::string PersistenceService::DefaultPath() {
    if (const char* env = std::getenv("QVHOST_CONFIG"); env && *env) return env;
    if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg)
        return std::string(xdg) + "/qvhost/config.txt";
    const char* home = std::getenv("HOME");
    return std::string(home && *home ? home : ".") + "/.config/qvhost/config.txt";
}

bool PersistenceService::Open(const std::string& path, std::string* error) {
    path_ = path;
    values_.clear();
    std::error_code ec;
    if (!std::filesystem::exists(path, ec)) return true;
    std::ifstream in(path);
    if (!in) {
        *error = "cannot read the configuration file " + path;
        return false;
    }
    std::string line;
    while (std::getline(in, line)) {
        if (line.empty() || line[0] == '#') continue;
        size_t eq = line.find(" = ");
        if (eq == std::string::npos || eq == 0) continue;
        std::string rest = line.substr(eq + 3);
        size_t space = rest.find(' ');
        if (space == std::string::npos) continue;
        values_[line.substr(0, eq)] = Value{rest.substr(0, space), rest.substr(space + 1)};
    }
    return true;
}

bool PersistenceService::Lookup(const std::string& key, std::string* type,
                                std::string* text) const {
    auto it = values_.find(key);
    if (it == values_.end()) return false;
    *type = it->second.type;
    *text = it->second.text;
    return true;
}

QvResult PersistenceService::Store(const std::string& key, const std::string& text) {
    observation_.Count("PersistStore:" + key);
    Value& value = values_[key];
    std::string previous = value.text;
    if (previous == text) return qvOk;
    value.text = text;
    std::string error;
    if (!WriteFile(&error)) {
        value.text = previous;
        return qvFailed;
    }
    return qvOk;
}

bool PersistenceService::WriteFile(std::string* error) const {
    if (path_.empty()) return true;
    std::string content = std::string(kHeader) + "\n";
    for (const auto& [key, value] : values_)
        if (!value.text.empty()) content += key + " = " + value.type + " " + value.text + "\n";

    std::filesystem::path target(path_);
    std::error_code ec;
    if (target.has_parent_path()) std::filesystem::create_directories(target.parent_path(), ec);
    std::string temporary = path_ + ".tmp";
    int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        *error = "cannot write " + temporary + ": " + std::strerror(errno);
        return false;
    }
    size_t length = std::min(content.size(), failAfter_);
    size_t done = 0;
    while (done < length) {
        ssize_t n = ::write(fd, content.data() + done, length - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += size_t(n);
    }
    bool written = done == content.size() && ::fsync(fd) == 0;
    written = (::close(fd) == 0) && written;
    if (!written || ::rename(temporary.c_str(), path_.c_str()) != 0) {
        *error = "cannot write " + path_;
        ::unlink(temporary.c_str());
        return false;
    }
    // The rename is only durable once the folder's own entry is on disk.
    int dir = ::open(target.has_parent_path() ? target.parent_path().c_str() : ".",
                     O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
        ::fsync(dir);
        ::close(dir);
    }
    return true;
}

QvResult PersistenceService::PersistConfigure(const char* name, IQvVisitor* visitor) {
    if (!name || !visitor || !open_.empty()) return qvFailed;
    observation_.Count(std::string("PersistConfigure:") + name);
    open_.push_back(name);
    QvResult r = visitor->Evaluate();
    open_.clear();
    return r;
}

QvResult PersistenceService::PersistStart(const char* name, uint32_t kind) {
    if (!name || open_.empty() || kind > qvPersistList || std::strchr(name, '/')) return qvFailed;
    open_.push_back(name);
    return qvOk;
}

QvResult PersistenceService::PersistAddValue(const char* typeName) {
    if (!typeName || open_.size() < 2 || std::strchr(typeName, ' ')) return qvFailed;
    std::string key = open_[0];
    for (size_t i = 1; i < open_.size(); ++i)
        key += "/" + open_[i];
    Value& value = values_[key];
    // A value of another type than the one declared now is not this module's any more.
    if (value.type != typeName) value = Value{typeName, ""};
    return qvOk;
}

QvResult PersistenceService::PersistEnd(IQvPersistentEntry** entry) {
    if (open_.size() < 2) return qvFailed;
    std::string key = open_[0];
    for (size_t i = 1; i < open_.size(); ++i)
        key += "/" + open_[i];
    open_.pop_back();
    auto& slot = entries_[key];
    if (!slot) slot = std::make_unique<PersistentEntry>(observation_, *this, key);
    if (entry) AnswerWith<IQvPersistentEntry>(slot.get(), reinterpret_cast<void**>(entry));
    return qvOk;
}

// ---- Load options -----------------------------------------------------------------------------

QvResult LoadOptionsService::SetOptions(IQvUnknown* options) {
    observation_.Count("SetOptions");
    held_ = ComRef<IQvUnknown>(options);
    return qvOk;
}

QvResult LoadOptionsService::GetOptions(IQvUnknown** options) {
    if (!options || !held_.get()) return qvNotFound;
    return AnswerWith(held_.get(), reinterpret_cast<void**>(options));
}

// ---- Block streams ----------------------------------------------------------------------------

QvResult BlockWriter::Put(const void* data, size_t size) {
    if (bytes_.size() + size > limit_) return qvShortBuffer;
    bytes_.append(static_cast<const char*>(data), size);
    return qvOk;
}

QvResult BlockWriter::WriteU32(uint32_t value) {
    unsigned char b[4];
    for (int i = 0; i < 4; ++i)
        b[i] = uint8_t(value >> (8 * i));
    return Put(b, 4);
}

QvResult BlockWriter::WriteDouble(double value) {
    uint64_t bits;
    std::memcpy(&bits, &value, 8);
    unsigned char b[8];
    for (int i = 0; i < 8; ++i)
        b[i] = uint8_t(bits >> (8 * i));
    return Put(b, 8);
}

QvResult BlockReader::Take(void* data, size_t size) {
    if (bytes_.size() - at_ < size) return qvOutOfRange;
    std::memcpy(data, bytes_.data() + at_, size);
    at_ += size;
    return qvOk;
}

QvResult BlockReader::ReadU32(uint32_t* value) {
    unsigned char b[4];
    if (!value) return qvFailed;
    if (QvResult r = Take(b, 4); QvFailed(r)) return r;
    *value = uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16 | uint32_t(b[3]) << 24;
    return qvOk;
}

QvResult BlockReader::ReadDouble(double* value) {
    unsigned char b[8];
    if (!value) return qvFailed;
    if (QvResult r = Take(b, 8); QvFailed(r)) return r;
    uint64_t bits = 0;
    for (int i = 0; i < 8; ++i)
        bits |= uint64_t(b[i]) << (8 * i);
    std::memcpy(value, &bits, 8);
    return qvOk;
}

} // namespace scenehost
