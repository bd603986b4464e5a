#include "Messages.h"

#include <cstring>

namespace scenehost {

// ---- Tables ---------------------------------------------------------------------------------

MessageTables::MessageTables() {
    Define(qvMsgTableCommon, qvMsgCommonArgument, "%1");
    Define(qvMsgTableCommon, qvMsgCommonLoadSaveError, "load/save error");
    Define(qvMsgTableCommon, qvMsgCommonLoadSave, "load/save");
}

void MessageTables::Define(const std::string& table, uint32_t number, const std::string& text,
                           const std::string& key) {
    texts_[{table, number}] = text;
    if (!key.empty()) keys_[{table, key}] = number;
}

const std::string* MessageTables::Text(const std::string& table, uint32_t number) const {
    auto it = texts_.find({table, number});
    return it == texts_.end() ? nullptr : &it->second;
}

bool MessageTables::Number(const std::string& table, const std::string& key,
                           uint32_t* number) const {
    auto it = keys_.find({table, key});
    if (it == keys_.end()) return false;
    *number = it->second;
    return true;
}

// ---- Messages -------------------------------------------------------------------------------

Message::Message(const MessageTables& tables) : tables_(tables) {}

QvResult Message::QueryInterface(const QvGuid& id, void** out) {
    if (out && id == implIid) return AnswerWith(this, out);
    return Transient::QueryInterface(id, out);
}

QvResult Message::SetCode(QvResult code) {
    code_ = code;
    return qvOk;
}

QvResult Message::Code(QvResult* code) {
    if (!code) return qvFailed;
    *code = code_;
    return qvOk;
}

QvResult Message::SetMessage(const char* table, const char* key, uint32_t number) {
    if (!table) return qvFailed;
    if (key && !tables_.Number(table, key, &number)) return qvNotFound;
    const std::string* pattern = tables_.Text(table, number);
    if (!pattern) return qvNotFound;
    pattern_ = pattern;
    return qvOk;
}

// Arguments count from 1, as the placeholders do.
QvResult Message::SetArgumentString(uint32_t index, const char* text) {
    if (index < 1 || index > 9) return qvOutOfRange;
    arguments_[index] = text ? text : "";
    return qvOk;
}

QvResult Message::SetArgumentInt(uint32_t index, int32_t value) {
    return SetArgumentString(index, std::to_string(value).c_str());
}

std::string Message::Text() const {
    if (!pattern_) return "";
    std::string out;
    const std::string& p = *pattern_;
    for (size_t i = 0; i < p.size(); ++i) {
        if (p[i] == '%' && i + 1 < p.size() && p[i + 1] >= '1' && p[i + 1] <= '9') {
            auto arg = arguments_.find(static_cast<uint32_t>(p[i + 1] - '0'));
            if (arg != arguments_.end()) out += arg->second;
            ++i;
        } else {
            out += p[i];
        }
    }
    return out;
}

// ---- Services -------------------------------------------------------------------------------

MessageService::MessageService(Observation& observation, const MessageTables& tables)
    : Owned(observation), tables_(tables) {}

QvResult MessageService::AllocateMessage(IQvMessage** message) {
    if (!message) return qvFailed;
    *message = new Message(tables_);
    return qvOk;
}

QvResult MessageService::TableText(const char* table, uint32_t number, const char** text) {
    if (!table || !text) return qvFailed;
    const std::string* found = tables_.Text(table, number);
    if (!found) return qvNotFound;
    *text = found->c_str();
    return qvOk;
}

QvResult MessageService::MessageText(IQvMessage* message, char* buffer, uint32_t size) {
    Message* impl = ImplFrom<Message>(message);
    if (!impl || !buffer) return qvBadMessage;
    std::string text = impl->Text();
    if (text.size() + 1 > size) return qvShortBuffer; // the buffer stays untouched
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return qvOk;
}

MessageBoxService::MessageBoxService(Observation& observation, LogBook& book)
    : Owned(observation), book_(book) {}

QvResult MessageBoxService::ShowMessage(IQvMessage* message, const char*, const char*,
                                        const char*) {
    Message* impl = ImplFrom<Message>(message);
    if (!impl) return qvBadMessage;
    boxes_.push_back({impl->CodeValue(), impl->Text()});
    book_.Post({"msgbox", LevelOf(impl->CodeValue()), impl->CodeValue(), 0, impl->Text()});
    return qvOk;
}

} // namespace scenehost
