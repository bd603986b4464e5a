// Commands and their typed, named arguments.
#pragma once

#include "qv/core.h"

class IQvCommand;
class IQvMessage;
class IQvValueArray;
class IQvValueReference;

class IQvCommandService : public IQvUnknown {
public:
    QV_INTERFACE_ID({0xd8a55f9f, 0x0cd6, 0x5060, {0x9d, 0x63, 0x88, 0xb3, 0xa9, 0xdd, 0xd4, 0xce}});
    virtual QvResult SpawnCommand(uint32_t flags, const char* name, IQvCommand** command) = 0;
};

// Named, typed attributes; commands hold their arguments as attributes.
class IQvAttributes : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x4e8aa753, 0xbbea, 0x512e, {0x91, 0x6e, 0xdd, 0x26, 0x46, 0xd6, 0x46, 0xaa}});
    virtual QvResult Count(uint32_t* count) = 0;
    virtual QvResult Name(uint32_t index, const char** name) = 0;
    virtual QvResult Lookup(const char* name, uint32_t* index) = 0;
    virtual QvResult TypeName(uint32_t index, const char** typeName) = 0;
    virtual QvResult GetInt(uint32_t index, int32_t* value) = 0;
    virtual QvResult SetInt(uint32_t index, int32_t value) = 0;
    virtual QvResult GetDouble(uint32_t index, double* value) = 0;
    virtual QvResult SetDouble(uint32_t index, double value) = 0;
    virtual QvResult GetString(uint32_t index, char* buffer, uint32_t size) = 0;
    virtual QvResult SetString(uint32_t index, const char* value) = 0;
    virtual QvResult Value(uint32_t index, int32_t writable, IQvValueReference** ref) = 0;
};

// Hints of one attribute: a list of (value, label) choices shown as a popup.
struct QvChoiceHint {
    int32_t value;
    const char* label;
};

class IQvAttributesUI : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x4ca0a920, 0xe475, 0x58c1, {0xbc, 0x76, 0xc5, 0x5d, 0xc7, 0xe4, 0x4c, 0xe9}});
    // qvOk when enabled; a failure (qvArgDisabled) when not, with the reason in `message`.
    virtual QvResult DisableMsg(uint32_t index, IQvMessage* message) = 0;
    virtual QvResult HintCount(uint32_t index, uint32_t* count) = 0;
    virtual QvResult HintByIndex(uint32_t index, uint32_t hint, QvChoiceHint* out) = 0;
    virtual QvResult ControlType(uint32_t index, const char** type) = 0;
};

class IQvCommand : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x0c410247, 0xec15, 0x5420, {0xab, 0xad, 0xc3, 0x07, 0xfe, 0x54, 0xbc, 0x71}});
    virtual QvResult Execute(uint32_t flags) = 0;
    virtual QvResult Query(uint32_t index, IQvValueArray* values) = 0;
    virtual QvResult Message(IQvMessage** message) = 0;
    virtual QvResult ArgumentsChanged() = 0;
};
