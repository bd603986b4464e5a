// The commands a plug-in can spawn through the command service, with their arguments.
//
// A command holds its arguments as attributes (IQvAttributes, reached by QueryInterface) and
// remembers how its last Execute or Query went, which Message hands out: code qvOk, or a failure
// code with a text (the common table's "%1" message, so the message service fills it in).
//
// "item.exportTags" gives the tag text that an action clip carries for export (Item::ExportTag,
// "exportTag" in a scene file). Arguments: "item" (an object, set through the reference that
// Value gives), "itemType" (text), "tagType" (integer) and "tag" (text). Query of "tag" adds the
// clip's text, "" when it has none, to the caller's value array with AddString. It answers for
// "itemType" "actionclip" and "tagType" 0, the export tag; any other item, item type or tag type
// fails with qvFailed and says why. Execute checks the arguments the same way and changes nothing.
#pragma once

#include "ComBase.h"

#include "qv/command.h"
#include "qv/value.h"

#include <string>
#include <vector>

namespace scenehost {

class MessageTables;

constexpr const char* kCmdExportTags = "item.exportTags";

enum class ArgumentKind { Integer, String, Object };

struct CommandArgument {
    std::string name;
    ArgumentKind kind = ArgumentKind::Integer;
    int32_t integer = 0;
    std::string text;
    ComRef<IQvUnknown> object; // the command holds a reference while it lives
};

class HostCommand : public Transient<IQvCommand, IQvAttributes> {
public:
    HostCommand(const MessageTables& tables, std::vector<CommandArgument> arguments);

    QvResult Message(IQvMessage** message) override;
    QvResult ArgumentsChanged() override { return qvOk; }

    QvResult Count(uint32_t* count) override;
    QvResult Name(uint32_t index, const char** name) override;
    QvResult Lookup(const char* name, uint32_t* index) override;
    QvResult TypeName(uint32_t index, const char** typeName) override;
    QvResult GetInt(uint32_t index, int32_t* value) override;
    QvResult SetInt(uint32_t index, int32_t value) override;
    QvResult GetDouble(uint32_t index, double* value) override; // integers, as numbers
    QvResult SetDouble(uint32_t index, double value) override;  // no argument takes a number
    QvResult GetString(uint32_t index, char* buffer, uint32_t size) override;
    QvResult SetString(uint32_t index, const char* value) override;
    // Object arguments only: a reference through which the object is read and, when
    // `writable`, set.
    QvResult Value(uint32_t index, int32_t writable, IQvValueReference** ref) override;

protected:
    // The argument at `index` when it is of `kind`; null otherwise.
    CommandArgument* Argument(uint32_t index, ArgumentKind kind);
    CommandArgument& Argument(const char* name); // one the command surely has
    QvResult Succeed();
    QvResult Fail(const std::string& why); // records qvFailed and the text, returns qvFailed

private:
    const MessageTables& tables_;
    std::vector<CommandArgument> arguments_;
    QvResult code_ = qvOk;
    std::string failure_;
};

class ExportTagsCommand final : public HostCommand {
public:
    explicit ExportTagsCommand(const MessageTables& tables);
    QvResult Execute(uint32_t flags) override;
    QvResult Query(uint32_t index, IQvValueArray* values) override;

private:
    // The export tag of the clip the arguments name, or null after Fail.
    const std::string* ClipTag();
};

} // namespace scenehost
