#include "ResultNames.h"

#include <cstdio>

namespace qvhost {

namespace {

struct KnownResult {
    QvResult code;
    const char* name;
    const char* meaning;
};

// The failure codes of qv/core.h, with the meaning its comments give them.
constexpr KnownResult kKnownFailures[] = {
    {qvFailed, "qvFailed", "general failure"},
    {qvOutOfMemory, "qvOutOfMemory", "a container could not grow"},
    {qvBadMessage, "qvBadMessage", "a message object cannot be used"},
    {qvNoInterface, "qvNoInterface", "the object lacks the interface asked for"},
    {qvNotFound, "qvNotFound", "no such name, item or value"},
    {qvSceneUnusable, "qvSceneUnusable", "the scene could not be bound"},
    {qvOutOfRange, "qvOutOfRange", "an index beyond the count"},
    {qvNoLocator, "qvNoLocator", "an item that has no transform"},
    {qvShortBuffer, "qvShortBuffer", "a caller's buffer is too short"},
    {qvArgDisabled, "qvArgDisabled", "a command argument that is not enabled"},
};

} // namespace

std::string DescribeResult(QvResult result) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%08X", result);
    for (const KnownResult& known : kKnownFailures)
        if (known.code == result) return std::string(hex) + " " + known.name + ": " + known.meaning;
    return hex;
}

} // namespace qvhost
