// Values: user values, value arrays and references, persistent configuration, block streams.
#pragma once

#include "qv/core.h"

class IQvUserValue;
class IQvPersistentEntry;

class IQvUserValueService : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x231e1625, 0x86e1, 0x50ff, {0xa8, 0xc4, 0xbf, 0xf6, 0x5c, 0xbb, 0x48, 0x31}});
    // Fails when no user value of that name exists.
    virtual QvResult UserValueLookup(const char* name, IQvUserValue** value) = 0;
};

class IQvUserValue : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x869aeb11, 0x8645, 0x5561, {0xab, 0x6e, 0x0f, 0xc9, 0x2d, 0x3e, 0xe0, 0x04}});
    virtual QvResult GetInt(int32_t* value) = 0;
    virtual QvResult GetString(const char** value) = 0;
};

// Value kinds, as attributes and persistent values name them.
#define QV_TYPE_INTEGER "integer"
#define QV_TYPE_FLOAT "float"
#define QV_TYPE_BOOLEAN "boolean"
#define QV_TYPE_STRING "string"

class IQvValueArray : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x827bcc3e, 0x8871, 0x5b79, {0xad, 0xe0, 0x2b, 0x35, 0xee, 0x2b, 0xcb, 0x5b}});
    virtual QvResult Count(uint32_t* count) = 0;
    virtual QvResult GetInt(uint32_t index, int32_t* value) = 0;
    // qvShortBuffer when the text does not fit in `size` bytes.
    virtual QvResult GetString(uint32_t index, char* buffer, uint32_t size) = 0;
    virtual QvResult AddInt(int32_t value) = 0;
    virtual QvResult AddString(const char* value) = 0;
};

class IQvValueReference : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x6128164f, 0x24fc, 0x537d, {0x9b, 0xd7, 0x96, 0x42, 0x75, 0x9b, 0xad, 0x59}});
    virtual QvResult SetObject(IQvUnknown* object) = 0;
    virtual QvResult GetObject(IQvUnknown** object) = 0;
};

// Persistent configuration: a module declares its entries when the host calls its visitor from
// PersistConfigure, between PersistStart and PersistEnd pairs, and reads and writes the values
// later through the entries and values it got.
enum QvPersistKind : uint32_t { qvPersistSingle = 0, qvPersistList = 1 };

class IQvPersistenceService : public IQvUnknown {
public:
    QV_INTERFACE_ID({0xda37dc8a, 0xa110, 0x5ddf, {0x8d, 0x9b, 0x72, 0x32, 0x1a, 0x81, 0x8b, 0x1a}});
    virtual QvResult PersistConfigure(const char* name, IQvVisitor* visitor) = 0;
    virtual QvResult PersistStart(const char* name, uint32_t kind) = 0;
    virtual QvResult PersistEnd(IQvPersistentEntry** entry) = 0;
    virtual QvResult PersistAddValue(const char* typeName) = 0;
};

class IQvPersistentEntry : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x00f81de2, 0xb9fb, 0x522a, {0xa7, 0x23, 0x7c, 0x40, 0xa6, 0x40, 0x7a, 0xae}});
    virtual QvResult Count(uint32_t* count) = 0;
    virtual QvResult Select(uint32_t index) = 0;
    virtual QvResult Append() = 0;
    // The value of the selected instance: qvNotFound when it holds none yet.
    virtual QvResult GetInt(int32_t* value) = 0;
    virtual QvResult SetInt(int32_t value) = 0;
    virtual QvResult GetDouble(double* value) = 0;
    virtual QvResult SetDouble(double value) = 0;
};

class IQvBlockRead : public IQvUnknown {
public:
    QV_INTERFACE_ID({0xc5f4b4fc, 0x53bb, 0x5af9, {0xa5, 0x42, 0x66, 0x9e, 0x4c, 0xc8, 0x72, 0x00}});
    virtual QvResult ReadU32(uint32_t* value) = 0;
    virtual QvResult ReadDouble(double* value) = 0;
};

class IQvBlockWrite : public IQvUnknown {
public:
    QV_INTERFACE_ID({0xa18dfb0c, 0x4f76, 0x5b33, {0xab, 0x7a, 0x13, 0xd9, 0x42, 0x27, 0x68, 0x27}});
    virtual QvResult WriteU32(uint32_t value) = 0;
    virtual QvResult WriteDouble(double value) = 0;
};

// An object that can stream itself, as load options are handed over.
class IQvStreamIO : public IQvUnknown {
public:
    QV_INTERFACE_ID({0xb11b35e9, 0x54ad, 0x50f2, {0xb7, 0xbd, 0x13, 0xd2, 0x40, 0x39, 0xf7, 0xd3}});
    virtual QvResult Write(IQvBlockWrite* stream) = 0;
    virtual QvResult Read(IQvBlockRead* stream) = 0;
};

// Service: keeps the load options that a settings command hands over, for a loader elsewhere.
class IQvLoadOptionsService : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x43d703cb, 0xcc56, 0x5502, {0xbe, 0x18, 0x27, 0x37, 0x76, 0x6e, 0xdb, 0x60}});
    virtual QvResult SetOptions(IQvUnknown* options) = 0;
    virtual QvResult GetOptions(IQvUnknown** options) = 0;
};
