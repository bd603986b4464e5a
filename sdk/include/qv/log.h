// The host's event log, its message objects and boxes, and the facts about the platform.
#pragma once

#include "qv/core.h"

class IQvLog;
class IQvLogEntry;
class IQvMessage;

// ---- Log subsystems -----------------------------------------------------------------------
// Names for IQvLogService::SubsystemLookup.
constexpr const char* qvLogIoStatus = "io-status"; // loading and saving of files
constexpr const char* qvLogSys = "logsys";         // the host's system log

// ---- The common message table -------------------------------------------------------------
// A table every host has, and the numbers of its messages that modules use.
constexpr const char* qvMsgTableCommon = "common";
constexpr uint32_t qvMsgCommonArgument = 2020;      // "%1": its first argument, as it is
constexpr uint32_t qvMsgCommonLoadSaveError = 2401; // "load/save error"
constexpr uint32_t qvMsgCommonLoadSave = 2402;      // "load/save"

// Entry codes: qvInfo, qvWarning, or a failure code (top bit set) for an error.
class IQvLogService : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x650c8bdf, 0x3d21, 0x575f, {0xa5, 0x84, 0xa3, 0xea, 0x23, 0xe9, 0xcb, 0xf9}});
    virtual QvResult SubsystemLookup(const char* name, IQvLog** log) = 0;
    virtual QvResult CreateEntry(QvResult code, const char* text, IQvLogEntry** entry) = 0;
};

class IQvLog : public IQvUnknown {
public:
    QV_INTERFACE_ID({0xeada72e4, 0xd89b, 0x5943, {0x93, 0x47, 0xe7, 0x92, 0xe9, 0x92, 0x75, 0x1f}});
    virtual QvResult AddEntry(IQvLogEntry* entry) = 0;
};

class IQvLogEntry : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x614d9ad6, 0xfc66, 0x5289, {0xbb, 0x62, 0xd9, 0x9c, 0x45, 0x84, 0x9d, 0x88}});
    virtual QvResult AddChild(IQvLogEntry* child) = 0;
};

class IQvMessageService : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x39ab3f5b, 0x6570, 0x5a1a, {0x98, 0x34, 0xed, 0xfa, 0xcc, 0x30, 0xf6, 0xe8}});
    virtual QvResult AllocateMessage(IQvMessage** message) = 0;
    // Text of message `number` of a table, with no arguments filled in.
    virtual QvResult TableText(const char* table, uint32_t number, const char** text) = 0;
    // The message's text with its arguments filled in; qvShortBuffer when it does not fit.
    virtual QvResult MessageText(IQvMessage* message, char* buffer, uint32_t size) = 0;
};

class IQvMessage : public IQvUnknown {
public:
    QV_INTERFACE_ID({0xf9fc0973, 0x0e84, 0x5d62, {0x8f, 0x0c, 0xab, 0x21, 0xf2, 0xd5, 0xf3, 0xde}});
    virtual QvResult SetCode(QvResult code) = 0;
    virtual QvResult Code(QvResult* code) = 0;
    // `key` picks a message by name when not null; otherwise `number` picks it.
    virtual QvResult SetMessage(const char* table, const char* key, uint32_t number) = 0;
    virtual QvResult SetArgumentString(uint32_t index, const char* text) = 0;
    virtual QvResult SetArgumentInt(uint32_t index, int32_t value) = 0;
};

class IQvMessageBoxService : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x373ffac2, 0x3fc5, 0x5e17, {0x9d, 0x02, 0xb9, 0x3b, 0xd1, 0x3f, 0x68, 0x06}});
    // Shows the message and returns when the user is done with it.
    virtual QvResult ShowMessage(IQvMessage* message, const char* title, const char* help,
                                 const char* cookie) = 0;
};

class IQvPlatformService : public IQvUnknown {
public:
    QV_INTERFACE_ID({0xfaa5fb6b, 0x842f, 0x5422, {0x82, 0x71, 0xcf, 0x92, 0xe7, 0xa7, 0xfc, 0xdc}});
    virtual QvResult PlatformName(const char** text) = 0;
    virtual QvResult PlatformVersion(const char** text) = 0;
    virtual QvResult PlatformBuild(const char** text) = 0;
    virtual QvResult PlatformText1(const char** text) = 0;
    virtual QvResult PlatformText2(const char** text) = 0;
};
