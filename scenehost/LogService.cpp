#include "LogService.h"

#include <algorithm>

namespace scenehost {

const char* LevelOf(QvResult code) {
    if (QvFailed(code)) return "error";
    if (code == qvWarning) return "warning";
    return "info";
}

void LogBook::Post(LogRecord record) {
    records_.push_back(std::move(record));
    if (listener_) listener_(records_.back());
}

// ---- Entries --------------------------------------------------------------------------------

LogEntry::LogEntry(LogBook& book, QvResult code, std::string text)
    : book_(book), code_(code), text_(std::move(text)) {}

QvResult LogEntry::QueryInterface(const QvGuid& id, void** out) {
    if (out && id == implIid) return AnswerWith(this, out);
    return Transient::QueryInterface(id, out);
}

void LogEntry::PostTo(const std::string& subsystem, uint32_t depth) {
    posted_ = true;
    subsystem_ = subsystem;
    depth_ = depth;
    book_.Post({subsystem, LevelOf(code_), code_, depth, text_});
    for (const ComRef<LogEntry>& child : children_)
        child->PostTo(subsystem, depth + 1);
}

QvResult LogEntry::AddChild(IQvLogEntry* child) {
    LogEntry* entry = ImplFrom<LogEntry>(child);
    if (!entry || entry == this) return qvFailed;
    children_.emplace_back(entry);
    if (posted_) entry->PostTo(subsystem_, depth_ + 1);
    return qvOk;
}

// ---- Subsystems and the service -------------------------------------------------------------

LogSubsystem::LogSubsystem(Observation& observation, std::string name)
    : Owned(observation), name_(std::move(name)) {}

QvResult LogSubsystem::AddEntry(IQvLogEntry* entry) {
    LogEntry* impl = ImplFrom<LogEntry>(entry);
    if (!impl) return qvFailed;
    impl->PostTo(name_, 0);
    return qvOk;
}

LogService::LogService(Observation& observation, LogBook& book)
    : Owned(observation), book_(book), present_{qvLogIoStatus, qvLogSys} {}

LogService::~LogService() = default;

void LogService::AddSubsystem(const std::string& name) {
    if (std::find(present_.begin(), present_.end(), name) == present_.end())
        present_.push_back(name);
}

void LogService::RemoveSubsystem(const std::string& name) {
    present_.erase(std::remove(present_.begin(), present_.end(), name), present_.end());
}

QvResult LogService::SubsystemLookup(const char* name, IQvLog** log) {
    if (!name || !log) return qvFailed;
    if (std::find(present_.begin(), present_.end(), name) == present_.end()) return qvNotFound;
    std::unique_ptr<LogSubsystem>& subsystem = subsystems_[name];
    if (!subsystem) subsystem = std::make_unique<LogSubsystem>(observation_, name);
    return AnswerWith<IQvLog>(subsystem.get(), reinterpret_cast<void**>(log));
}

QvResult LogService::CreateEntry(QvResult code, const char* text, IQvLogEntry** entry) {
    if (!entry) return qvFailed;
    *entry = new LogEntry(book_, code, text ? text : "");
    return qvOk;
}

} // namespace scenehost
