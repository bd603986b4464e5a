// Animation: action clips, envelopes and their keys, groups and their members, replicators.
#pragma once

#include "qv/core.h"

class IQvItem;
class IQvChannelRead;

// The clip face of an "actionclip" item.
class IQvActionClip : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x2779ffab, 0x71b9, 0x515b, {0x8e, 0xc9, 0xc1, 0x8b, 0x61, 0xb1, 0x24, 0x15}});
    virtual QvResult Active(int32_t* active) = 0;
    virtual QvResult Enabled(int32_t* enabled) = 0;
    virtual QvResult SetActive(int32_t active) = 0;
};

// A keyframe cursor over one envelope.
class IQvKeyframe : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x28e1ebf0, 0x4570, 0x5f82, {0x91, 0x0e, 0x7b, 0x62, 0xc3, 0x2e, 0x5d, 0xe9}});
    virtual QvResult First() = 0;
    virtual QvResult Last() = 0;
    virtual QvResult Next() = 0;
    virtual QvResult Time(double* time) = 0;
    virtual QvResult Value(double* value) = 0;
};

class IQvEnvelope : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x44e74155, 0x2223, 0x5866, {0xa7, 0xc1, 0x4f, 0xea, 0xa7, 0xa0, 0x8d, 0xb5}});
    virtual QvResult Keyframes(IQvKeyframe** cursor) = 0;
    virtual QvResult Evaluate(double time, double* value) = 0;
};

enum QvGroupEnumMode : uint32_t { qvGroupItems = 1, qvGroupChannels = 2 };

// Walks a group's members; while the visitor runs, Item or Channel tells the current one.
class IQvGroupEnumerator : public IQvUnknown {
public:
    QV_INTERFACE_ID({0xa29f4276, 0x6e45, 0x5864, {0x91, 0x78, 0x75, 0x91, 0x16, 0x06, 0xe1, 0x80}});
    virtual QvResult Enumerate(IQvVisitor* visitor, uint32_t mode) = 0;
    virtual QvResult Item(IQvItem** item) = 0;
    virtual QvResult Channel(IQvItem** item, uint32_t* channel) = 0;
};

// The group face of a "group" item.
class IQvGroupItem : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x24e228f3, 0x1ce8, 0x52f2, {0xba, 0xde, 0x02, 0x5d, 0xd5, 0x2c, 0xaa, 0x0f}});
    virtual QvResult Enumerator(IQvGroupEnumerator** out) = 0;
};

// The particles of a replicator; while the visitor runs, the queries answer for the current one.
// A replicator links to its prototypes and is linked from its particle source in the item graph
// "particle".
class IQvReplicatorEnumerator : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x01c78ba1, 0x0f34, 0x5d55, {0x85, 0xa2, 0x35, 0xb7, 0x15, 0x99, 0x10, 0x62}});
    virtual QvResult Enumerate(IQvVisitor* visitor, IQvChannelRead* channels, int32_t flag) = 0;
    virtual QvResult Item(IQvItem** prototype) = 0;
    virtual QvResult Position(double* xyz) = 0;
    virtual QvResult Transform(double* matrix16) = 0;
    // The particle source that made the particle.
    virtual QvResult SourceItem(IQvItem** source) = 0;
    // The particle's orientation, a 3 by 3 matrix in rows.
    virtual QvResult Orientation(double* matrix9) = 0;
    // The particle's two scalars: its weight (0 to 1) and its uniform size.
    virtual QvResult Weight(float* value) = 0;
    virtual QvResult Size(float* value) = 0;
};
