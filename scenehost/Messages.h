// Message objects, the host's message tables, and message boxes.
//
// A message names a text of a table by number (or by key) and fills its placeholders %1 to %9
// with arguments 1 to 9. A message box is not shown: the host records it (code and the text with
// its arguments filled in) and adds it to the log under the subsystem "msgbox", so the log reads
// as the user would have seen the session.
#pragma once

#include "ComBase.h"
#include "LogService.h"

#include "qv/log.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace scenehost {

struct MessageBoxRecord {
    QvResult code = 0;
    std::string text;
};

class MessageTables {
public:
    MessageTables(); // the common table: its argument, "load/save error", "load/save"
    void Define(const std::string& table, uint32_t number, const std::string& text,
                const std::string& key = "");
    const std::string* Text(const std::string& table, uint32_t number) const;
    // The number of a keyed message, or false.
    bool Number(const std::string& table, const std::string& key, uint32_t* number) const;

private:
    std::map<std::pair<std::string, uint32_t>, std::string> texts_;
    std::map<std::pair<std::string, std::string>, uint32_t> keys_;
};

class Message final : public Transient<IQvMessage> {
public:
    static constexpr QvGuid implIid = {
        0x5c0e1a01, 0x7a11, 0x4c3e, {0x9e, 0x01, 0x51, 0x7e, 0x4a, 0x00, 0x00, 0x04}};

    explicit Message(const MessageTables& tables);
    // The text with its arguments filled in; empty when no message was chosen.
    std::string Text() const;
    QvResult CodeValue() const { return code_; }

    QvResult QueryInterface(const QvGuid& id, void** out) override;
    QvResult SetCode(QvResult code) override;
    QvResult Code(QvResult* code) override;
    QvResult SetMessage(const char* table, const char* key, uint32_t number) override;
    QvResult SetArgumentString(uint32_t index, const char* text) override;
    QvResult SetArgumentInt(uint32_t index, int32_t value) override;

private:
    const MessageTables& tables_;
    QvResult code_ = qvOk;
    const std::string* pattern_ = nullptr;
    std::map<uint32_t, std::string> arguments_;
};

class MessageService final : public Owned<IQvMessageService> {
public:
    MessageService(Observation& observation, const MessageTables& tables);
    QvResult AllocateMessage(IQvMessage** message) override;
    QvResult TableText(const char* table, uint32_t number, const char** text) override;
    QvResult MessageText(IQvMessage* message, char* buffer, uint32_t size) override;

private:
    const MessageTables& tables_;
};

class MessageBoxService final : public Owned<IQvMessageBoxService> {
public:
    MessageBoxService(Observation& observation, LogBook& book);
    const std::vector<MessageBoxRecord>& Boxes() const { return boxes_; }

    QvResult ShowMessage(IQvMessage* message, const char* title, const char* help,
                         const char* cookie) override;

private:
    LogBook& book_;
    std::vector<MessageBoxRecord> boxes_;
};

} // namespace scenehost
