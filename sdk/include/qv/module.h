// What a module offers the host: the module object with its servers, the need-context hand-over,
// tag descriptions, and the interfaces of the servers themselves (saver, monitor).
#pragma once

#include "qv/core.h"

// The module object returned by _IQvModule_Create.
class IQvModule : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x68118664, 0xf28a, 0x5ea5, {0x93, 0x94, 0xf2, 0x30, 0x04, 0x85, 0x2b, 0xea}});
    virtual QvResult ServerCount(uint32_t* count) = 0;
    virtual QvResult ServerName(uint32_t index, const char** name) = 0;
    // Creates a new object of the named server and gives its interface `id`.
    virtual QvResult Generate(const char* serverName, const QvGuid& id, void** out) = 0;
};

// The host hands its global object to the module through this interface of the module object,
// before it asks for any server. The module keeps a reference until it is unloaded.
class IQvNeedContext : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x61a962b6, 0x24a2, 0x5a25, {0x98, 0x83, 0xc7, 0x1d, 0x6a, 0x40, 0x8b, 0x07}});
    virtual QvResult SetContext(IQvGlobal* global) = 0;
};

// One row of a tag table: the interface it describes (null: the server as a whole), key, value.
struct QvTagRow {
    const QvGuid* type;
    const char* key;
    const char* value;
};

// Tag keys by which the host lists servers and finds a saver for a file type, and the output
// class of a saver that writes scenes.
constexpr const char* qvTagSaverOutClass = "saver.outClass";
constexpr const char* qvTagSaverDosType = "saver.dosType"; // the file extension, without a dot
constexpr const char* qvTagServerUserName = "server.username";
constexpr const char* qvTagServerLogSubsystem = "server.logsubsystem";
constexpr const char* qvSaverClassScene = "scene2";

class IQvTagDescription : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x698a0c93, 0x04f3, 0x5f83, {0x83, 0xbe, 0x12, 0x94, 0xea, 0x3f, 0xe8, 0xc8}});
    virtual QvResult TagCount(uint32_t* count) = 0;
    // qvOutOfRange for an index at or beyond the count.
    virtual QvResult TagDescribe(uint32_t index, QvTagRow* row) = 0;
};

// Progress monitor that the host may pass to a save.
class IQvMonitor : public IQvUnknown {
public:
    QV_INTERFACE_ID({0xd6d61ad7, 0x3672, 0x5615, {0xb6, 0xbb, 0x67, 0xc7, 0x16, 0xa8, 0x84, 0x08}});
    virtual QvResult Initialize(uint32_t stepCount) = 0;
    virtual QvResult Step(uint32_t steps) = 0;
};

// A scene saver. `source` is the scene (or a scene subset); `message` receives the reason of a
// refused verification; `monitor` may be null.
class IQvSaver : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x5bc239ee, 0xdfc2, 0x5df3, {0xb5, 0xf3, 0x3f, 0x22, 0x85, 0x92, 0xf8, 0xe9}});
    virtual QvResult Verify(IQvUnknown* source, IQvUnknown* message) = 0;
    virtual QvResult Save(IQvUnknown* source, const char* path, IQvUnknown* monitor) = 0;
};

// The one symbol a module exports. Returns a new reference to the module object.
extern "C" typedef IQvUnknown* (*QvModuleCreateFn)();
#define QV_MODULE_ENTRY_NAME "_IQvModule_Create"
