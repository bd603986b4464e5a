// Scenes, items, channels, transforms, graphs and the selection.
#pragma once

#include "qv/core.h"

class IQvItem;
class IQvScene;
class IQvChannelRead;
class IQvEnvelope;
class IQvReplicatorEnumerator;

// ---- Actions ------------------------------------------------------------------------------
// Action names for IQvScene::GetChannels: the scene's base values, and the user's edits on top
// of them. An action clip's values go by the clip item's ident.
constexpr const char* qvActionSetup = "setup";
constexpr const char* qvActionEdit = "edit";

// ---- Graphs -------------------------------------------------------------------------------
// Names for IQvScene::GraphLookup. All are item graphs except qvGraphChanLinks.
constexpr const char* qvGraphXfrmCore = "xfrmCore"; // locator <-> its transform items, in order
constexpr const char* qvGraphXfrmLocal = "xfrmLocal";
constexpr const char* qvGraphTargets = "targets";
constexpr const char* qvGraphCurrentGroups = "currentGroups"; // scene item -> current groups
constexpr const char* qvGraphShadeLoc = "shadeLoc";   // texture layer -> its texture locator
constexpr const char* qvGraphDeformers = "deformers"; // deform group -> meshes; mesh -> deformers
constexpr const char* qvGraphParticle = "particle";
constexpr const char* qvGraphSource = "source";       // instance -> the item it stands for
constexpr const char* qvGraphChanLinks = "chanLinks"; // the channel graph: drivers of channels

// ---- Item tags ----------------------------------------------------------------------------
// String tags of items, read through IQvStringTag.
constexpr uint32_t qvItemTagGroupType = QvFourCC('G', 'T', 'Y', 'P'); // what a group is, "actor"

// ---- Selection types ----------------------------------------------------------------------
// Names for IQvSelectionService::SelectionTypeLookup and PacketTranslation.
constexpr const char* qvSelectionItem = "item";

// ---- Channels -----------------------------------------------------------------------------
// Channel names for IQvItem::ChannelLookup, by the item types that have them.
constexpr const char* qvChanTime = "time";             // the scene item: current time, in seconds
constexpr const char* qvChanFps = "fps";               // the scene item: frames per second
constexpr const char* qvChanCurrentStart = "currentS"; // the scene item: the current range, s
constexpr const char* qvChanCurrentEnd = "currentE";
constexpr const char* qvChanEnable = "enable"; // texture layers, deformers, clips, replicators
// Locators: visibility, and the transforms the host computes, each a matrix channel.
constexpr const char* qvChanVisible = "visible";
constexpr const char* qvChanWposMatrix = "wposMatrix";
constexpr const char* qvChanWrotMatrix = "wrotMatrix";
constexpr const char* qvChanWsclMatrix = "wsclMatrix";
constexpr const char* qvChanWorldMatrix = "worldMatrix";
constexpr const char* qvChanLocalMatrix = "localMatrix";
constexpr const char* qvChanParentMatrix = "parentMatrix";
// Object channels: the IQvMesh of a "mesh" item, the IQvTriangleGroup of a "triSurf" item.
constexpr const char* qvChanMesh = "mesh";
constexpr const char* qvChanSurf = "surf";
// Transform items: X, Y and Z stand at indices 0 to 2 of each kind. Rotations are in radians.
constexpr const char* qvChanPosX = "pos.X";
constexpr const char* qvChanPosY = "pos.Y";
constexpr const char* qvChanPosZ = "pos.Z";
constexpr const char* qvChanRotX = "rot.X";
constexpr const char* qvChanRotY = "rot.Y";
constexpr const char* qvChanRotZ = "rot.Z";
constexpr const char* qvChanSclX = "scl.X";
constexpr const char* qvChanSclY = "scl.Y";
constexpr const char* qvChanSclZ = "scl.Z";

// Service: item types and instances.
class IQvSceneService : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x68d07b1b, 0x7558, 0x5368, {0x93, 0x3a, 0xc0, 0xfb, 0xb8, 0xa3, 0xa8, 0x2a}});
    virtual QvResult ItemTypeLookup(const char* name, QvTypeCode* code) = 0;
    virtual QvResult ItemTypeName(QvTypeCode code, const char** name) = 0;
    virtual QvResult ItemTypeSuper(QvTypeCode code, QvTypeCode* super) = 0;
    // The item that an instance stands for.
    virtual QvResult InstanceSource(IQvItem* instance, IQvItem** source) = 0;
    // The particle enumerator of a replicator item.
    virtual QvResult ReplicatorEnumerator(IQvItem* replicator, IQvReplicatorEnumerator** out) = 0;
};

class IQvScene : public IQvUnknown {
public:
    QV_INTERFACE_ID({0xf040fcf5, 0xd721, 0x5cc1, {0xa3, 0x30, 0xff, 0x83, 0x7e, 0x8e, 0x40, 0x25}});
    // A reader on the named action at `time`; with a null action, the evaluated values at `time`
    // with the active action clips applied.
    virtual QvResult GetChannels(const char* action, double time, IQvChannelRead** out) = 0;
    // The reader the scene hands out without action or time: the scene's stored values.
    virtual QvResult BaseChannels(IQvChannelRead** out) = 0;
    virtual QvResult ItemCount(QvTypeCode type, uint32_t* count) = 0;
    virtual QvResult ItemByIndex(QvTypeCode type, uint32_t index, IQvItem** item) = 0;
    virtual QvResult ItemOfType(QvTypeCode type, IQvItem** item) = 0;
    // An item graph (IQvItemGraph) or a channel graph (IQvChannelGraph) by name; `id` says which.
    virtual QvResult GraphLookup(const char* name, const QvGuid& id, void** out) = 0;
    virtual QvResult RenderCameraCount(uint32_t* count) = 0;
    virtual QvResult RenderCameraByIndex(uint32_t index, IQvItem** item) = 0;
};

// A part of a scene handed to a saver in place of the whole.
class IQvItemCollection : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x41916678, 0x3c9b, 0x5728, {0xa4, 0x8f, 0x82, 0xb2, 0x46, 0x8f, 0xb1, 0xf0}});
    // qvOk when the item is in the collection, qvFalse otherwise.
    virtual QvResult Contains(IQvItem* item) = 0;
};

class IQvSceneSubset : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x6ab364d5, 0x9ed7, 0x5aa1, {0xb0, 0xec, 0x1a, 0xca, 0x9f, 0x86, 0x7a, 0xb2}});
    virtual QvResult SubsetScene(IQvScene** scene) = 0;
    virtual QvResult SubsetCollection(IQvItemCollection** collection) = 0;
};

// An item of the scene. The host hands out one object per item for the scene's life, so the
// object's address identifies the item and a module may keep it as a key without a reference.
class IQvItem : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x3a09e8c2, 0xdbcc, 0x52ce, {0xb7, 0x93, 0x58, 0xe5, 0xda, 0xf1, 0x20, 0xe3}});
    virtual QvResult ItemType(QvTypeCode* code) = 0;
    // qvOk when the item is of that type or of one derived from it, qvFalse otherwise.
    virtual QvResult TestType(QvTypeCode code) = 0;
    // The identity string; its address is stable for the item's life and may be compared.
    virtual QvResult Ident(const char** ident) = 0;
    virtual QvResult Name(const char** name) = 0;
    virtual QvResult Parent(IQvItem** parent) = 0;
    virtual QvResult SubCount(uint32_t* count) = 0;
    virtual QvResult SubByIndex(uint32_t index, IQvItem** child) = 0;
    virtual QvResult Context(IQvScene** scene) = 0;
    virtual QvResult ChannelCount(uint32_t* count) = 0;
    virtual QvResult ChannelLookup(const char* name, int32_t* index) = 0;
    virtual QvResult ChannelName(uint32_t index, const char** name) = 0;
    // qvOk when the item has the package, qvFalse otherwise.
    virtual QvResult PackageTest(const char* package) = 0;
};

// String tags by four-character code, on items and on polygons. A missing tag fails.
class IQvStringTag : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x095e7fb2, 0x50ec, 0x562b, {0xbd, 0x72, 0x3d, 0xe4, 0x8f, 0xc5, 0x58, 0xef}});
    virtual QvResult GetTag(uint32_t type, const char** value) = 0;
};

// Channel values of items, for one action and time. Text results stay valid while the reader
// lives.
class IQvChannelRead : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x8e8f50c3, 0xf347, 0x5383, {0xa7, 0xf9, 0xae, 0x02, 0x46, 0xc2, 0x6d, 0x94}});
    virtual QvResult ReadObject(IQvItem* item, uint32_t channel, IQvUnknown** object) = 0;
    virtual QvResult ReadInteger(IQvItem* item, uint32_t channel, int32_t* value) = 0;
    virtual QvResult ReadDouble(IQvItem* item, uint32_t channel, double* value) = 0;
    virtual QvResult ReadString(IQvItem* item, uint32_t channel, const char** value) = 0;
    // qvOk when the channel has an envelope in this reader's action, qvFalse otherwise.
    virtual QvResult IsAnimated(IQvItem* item, uint32_t channel) = 0;
    virtual QvResult Envelope(IQvItem* item, uint32_t channel, IQvEnvelope** envelope) = 0;
};

// Transform kinds of LocatorTransformItem.
enum QvTransformKind : uint32_t { qvXfrmScale = 0, qvXfrmRotation = 1, qvXfrmTranslation = 2 };

// The transform face of a locator item. Matrices are 16 doubles, rows of four, translation in
// the first three elements of the last row; a point is a row vector multiplied on the left.
class IQvLocator : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x0e635012, 0x8f5c, 0x5aa6, {0xa3, 0x8e, 0x7a, 0x52, 0xab, 0xa3, 0x87, 0x42}});
    virtual QvResult TransformItem(uint32_t kind, IQvItem** transform) = 0;
    virtual QvResult WorldTransform(IQvChannelRead* channels, double* matrix16) = 0;
};

class IQvItemGraph : public IQvUnknown {
public:
    QV_INTERFACE_ID({0xe63c55e8, 0xeac8, 0x5576, {0xbb, 0x7d, 0x13, 0x48, 0xa5, 0xd4, 0x79, 0x3a}});
    virtual QvResult LinkCount(IQvItem* item, uint32_t* count) = 0;
    virtual QvResult LinkByIndex(IQvItem* item, uint32_t index, IQvItem** linked) = 0;
    virtual QvResult RevLinkCount(IQvItem* item, uint32_t* count) = 0;
    virtual QvResult RevLinkByIndex(IQvItem* item, uint32_t index, IQvItem** linked) = 0;
};

class IQvChannelGraph : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x9a96d2c4, 0xd4dc, 0x5056, {0xb2, 0xe8, 0x8d, 0x21, 0x1f, 0xe2, 0x1b, 0xd6}});
    // Links that drive the channel.
    virtual QvResult DriverCount(IQvItem* item, uint32_t channel, uint32_t* count) = 0;
    virtual QvResult DriverByIndex(IQvItem* item, uint32_t channel, uint32_t index,
                                   IQvItem** driver, uint32_t* driverChannel) = 0;
};

// Service: what the user has selected. Packets are opaque; a translation turns one into an item.
class IQvItemPacketTranslation : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x2f2ed2fa, 0x5c57, 0x5878, {0x9b, 0xa6, 0xe9, 0x37, 0x6d, 0x8a, 0x7f, 0xce}});
    virtual QvResult PacketItem(const void* packet, IQvItem** item) = 0;
};

class IQvSelectionService : public IQvUnknown {
public:
    QV_INTERFACE_ID({0xc004ab33, 0x22bc, 0x523d, {0xbc, 0x82, 0x06, 0xc7, 0x72, 0x0a, 0x50, 0xbf}});
    virtual QvResult SelectionTypeLookup(const char* name, uint32_t* type) = 0;
    virtual QvResult PacketTranslation(const char* name, IQvItemPacketTranslation** out) = 0;
    // The packet after `previous` (null: the first); null when there is none.
    virtual const void* SelectionNext(const void* previous, uint32_t type) = 0;
    // The selected items of "item" type as a list, in the host's order.
    virtual QvResult SelectedItemCount(uint32_t* count) = 0;
    virtual QvResult SelectedItemByIndex(uint32_t index, IQvItem** item) = 0;
};
