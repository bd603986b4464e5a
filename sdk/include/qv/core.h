// The binary contract between a host and a plug-in module: result codes, interface identifiers
// and the base interface every object implements. Only plain types cross this boundary: result
// codes, numbers, `const char*` text owned by the side that hands it out, and interface
// pointers. No STL type and no exception crosses it.
#pragma once

#include <cstdint>
#include <cstring>

// ---- Result codes -------------------------------------------------------------------------
// 32 bits; the top bit marks a failure. Out-arguments are left untouched by a failing call.
using QvResult = uint32_t;

constexpr QvResult qvOk = 0x00000000;            // success
constexpr QvResult qvFalse = 0x00000001;         // success, answer "no"
constexpr QvResult qvFailed = 0x80000000;        // general failure
constexpr QvResult qvOutOfMemory = 0x80000002;   // a container could not grow
constexpr QvResult qvBadMessage = 0x80000003;    // a message object cannot be used
constexpr QvResult qvNoInterface = 0x80000004;   // the object lacks the interface asked for
constexpr QvResult qvNotFound = 0x80000005;      // no such name, item or value
constexpr QvResult qvSceneUnusable = 0x80000009; // the scene could not be bound
constexpr QvResult qvOutOfRange = 0x80000015;    // an index beyond the count
constexpr QvResult qvNoLocator = 0x80000017;     // an item that has no transform
constexpr QvResult qvShortBuffer = 0x8000001E;   // a caller's buffer is too short
constexpr QvResult qvWarning = 0x00000002;       // log and message code of a warning
constexpr QvResult qvInfo = 0x00000001;          // log code of an informational entry
constexpr QvResult qvArgDisabled = 0x84800004;   // a command argument that is not enabled

inline bool QvFailed(QvResult r) {
    return (r & 0x80000000u) != 0;
}
inline bool QvSucceeded(QvResult r) {
    return (r & 0x80000000u) == 0;
}

// ---- Identifiers --------------------------------------------------------------------------
struct QvGuid {
    uint32_t data1;
    uint16_t data2;
    uint16_t data3;
    uint8_t data4[8];
};

inline bool operator==(const QvGuid& a, const QvGuid& b) {
    return a.data1 == b.data1 && a.data2 == b.data2 && a.data3 == b.data3 &&
           std::memcmp(a.data4, b.data4, sizeof a.data4) == 0;
}
inline bool operator!=(const QvGuid& a, const QvGuid& b) {
    return !(a == b);
}

// Each interface carries its identifier as `iid`; a service's interface identifier is also the
// identifier by which the host's global object finds the service.
#define QV_INTERFACE_ID(...) static constexpr QvGuid iid = __VA_ARGS__

// ---- Base interfaces ----------------------------------------------------------------------
class IQvUnknown {
public:
    QV_INTERFACE_ID({0x57248c51, 0xe688, 0x5007, {0xab, 0xbc, 0xa4, 0x21, 0xd4, 0x03, 0x52, 0xb7}});
    // On success `*out` holds a new reference to the interface `id` of this object.
    virtual QvResult QueryInterface(const QvGuid& id, void** out) = 0;
    virtual uint32_t AddRef() = 0;
    virtual uint32_t Release() = 0;

protected:
    ~IQvUnknown() = default;
};

// How host enumerations call back: the enumerator selects an element, then calls Evaluate.
// A failing result stops the enumeration and is returned by it.
class IQvVisitor : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x6e9a04a7, 0xc16e, 0x5334, {0x83, 0x7d, 0xec, 0xa1, 0xdd, 0x7a, 0x26, 0x38}});
    virtual QvResult Evaluate() = 0;
};

// The host's global object, handed to the module right after _IQvModule_Create. Every host
// service is found here by its interface identifier.
class IQvGlobal : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x8e6b5852, 0xb0d9, 0x54a8, {0x81, 0x37, 0xe9, 0xe5, 0x01, 0xab, 0xc7, 0x8d}});
    virtual QvResult LookupService(const QvGuid& serviceId, void** out) = 0;
};

// Opaque handles of mesh elements and maps, stable for the life of their mesh.
typedef struct QvPointOpaque* QvPointId;
typedef struct QvPolygonOpaque* QvPolygonId;
typedef struct QvEdgeOpaque* QvEdgeId;
typedef struct QvMeshMapOpaque* QvMapId;

// Item type codes: 0 is "no such type"; qvAllTypes asks for items of every type.
using QvTypeCode = uint32_t;
constexpr QvTypeCode qvAllTypes = 0xFFFFFFFFu;

// Four-character codes, first letter in the high byte: QvFourCC('M','A','T','R').
constexpr uint32_t QvFourCC(char a, char b, char c, char d) {
    return (uint32_t(uint8_t(a)) << 24) | (uint32_t(uint8_t(b)) << 16) |
           (uint32_t(uint8_t(c)) << 8) | uint32_t(uint8_t(d));
}
