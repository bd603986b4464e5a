// Deformers: groups of meshes deformed by weighted joints.
#pragma once

#include "qv/core.h"

// Channels of an influence deformer: "type" 1 says that its weights are the mesh's weight map
// ("WGHT") named by its "name" channel.
constexpr const char* qvChanType = "type";
constexpr const char* qvChanName = "name";
constexpr int32_t qvInfluenceWeightMap = 1;

class IQvItem;
class IQvChannelRead;
class IQvGroupDeformer;

class IQvDeformerService : public IQvUnknown {
public:
    QV_INTERFACE_ID({0xeca6a665, 0xd65f, 0x52c6, {0xad, 0xd0, 0x14, 0xa7, 0x05, 0xd2, 0x7f, 0x73}});
    virtual QvResult GroupMeshCount(IQvItem* group, uint32_t* count) = 0;
    virtual QvResult GroupMeshByIndex(IQvItem* group, uint32_t index, IQvItem** mesh) = 0;
    virtual QvResult GroupDeformerOf(IQvItem* group, IQvChannelRead* channels,
                                     IQvGroupDeformer** out) = 0;
    // The locator that drives a deformer item: qvOk with the item for a true deformation item;
    // qvFalse (no item) for a deformer that no locator drives.
    virtual QvResult DeformerLocator(IQvItem* deformer, IQvItem** locator) = 0;
};

class IQvGroupDeformer : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x68d47486, 0xbf8d, 0x50ea, {0xa2, 0xb9, 0x99, 0x76, 0xe4, 0xa4, 0xb3, 0x99}});
    virtual QvResult JointCount(uint32_t* count) = 0;
    // The deformer item of one joint.
    virtual QvResult JointItem(uint32_t joint, IQvItem** item) = 0;
    // Influences of one point of the group's mesh `meshIndex`: joint numbers and weights, at most
    // `capacity` of them; `*count` tells how many the point has (may exceed the capacity).
    virtual QvResult PointInfluences(uint32_t meshIndex, QvPointId point, uint32_t* joints,
                                     float* weights, uint32_t* count, uint32_t capacity) = 0;
};
