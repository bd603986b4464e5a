// An item of the scene: identity, type, place in the hierarchy, channel values per action,
// string tags, packages, links in the item graphs, and the faces that its type gives it.
//
// Items are owned by their Scene and live as long as it does; references to them (Item&) stay
// valid, and so does the address of the identity string, which plug-ins compare.
//
// The builder calls return the item, so a test can chain them:
//     scene.AddItem("mesh", "Cube").Position(0, 1, 0).Tag("GTYP", "actor");
// A builder call that names something the host does not have (a channel the type lacks, a value
// of the wrong kind) throws std::invalid_argument: such a scene cannot exist in the host.
#pragma once

#include "ComBase.h"
#include "Envelopes.h"
#include "Particles.h"
#include "Transforms.h"
#include "TypeTree.h"

#include "qv/scene.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace scenehost {

class Scene;
class LocatorFace;
class ActionClipFace;
class GroupFace;
class TextureFace;
class MeshData;
class MeshObject;
class SurfaceObject;

// Actions (qvActionSetup, qvActionEdit; a clip's values go under its ident) and item graphs
// (qvGraphXfrmCore, ...) are the SDK's. Every scene has each item graph, though a scene may
// remove one to show a host without it.

struct ChannelDriver {
    Item* item;
    uint32_t channel;
};

// What one action holds for one channel of an item: a value or an envelope's keys, never both.
struct ChannelSlot {
    std::optional<ChannelValue> value;
    std::shared_ptr<KeyList> keys; // shared with the envelope objects handed out
};

class Item final : public Owned<IQvItem, IQvStringTag> {
public:
    static constexpr QvGuid implIid = {
        0x5c0e1a01, 0x7a11, 0x4c3e, {0x9e, 0x01, 0x51, 0x7e, 0x4a, 0x00, 0x00, 0x01}};

    Item(Scene& scene, const TypeDef& type, std::string ident, std::string name);
    ~Item() override;

    // ---- Builder: channel values (default action "setup") ----
    Item& Set(const std::string& channel, double value, const std::string& action = qvActionSetup);
    Item& Set(const std::string& channel, int value, const std::string& action = qvActionSetup);
    Item& Set(const std::string& channel, const char* value,
              const std::string& action = qvActionSetup);
    Item& Set(const std::string& channel, const std::string& value,
              const std::string& action = qvActionSetup);
    // An object channel's value ("mesh", "surf"); the item takes a reference.
    Item& SetObject(const std::string& channel, IQvUnknown* object,
                    const std::string& action = qvActionSetup);

    // ---- Builder: keys (default action "edit") ----
    // A key of a number channel's envelope in `action`, time in seconds; on an integer channel
    // the value is an integer. Within one action a channel holds a value or keys: Key drops the
    // action's value there, and Set drops its keys. On a locator, the channels of its own
    // transform items can be keyed by their names, "pos.X" to "scl.Z" (rotations in radians, as
    // the channels hold them); the transform item is made when missing, as Position makes it:
    //     scene.AddItem("locator", "Ball").Key("pos.Y", 0.0, 0.0).Key("pos.Y", 1.0, 2.0);
    Item& Key(const std::string& channel, double time, double value,
              const std::string& action = qvActionEdit, Interp interp = Interp::Linear);
    // The item whose channel a key of this item names: this one, or for "pos.X" to "scl.Z" on a
    // locator, its own transform item, made when missing.
    Item& KeyedItem(const std::string& channel);

    // ---- Builder: tags, packages, links ----
    Item& Tag(const std::string& fourCC, const std::string& value); // four characters, e.g. "GTYP"
    Item& Package(const std::string& name);
    Item& Link(const std::string& graph, Item& to); // appends a forward link
    // Makes `driver`'s channel drive this item's channel in the channel graph.
    Item& DrivenBy(const std::string& channel, Item& driver, const std::string& driverChannel);

    // ---- Builder: transforms (locators only) ----
    // Values of the item's own translation, rotation (degrees) and scale items, created on first
    // use and kept in the stack order translation, rotation, scale whatever the call order.
    Item& Position(double x, double y, double z);
    Item& Rotation(double xDeg, double yDeg, double zDeg, int32_t order = 0);
    Item& Scale(double x, double y, double z);
    Item& OwnTransform(QvTransformKind kind); // the own transform item, created on first use
    // A further transform item (a pivot, an offset, a compensation) at `position` in the stack
    // (-1: at the end, applied first). Returns the new item.
    Item& AddTransform(const std::string& type, const std::string& name, int position = -1);
    // Stand for constraints, IK and other evaluation: the item's world matrix, whatever its
    // stack. SetWorldMatrix makes it one matrix at every time (and drops a track's keys);
    // WorldTrackKey adds a key to a track, whose matrix between keys is interpolated element by
    // element and beyond them is the nearest key's.
    Item& SetWorldMatrix(const Matrix& world);
    Item& WorldTrackKey(double time, const Matrix& world);

    // ---- Builder: other faces ----
    // Image maps: the image file, as the OS names it. The host keeps image files by absolute
    // path, so a relative one is taken from the working folder; the texture face hands it out
    // in host form (HostPath.h). An empty path is refused: a layer without an image has none.
    Item& SetImage(const std::string& path);
    // Texture layers: the texture locator that places the layer, linked in qvGraphShadeLoc. A
    // layer has one; a second call is refused (Link makes stranger graphs, if a test needs them).
    Item& SetTextureLocator(Item& locator);
    Item& AddMember(Item& member); // groups
    // Particle sources (any item): the next particle that replicators linked from it place.
    Item& AddParticle(const Particle& particle);
    // Action clips: the tag text that the command "item.exportTags" gives for the clip.
    Item& ExportTag(const std::string& text);
    Item& AddChannelMember(Item& member, const std::string& channel);

    // ---- Builder: geometry ----
    // The mesh of a "mesh" item: every mesh item has one from its creation, empty at first, and
    // serves it through its "mesh" channel (MeshData.h has the builder calls).
    MeshData& Mesh();
    // The triangle count of a "triSurf" item's surface, served through its "surf" channel.
    Item& SurfaceTriangles(uint32_t count);

    // ---- Builder: deformers ----
    Item& AddJoint(Item& deformer);       // deform groups: the next joint, an influence or locator
    Item& DrivenByLocator(Item& locator); // influence items: the locator that moves them

    // ---- The model ----
    Scene& Owner() const { return scene_; }
    const TypeDef& Type() const { return *type_; }
    bool IsA(const std::string& typeName) const;
    const std::string& Ident() const { return ident_; }
    const std::string& Name() const { return name_; }
    Item* Parent() const { return parent_; }
    const std::vector<Item*>& Children() const { return children_; }
    uint32_t ChannelIndex(const std::string& channel) const; // throws for an unknown channel
    const ChannelValue* Stored(const std::string& action, uint32_t channel) const; // no keys
    // What an action (by Scene::ActionId) holds for the channel, a value or keys; null when it
    // holds neither. Every read goes through here, so it is a short scan and an index.
    const ChannelSlot* Slot(uint32_t actionId, uint32_t channel) const {
        for (const ActionSlots& held : slots_)
            if (held.action == actionId) {
                const ChannelSlot& slot = held.channels[channel];
                return slot.value || slot.keys ? &slot : nullptr;
            }
        return nullptr;
    }
    const ChannelValue& SetupValue(uint32_t channel) const; // setup, else the type's default
    const std::vector<Item*>& Links(const std::string& graph) const;
    const std::vector<Item*>& ReverseLinks(const std::string& graph) const;
    const std::vector<ChannelDriver>& Drivers(uint32_t channel) const;
    Item* FindOwnTransform(QvTransformKind kind) const { return ownTransforms_[kind]; }
    // The explicit world matrix, as a track of one or more keys; null when the stack decides.
    const MatrixTrack* WorldTrack() const { return worldTrack_ ? &*worldTrack_ : nullptr; }
    const std::string& ExportTagText() const { return exportTag_; }
    const std::string& Image() const { return image_; }
    // The layer's texture locator: its first qvGraphShadeLoc link to a txtrLocator, or null.
    Item* TextureLocator() const;
    const std::vector<Item*>& Members() const { return members_; }
    const std::vector<Particle>& Particles() const { return particles_; }
    const std::vector<ChannelDriver>& ChannelMembers() const { return channelMembers_; }
    const MeshData* MeshOf() const; // null for an item that is no mesh
    const std::vector<Item*>& Joints() const { return joints_; }
    Item* DriverLocator() const { return driverLocator_; }
    // The last world matrix worked out for this locator (Transforms.h); a cache, so it may be
    // updated through a const item.
    WorldMemo& WorldMemoOf() const { return worldMemo_; }

    // ---- IQvUnknown, IQvItem, IQvStringTag ----
    QvResult QueryInterface(const QvGuid& id, void** out) override;
    QvResult ItemType(QvTypeCode* code) override;
    QvResult TestType(QvTypeCode code) override;
    QvResult Ident(const char** ident) override;
    QvResult Name(const char** name) override;
    QvResult Parent(IQvItem** parent) override;
    QvResult SubCount(uint32_t* count) override;
    QvResult SubByIndex(uint32_t index, IQvItem** child) override;
    QvResult Context(IQvScene** scene) override;
    QvResult ChannelCount(uint32_t* count) override;
    QvResult ChannelLookup(const char* name, int32_t* index) override;
    QvResult ChannelName(uint32_t index, const char** name) override;
    QvResult PackageTest(const char* package) override;
    QvResult GetTag(uint32_t type, const char** value) override;

private:
    friend class Scene; // keeps parent and children in step

    Item& Store(const std::string& channel, ChannelValue value, const std::string& action);
    ChannelSlot& SlotFor(const std::string& action, uint32_t channel); // made when missing
    void RequireType(const char* typeName, const char* what) const;
    void AddLink(const std::string& graph, Item& to);
    void InsertLink(const std::string& graph, Item& to, size_t position);

    Scene& scene_;
    const TypeDef* type_;
    const std::string ident_;
    const std::string name_;
    Item* parent_ = nullptr;
    std::vector<Item*> children_;
    struct ActionSlots {
        uint32_t action;                   // Scene::ActionId
        std::vector<ChannelSlot> channels; // by channel index
    };
    std::vector<ActionSlots> slots_; // one entry for each action that holds anything
    std::map<uint32_t, std::string> tags_;
    std::vector<std::string> packages_;
    std::map<std::string, std::vector<Item*>> links_, reverseLinks_; // by graph name
    std::map<uint32_t, std::vector<ChannelDriver>> drivers_;         // by driven channel
    Item* ownTransforms_[3] = {nullptr, nullptr, nullptr};           // by QvTransformKind
    std::optional<MatrixTrack> worldTrack_;
    std::string exportTag_;
    std::string image_;
    std::vector<Item*> members_;
    std::vector<Particle> particles_;
    std::vector<ChannelDriver> channelMembers_;
    std::vector<Item*> joints_;
    Item* driverLocator_ = nullptr;
    mutable WorldMemo worldMemo_;

    std::unique_ptr<LocatorFace> locator_;
    std::unique_ptr<ActionClipFace> clip_;
    std::unique_ptr<GroupFace> group_;
    std::unique_ptr<TextureFace> texture_;
    std::unique_ptr<MeshObject> mesh_;
    std::unique_ptr<SurfaceObject> surface_;
};

} // namespace scenehost
