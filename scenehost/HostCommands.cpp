#include "HostCommands.h"

#include "Item.h"
#include "Messages.h"

#include <cassert>
#include <cstring>

namespace scenehost {

namespace {

const char* KindTypeName(ArgumentKind kind) {
    switch (kind) {
    case ArgumentKind::Integer:
        return QV_TYPE_INTEGER;
    case ArgumentKind::String:
        return QV_TYPE_STRING;
    case ArgumentKind::Object:
        return "object";
    }
    return "?";
}

CommandArgument MakeArgument(const char* name, ArgumentKind kind) {
    CommandArgument argument;
    argument.name = name;
    argument.kind = kind;
    return argument;
}

// The reference to an object argument that Value hands out; it keeps its command alive.
class ArgumentReference final : public Transient<IQvValueReference> {
public:
    ArgumentReference(IQvCommand* command, CommandArgument& argument, bool writable)
        : command_(command), argument_(argument), writable_(writable) {}

    QvResult SetObject(IQvUnknown* object) override {
        if (!writable_) return qvFailed;
        argument_.object = ComRef<IQvUnknown>(object);
        return qvOk;
    }
    QvResult GetObject(IQvUnknown** object) override {
        if (!object) return qvFailed;
        if (!argument_.object) return qvNotFound;
        return AnswerWith(argument_.object.get(), reinterpret_cast<void**>(object));
    }

private:
    ComRef<IQvCommand> command_;
    CommandArgument& argument_;
    bool writable_;
};

} // namespace

// ---- Arguments and outcome ------------------------------------------------------------------

HostCommand::HostCommand(const MessageTables& tables, std::vector<CommandArgument> arguments)
    : tables_(tables), arguments_(std::move(arguments)) {}

CommandArgument* HostCommand::Argument(uint32_t index, ArgumentKind kind) {
    if (index >= arguments_.size() || arguments_[index].kind != kind) return nullptr;
    return &arguments_[index];
}

CommandArgument& HostCommand::Argument(const char* name) {
    uint32_t index = 0;
    [[maybe_unused]] const QvResult found = Lookup(name, &index);
    assert(QvSucceeded(found) && "a command asks for an argument it does not have");
    return arguments_[index];
}

QvResult HostCommand::Succeed() {
    code_ = qvOk;
    failure_.clear();
    return qvOk;
}

QvResult HostCommand::Fail(const std::string& why) {
    code_ = qvFailed;
    failure_ = why;
    return qvFailed;
}

QvResult HostCommand::Message(IQvMessage** message) {
    if (!message) return qvFailed;
    auto* made = new scenehost::Message(tables_);
    made->SetCode(code_);
    if (QvFailed(code_)) {
        made->SetMessage(qvMsgTableCommon, nullptr, qvMsgCommonArgument);
        made->SetArgumentString(1, failure_.c_str());
    }
    *message = made;
    return qvOk;
}

// ---- IQvAttributes --------------------------------------------------------------------------

QvResult HostCommand::Count(uint32_t* count) {
    if (!count) return qvFailed;
    *count = static_cast<uint32_t>(arguments_.size());
    return qvOk;
}

QvResult HostCommand::Name(uint32_t index, const char** name) {
    if (!name) return qvFailed;
    if (index >= arguments_.size()) return qvOutOfRange;
    *name = arguments_[index].name.c_str();
    return qvOk;
}

QvResult HostCommand::Lookup(const char* name, uint32_t* index) {
    if (!name || !index) return qvFailed;
    for (uint32_t i = 0; i < arguments_.size(); ++i)
        if (arguments_[i].name == name) {
            *index = i;
            return qvOk;
        }
    return qvNotFound;
}

QvResult HostCommand::TypeName(uint32_t index, const char** typeName) {
    if (!typeName) return qvFailed;
    if (index >= arguments_.size()) return qvOutOfRange;
    *typeName = KindTypeName(arguments_[index].kind);
    return qvOk;
}

QvResult HostCommand::GetInt(uint32_t index, int32_t* value) {
    CommandArgument* argument = Argument(index, ArgumentKind::Integer);
    if (!argument || !value) return qvFailed;
    *value = argument->integer;
    return qvOk;
}

QvResult HostCommand::SetInt(uint32_t index, int32_t value) {
    CommandArgument* argument = Argument(index, ArgumentKind::Integer);
    if (!argument) return qvFailed;
    argument->integer = value;
    return qvOk;
}

QvResult HostCommand::GetDouble(uint32_t index, double* value) {
    CommandArgument* argument = Argument(index, ArgumentKind::Integer);
    if (!argument || !value) return qvFailed;
    *value = argument->integer;
    return qvOk;
}

QvResult HostCommand::SetDouble(uint32_t, double) {
    return qvFailed;
}

QvResult HostCommand::GetString(uint32_t index, char* buffer, uint32_t size) {
    CommandArgument* argument = Argument(index, ArgumentKind::String);
    if (!argument || !buffer) return qvFailed;
    if (argument->text.size() + 1 > size) return qvShortBuffer; // the buffer stays untouched
    std::memcpy(buffer, argument->text.c_str(), argument->text.size() + 1);
    return qvOk;
}

QvResult HostCommand::SetString(uint32_t index, const char* value) {
    CommandArgument* argument = Argument(index, ArgumentKind::String);
    if (!argument || !value) return qvFailed;
    argument->text = value;
    return qvOk;
}

QvResult HostCommand::Value(uint32_t index, int32_t writable, IQvValueReference** ref) {
    CommandArgument* argument = Argument(index, ArgumentKind::Object);
    if (!argument || !ref) return qvFailed;
    *ref = new ArgumentReference(this, *argument, writable != 0);
    return qvOk;
}

// ---- item.exportTags ------------------------------------------------------------------------

ExportTagsCommand::ExportTagsCommand(const MessageTables& tables)
    : HostCommand(tables, {MakeArgument("item", ArgumentKind::Object),
                           MakeArgument("itemType", ArgumentKind::String),
                           MakeArgument("tagType", ArgumentKind::Integer),
                           MakeArgument("tag", ArgumentKind::String)}) {}

const std::string* ExportTagsCommand::ClipTag() {
    const std::string prefix = std::string(kCmdExportTags) + ": ";
    const std::string& itemType = Argument("itemType").text;
    if (itemType != "actionclip") {
        Fail(prefix + "no tags for items of type '" + itemType + "'");
        return nullptr;
    }
    if (int32_t tagType = Argument("tagType").integer; tagType != 0) {
        Fail(prefix + "no tag type " + std::to_string(tagType));
        return nullptr;
    }
    const Item* item = ImplFrom<Item>(Argument("item").object.get());
    if (!item || !item->IsA("actionclip")) {
        Fail(prefix + (item ? "'" + item->Name() + "' is no action clip" : "no item given"));
        return nullptr;
    }
    Succeed();
    return &item->ExportTagText();
}

QvResult ExportTagsCommand::Execute(uint32_t) {
    return ClipTag() ? qvOk : qvFailed;
}

QvResult ExportTagsCommand::Query(uint32_t index, IQvValueArray* values) {
    uint32_t tagIndex = 0;
    Lookup("tag", &tagIndex);
    if (!values) return qvFailed;
    if (index != tagIndex) return Fail(std::string(kCmdExportTags) + ": only \"tag\" is queried");
    const std::string* tag = ClipTag();
    if (!tag) return qvFailed;
    QvResult added = values->AddString(tag->c_str());
    return QvFailed(added) ? Fail(std::string(kCmdExportTags) + ": the value array took no text")
                           : qvOk;
}

} // namespace scenehost
