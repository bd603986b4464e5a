#include "options/LoadOptionsIO.h"

namespace {

// A failed block call, carried out of the field-by-field code to the interface boundary.
struct BlockFailure {
    QvResult code;
};

void Check(QvResult r) {
    if (QvFailed(r)) throw BlockFailure{r};
}

constexpr uint32_t kVersion = 1;

// The flag bits that carry one byte field each; the rest are placed by hand.
struct FlagBit {
    uint8_t LoadOptionsRecord::*field;
    uint32_t bit;
};

constexpr FlagBit kFlagBits[] = {
    {&LoadOptionsRecord::loadGeometry, 0},
    {&LoadOptionsRecord::loadMaterials, 1},
    {&LoadOptionsRecord::loadCameras, 2},
    {&LoadOptionsRecord::loadLights, 3},
    {&LoadOptionsRecord::loadMeshSmoothing, 4},
    {&LoadOptionsRecord::loadBlendShapes, 5},
    {&LoadOptionsRecord::loadAnimation, 6},
    {&LoadOptionsRecord::loadSampleAnimation, 7},
    {&LoadOptionsRecord::loadNormals, 8},
    {&LoadOptionsRecord::invertMatTranAmt, 9},
    {&LoadOptionsRecord::useMatTranColAsTranAmt, 10},
    {&LoadOptionsRecord::loadPolygonParts, 11},
    {&LoadOptionsRecord::loadSelectionSets, 12},
};
constexpr uint32_t kRateBit = 13;
constexpr uint32_t kMergeBit = 16;
constexpr uint32_t kTextureEffectBit = 17;
constexpr uint32_t kUnitsShift = 18;
// Deliberate: the loader on the other side reads the units through this mask, which turns
// Yards (8) into 0 and Miles (9) into 1; streams must read back as that loader sees them.
constexpr uint32_t kUnitsMask = 0x457;

} // namespace

QvResult LoadOptionsIO::QueryInterface(const QvGuid& id, void** out) {
    if (!out) return qvFailed;
    if (id == IQvStreamIO::iid || id == IQvUnknown::iid) {
        *out = static_cast<IQvStreamIO*>(this);
        AddRef();
        return qvOk;
    }
    return qvNoInterface;
}

uint32_t LoadOptionsIO::FlagWord(const LoadOptionsRecord& record) {
    uint32_t flags = 0;
    for (const FlagBit& f : kFlagBits)
        if (record.*f.field) flags |= 1u << f.bit;
    if (record.loadSampleAnimationRate != 0) flags |= 1u << kRateBit;
    if (record.mergeWithExistingItems != 0) flags |= 1u << kMergeBit;
    if (record.changeTextureEffect) flags |= 1u << kTextureEffectBit;
    flags |= uint32_t(record.importUnits) << kUnitsShift;
    return flags;
}

QvResult LoadOptionsIO::Write(IQvBlockWrite* stream) {
    if (!stream) return qvFailed;
    return CQvNoThrow([&] {
        try {
            Check(stream->WriteU32(kVersion));
            Check(stream->WriteU32(FlagWord(record)));
            Check(stream->WriteDouble(record.globalScalingFactor));
        } catch (const BlockFailure& failure) {
            return failure.code;
        }
        return qvOk;
    });
}

QvResult LoadOptionsIO::Read(IQvBlockRead* stream) {
    if (!stream) return qvFailed;
    return CQvNoThrow([&] {
        LoadOptionsRecord read = record;
        try {
            uint32_t version = 0, flags = 0;
            Check(stream->ReadU32(&version));
            if (version > kVersion) return qvFailed;
            Check(stream->ReadU32(&flags));
            for (const FlagBit& f : kFlagBits)
                read.*f.field = (flags >> f.bit) & 1;
            // Deliberate: the stream keeps only whether the rate is non-zero, so 3 reads as 1.
            read.loadSampleAnimationRate = (flags >> kRateBit) & 1;
            read.mergeWithExistingItems = (flags >> kMergeBit) & 1;
            if (version == 0) {
                // A version-0 stream ends after the flag word: no scaling factor follows.
                read.changeTextureEffect = 0;
                read.importUnits = 0;
                read.globalScalingFactor = 1.0;
            } else {
                read.changeTextureEffect = (flags >> kTextureEffectBit) & 1;
                read.importUnits = int32_t((flags >> kUnitsShift) & kUnitsMask);
                Check(stream->ReadDouble(&read.globalScalingFactor));
            }
        } catch (const BlockFailure& failure) {
            return failure.code;
        }
        record = read;
        return qvOk;
    });
}
