// The load options as the settings command hands them to the host: a plain value record that
// streams itself through the host's block interfaces in a compact form (a version word, a flag
// word, the scaling factor).
#pragma once

#include "host/CQvImpl.h"
#include "qv/value.h"

#include <cstdint>

struct LoadOptionsRecord {
    uint8_t loadGeometry = 1;
    uint8_t loadMaterials = 1;
    uint8_t loadCameras = 1;
    uint8_t loadLights = 1;
    uint8_t loadMeshSmoothing = 1;
    uint8_t loadBlendShapes = 1;
    uint8_t loadPolygonParts = 1;
    uint8_t loadSelectionSets = 1;
    uint8_t loadAnimation = 1;
    uint8_t loadSampleAnimation = 1;
    uint8_t loadNormals = 1;
    uint8_t invertMatTranAmt = 0;
    uint8_t useMatTranColAsTranAmt = 0;
    uint8_t changeTextureEffect = 0;
    int32_t loadSampleAnimationRate = 0;
    int32_t mergeWithExistingItems = 0;
    double globalScalingFactor = 1.0;
    int32_t importUnits = 0;
};

class LoadOptionsIO final : public CQvRefCount, public IQvStreamIO {
public:
    LoadOptionsRecord record;

    QvResult QueryInterface(const QvGuid& id, void** out) override;
    uint32_t AddRef() override { return AddRefImpl(); }
    uint32_t Release() override { return ReleaseImpl(); }

    // The stream form: u32 version (written as 1), u32 flag word, double scaling factor. A
    // failed block call is the result of the whole call; Read changes nothing then.
    QvResult Write(IQvBlockWrite* stream) override;
    QvResult Read(IQvBlockRead* stream) override;

    static uint32_t FlagWord(const LoadOptionsRecord& record);
};
