// The host's event log: subsystems, entries with child entries, and the record of every entry
// that reached a subsystem, in the order it arrived.
//
// An entry is recorded when it reaches the log: when it is added to a subsystem (depth 0), or
// when it is added as a child to an entry that is already there (its parent's depth + 1). The
// children an entry already had come along with it. So a master entry that is added first and
// given its children later records them as they come.
#pragma once

#include "ComBase.h"

#include "qv/log.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace scenehost {

struct LogRecord {
    std::string subsystem; // "io-status", "logsys", ... and "msgbox" for message boxes
    std::string level;     // "error", "warning" or "info", from the code
    QvResult code = 0;
    uint32_t depth = 0;
    std::string text;
};

// A failure code is an error, qvWarning a warning, everything else information.
const char* LevelOf(QvResult code);

class LogBook {
public:
    void Post(LogRecord record);
    const std::vector<LogRecord>& Records() const { return records_; }
    // Called for each record as it arrives (qvhost prints the log live).
    void SetListener(std::function<void(const LogRecord&)> listener) {
        listener_ = std::move(listener);
    }

private:
    std::vector<LogRecord> records_;
    std::function<void(const LogRecord&)> listener_;
};

class LogEntry final : public Transient<IQvLogEntry> {
public:
    static constexpr QvGuid implIid = {
        0x5c0e1a01, 0x7a11, 0x4c3e, {0x9e, 0x01, 0x51, 0x7e, 0x4a, 0x00, 0x00, 0x03}};

    LogEntry(LogBook& book, QvResult code, std::string text);
    // Records this entry in `subsystem` at `depth`, and its children below it.
    void PostTo(const std::string& subsystem, uint32_t depth);

    QvResult QueryInterface(const QvGuid& id, void** out) override;
    QvResult AddChild(IQvLogEntry* child) override;

private:
    LogBook& book_;
    QvResult code_;
    std::string text_;
    std::vector<ComRef<LogEntry>> children_;
    bool posted_ = false;
    std::string subsystem_;
    uint32_t depth_ = 0;
};

class LogSubsystem final : public Owned<IQvLog> {
public:
    LogSubsystem(Observation& observation, std::string name);
    QvResult AddEntry(IQvLogEntry* entry) override;

private:
    std::string name_;
};

class LogService final : public Owned<IQvLogService> {
public:
    LogService(Observation& observation, LogBook& book);
    ~LogService() override;

    // A new host has "io-status" and "logsys"; a scene or test may remove or add subsystems.
    void AddSubsystem(const std::string& name);
    void RemoveSubsystem(const std::string& name);
    const std::vector<std::string>& Subsystems() const { return present_; }

    QvResult SubsystemLookup(const char* name, IQvLog** log) override;
    QvResult CreateEntry(QvResult code, const char* text, IQvLogEntry** entry) override;

private:
    LogBook& book_;
    std::vector<std::string> present_;
    // Subsystem objects outlive their removal, since a plug-in may still hold one.
    std::map<std::string, std::unique_ptr<LogSubsystem>> subsystems_;
};

} // namespace scenehost
