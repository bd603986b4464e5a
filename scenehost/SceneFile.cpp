#include "SceneFile.h"

#include "JsonTree.h"
#include "MeshData.h"
#include "SceneFileArrays.h"
#include "SceneFileMesh.h"
#include "SceneFileSource.h"
#include "SceneHost.h"

#include <filesystem>
#include <functional>
#include <initializer_list>
#include <limits>
#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace scenehost {

namespace {

using Kind = JsonNode::Kind;

// Reads one parsed scene file into a host. Every refusal throws JsonError at the offending
// value; builder calls that refuse (std::invalid_argument) are turned into one there too.
class SceneReader {
public:
    SceneReader(SceneHost& host, std::string baseDir)
        : host_(host), scene_(host.Scene()), baseDir_(std::move(baseDir)) {}

    void Read(const JsonNode& root);

private:
    // ---- Checks and conversions ----
    [[noreturn]] void Fail(size_t offset, const std::string& what) const {
        throw JsonError(offset, what);
    }
    [[noreturn]] void Fail(const JsonNode& at, const std::string& what) const {
        Fail(at.offset, what);
    }
    void Expect(const JsonNode& node, Kind kind, const char* what) const;
    void CheckMembers(const JsonNode& object, const char* where,
                      std::initializer_list<const char*> allowed) const;
    const std::string& Text(const JsonNode& node, const char* what) const;
    int32_t Int32(const JsonNode& node, const char* what) const;
    double Number(const JsonNode& node, const char* what) const;
    std::vector<double> Numbers(const JsonNode& node, size_t count, const char* what) const;
    Item& Ref(const JsonNode& idNode) const;
    template <class F> void Guard(size_t at, F&& step) const;
    template <class F> void Guard(const JsonNode& at, F&& step) const;

    // ---- Sections, in the order Read applies them ----
    void ReadPlatform(const JsonNode& node);
    void ReadLogSubsystems(const JsonNode& node);
    void ReadUserValues(const JsonNode& node);
    void ReadAbsentTypes(const JsonNode& node);
    void ReadSceneItem(const JsonNode& node);
    void CreateItem(const JsonNode& node);
    void ConnectItem(const JsonNode& node);
    void ReadGraphs(const JsonNode& node);
    void ReadChannelLinks(const JsonNode& node);
    void ReadAbsentGraphs(const JsonNode& node);
    void ReadAbsentCommands(const JsonNode& node);
    void ReadRenderCameras(const JsonNode& node);
    void ReadSelection(const JsonNode& node);

    // ---- Item members ----
    void ReadChannels(Item& item, const JsonNode& channels, const std::string& action);
    void ReadActions(Item& item, const JsonNode& actions);
    void ReadTags(Item& item, const JsonNode& tags);
    void ReadPackages(Item& item, const JsonNode& packages);
    void ReadTransform(Item& item, const JsonNode& transform);
    void ReadWorldMatrix(Item& item, const JsonNode& matrix);
    void ReadWorldTrack(Item& item, const JsonNode& track);
    void ReadParticles(Item& item, const JsonNode& particles);
    void ReadKeys(Item& item, const JsonNode& keys);
    void ReadChannelKeys(Item& item, const JsonMember& channel, const std::string& action);
    void ReadImage(Item& item, const JsonNode& image);
    void ReadMembers(Item& item, const JsonNode& members);
    void ReadChannelMembers(Item& item, const JsonNode& members);
    void CheckShaderTreePlace(const Item& child, const Item& parent, const JsonNode& at) const;
    void ReadGroupMeshes(Item& item, const JsonNode& meshes);
    void ReadJoints(Item& item, const JsonNode& joints);

    SceneHost& host_;
    Scene& scene_;
    std::string baseDir_;
    std::vector<Item*> fileItems_; // the items of "items", in file order
};

// ---- Checks and conversions -----------------------------------------------------------------

void SceneReader::Expect(const JsonNode& node, Kind kind, const char* what) const {
    bool ok = node.kind == kind || (kind == Kind::Number && node.kind == Kind::Integer);
    if (!ok) {
        JsonNode wanted;
        wanted.kind = kind;
        Fail(node, std::string(what) + " must be " + DescribeKind(wanted) + ", not " +
                       DescribeKind(node));
    }
}

void SceneReader::CheckMembers(const JsonNode& object, const char* where,
                               std::initializer_list<const char*> allowed) const {
    for (const JsonMember& m : object.members) {
        bool known = false;
        for (const char* name : allowed)
            known = known || m.name == name;
        if (known) continue;
        std::string list;
        for (const char* name : allowed)
            list += std::string(list.empty() ? "" : ", ") + name;
        Fail(m.nameOffset,
             "unknown member '" + m.name + "' in " + where + " (known: " + list + ")");
    }
}

const std::string& SceneReader::Text(const JsonNode& node, const char* what) const {
    Expect(node, Kind::String, what);
    return node.text;
}

int32_t SceneReader::Int32(const JsonNode& node, const char* what) const {
    if (node.kind != Kind::Integer)
        Fail(node, std::string(what) + " must be an integer, not " + DescribeKind(node));
    if (node.integer < std::numeric_limits<int32_t>::min() ||
        node.integer > std::numeric_limits<int32_t>::max())
        Fail(node, std::string(what) + " does not fit in 32 bits");
    return static_cast<int32_t>(node.integer);
}

double SceneReader::Number(const JsonNode& node, const char* what) const {
    Expect(node, Kind::Number, what);
    return node.number;
}

std::vector<double> SceneReader::Numbers(const JsonNode& node, size_t count,
                                         const char* what) const {
    Expect(node, Kind::Array, what);
    if (node.elements.size() != count)
        Fail(node, std::string(what) + " must hold " + std::to_string(count) + " numbers, not " +
                       std::to_string(node.elements.size()));
    std::vector<double> out;
    for (const JsonNode& e : node.elements)
        out.push_back(Number(e, what));
    return out;
}

Item& SceneReader::Ref(const JsonNode& idNode) const {
    const std::string& id = Text(idNode, "an item reference");
    // An id no user may give names none of the items the host made itself.
    Item* item = IsUserIdent(id) ? scene_.FindIdent(id) : nullptr;
    if (!item) Fail(idNode, "no item with id '" + id + "'");
    return *item;
}

// Runs a builder step; a refusal of the builder becomes a refusal of the file at `at`.
template <class F> void SceneReader::Guard(size_t at, F&& step) const {
    try {
        step();
    } catch (const std::invalid_argument& e) {
        Fail(at, e.what());
    }
}

template <class F> void SceneReader::Guard(const JsonNode& at, F&& step) const {
    Guard(at.offset, std::forward<F>(step));
}

// ---- Sections -------------------------------------------------------------------------------

void SceneReader::Read(const JsonNode& root) {
    Expect(root, Kind::Object, "a scene file");
    CheckMembers(root, "the scene file",
                 {"platform", "logSubsystems", "userValues", "absentTypes", "scene", "items",
                  "graphs", "channelLinks", "absentGraphs", "absentCommands", "renderCameras",
                  "selection"});
    auto section = [&](const char* name, void (SceneReader::*read)(const JsonNode&)) {
        if (const JsonMember* m = root.Find(name))
            Guard(m->value, [&] { (this->*read)(m->value); });
    };
    section("platform", &SceneReader::ReadPlatform);
    section("logSubsystems", &SceneReader::ReadLogSubsystems);
    section("userValues", &SceneReader::ReadUserValues);
    section("absentTypes", &SceneReader::ReadAbsentTypes);
    section("scene", &SceneReader::ReadSceneItem);
    if (const JsonMember* items = root.Find("items")) {
        Expect(items->value, Kind::Array, "\"items\"");
        // Two passes: every item exists before any reference (parent, link, action) is resolved.
        for (const JsonNode& item : items->value.elements)
            Guard(item, [&] { CreateItem(item); });
        for (const JsonNode& item : items->value.elements)
            Guard(item, [&] { ConnectItem(item); });
    }
    if (const JsonMember* sceneNode = root.Find("scene"))
        if (const JsonMember* actions = sceneNode->value.Find("actions"))
            ReadActions(scene_.SceneItem(), actions->value);
    section("graphs", &SceneReader::ReadGraphs);
    section("channelLinks", &SceneReader::ReadChannelLinks);
    section("absentGraphs", &SceneReader::ReadAbsentGraphs);
    section("absentCommands", &SceneReader::ReadAbsentCommands);
    section("renderCameras", &SceneReader::ReadRenderCameras);
    section("selection", &SceneReader::ReadSelection);
}

void SceneReader::ReadPlatform(const JsonNode& node) {
    Expect(node, Kind::Object, "\"platform\"");
    CheckMembers(node, "\"platform\"", {"name", "version", "build", "text1", "text2"});
    PlatformFacts& facts = host_.Platform();
    std::string* fields[] = {&facts.name, &facts.version, &facts.build, &facts.text1, &facts.text2};
    const char* names[] = {"name", "version", "build", "text1", "text2"};
    for (int i = 0; i < 5; ++i)
        if (const JsonMember* m = node.Find(names[i]))
            *fields[i] = Text(m->value, "a platform fact");
}

void SceneReader::ReadLogSubsystems(const JsonNode& node) {
    Expect(node, Kind::Array, "\"logSubsystems\"");
    for (const char* name : {qvLogIoStatus, qvLogSys})
        host_.RemoveLogSubsystem(name);
    for (const JsonNode& e : node.elements)
        host_.AddLogSubsystem(Text(e, "a log subsystem"));
}

void SceneReader::ReadUserValues(const JsonNode& node) {
    Expect(node, Kind::Object, "\"userValues\"");
    for (const JsonMember& m : node.members) {
        if (m.value.kind == Kind::String)
            host_.SetUserString(m.name, m.value.text);
        else if (m.value.kind == Kind::Integer)
            host_.SetUserInt(m.name, Int32(m.value, "a user value"));
        else
            Fail(m.value, "a user value must be an integer or a string, not " +
                              std::string(DescribeKind(m.value)));
    }
}

void SceneReader::ReadAbsentTypes(const JsonNode& node) {
    Expect(node, Kind::Array, "\"absentTypes\"");
    for (const JsonNode& e : node.elements) {
        const std::string& name = Text(e, "a type name");
        if (!scene_.Types().Find(name)) Fail(e, "unknown item type '" + name + "'");
        if (name == "scene") Fail(e, "the scene type cannot be absent");
        scene_.RemoveType(name);
    }
}

void SceneReader::ReadSceneItem(const JsonNode& node) {
    Expect(node, Kind::Object, "\"scene\"");
    CheckMembers(node, "\"scene\"", {"channels", "actions", "tags"});
    Item& item = scene_.SceneItem();
    if (const JsonMember* m = node.Find("channels")) ReadChannels(item, m->value, qvActionSetup);
    if (const JsonMember* m = node.Find("tags")) ReadTags(item, m->value);
    // "actions" name clips, which exist only once the items are made: Read takes them later.
}

// ---- Items ----------------------------------------------------------------------------------

// First pass: the item with everything that refers to no other item.
void SceneReader::CreateItem(const JsonNode& node) {
    Expect(node, Kind::Object, "an item");
    CheckMembers(node, "an item", {"id",       "type",           "name",        "parent",
                                   "channels", "actions",        "keys",        "tags",
                                   "packages", "transform",      "worldMatrix", "worldTrack",
                                   "image",    "textureLocator", "members",     "channelMembers",
                                   "source",   "mesh",           "triangles",   "meshes",
                                   "joints",   "locator",        "exportTag",   "particles"});
    const JsonMember* id = node.Find("id");
    const JsonMember* type = node.Find("type");
    if (!id) Fail(node, "an item needs an \"id\"");
    if (!type) Fail(node, "an item needs a \"type\"");
    const std::string& ident = Text(id->value, "\"id\"");
    const std::string& typeName = Text(type->value, "\"type\"");
    if (ident.empty()) Fail(id->value, "an id must not be empty");
    if (!IsUserIdent(ident)) Fail(id->value, "an id must not hold control characters");
    if (Item* taken = scene_.FindIdent(ident))
        Fail(id->value, "id '" + ident + "' is taken" +
                            (taken == &scene_.SceneItem() ? " by the scene item" : ""));
    if (!scene_.Types().Find(typeName)) Fail(type->value, "unknown item type '" + typeName + "'");
    if (typeName == "scene")
        Fail(type->value, "the scene item is given by \"scene\", not in \"items\"");
    const JsonMember* name = node.Find("name");
    Item& item =
        scene_.AddItemWithIdent(ident, typeName, name ? Text(name->value, "\"name\"") : ident);
    fileItems_.push_back(&item);

    if (const JsonMember* m = node.Find("transform"))
        Guard(m->value, [&] { ReadTransform(item, m->value); });
    if (const JsonMember* m = node.Find("channels")) ReadChannels(item, m->value, qvActionSetup);
    if (const JsonMember* m = node.Find("tags")) ReadTags(item, m->value);
    if (const JsonMember* m = node.Find("packages")) ReadPackages(item, m->value);
    if (const JsonMember* m = node.Find("worldMatrix")) ReadWorldMatrix(item, m->value);
    if (const JsonMember* m = node.Find("worldTrack")) {
        if (node.Find("worldMatrix"))
            Fail(m->value, "an item has a \"worldMatrix\" or a \"worldTrack\", not both");
        ReadWorldTrack(item, m->value);
    }
    if (const JsonMember* m = node.Find("exportTag")) {
        if (!item.IsA("actionclip")) Fail(m->value, "only action clips have an \"exportTag\"");
        item.ExportTag(Text(m->value, "\"exportTag\""));
    }
    if (const JsonMember* m = node.Find("image")) ReadImage(item, m->value);
    if (const JsonMember* m = node.Find("mesh")) {
        if (!item.IsA("mesh")) Fail(m->value, "only mesh items have a \"mesh\"");
        Guard(m->value, [&] { ReadMeshMember(item.Mesh(), m->value); });
    }
    if (const JsonMember* m = node.Find("triangles")) {
        if (!item.IsA("triSurf")) Fail(m->value, "only triSurf items have \"triangles\"");
        if (m->value.kind != Kind::Integer || m->value.integer < 0 ||
            m->value.integer > std::numeric_limits<uint32_t>::max())
            Fail(m->value, "\"triangles\" must be a count, an integer of 0 or more");
        item.SurfaceTriangles(static_cast<uint32_t>(m->value.integer));
    }
}

// Second pass: what refers to other items, which all exist by now.
void SceneReader::ConnectItem(const JsonNode& node) {
    Item& item = *scene_.FindIdent(node.Find("id")->value.text);
    if (const JsonMember* m = node.Find("parent")) {
        Item& parent = Ref(m->value);
        CheckShaderTreePlace(item, parent, m->value);
        Guard(m->value, [&] { scene_.SetParent(item, &parent); });
    }
    if (const JsonMember* m = node.Find("actions")) ReadActions(item, m->value);
    if (const JsonMember* m = node.Find("keys")) ReadKeys(item, m->value);
    if (const JsonMember* m = node.Find("textureLocator")) {
        if (!item.IsA("textureLayer"))
            Fail(m->value, "only texture layers have a \"textureLocator\"");
        Item& locator = Ref(m->value);
        Guard(m->value, [&] { item.SetTextureLocator(locator); });
    }
    if (const JsonMember* m = node.Find("members")) ReadMembers(item, m->value);
    if (const JsonMember* m = node.Find("channelMembers")) ReadChannelMembers(item, m->value);
    if (const JsonMember* m = node.Find("source")) {
        if (!item.IsA("meshInst")) Fail(m->value, "only a meshInst item has a \"source\"");
        Item& source = Ref(m->value);
        scene_.Link(qvGraphSource, item, source);
    }
    if (const JsonMember* m = node.Find("meshes")) ReadGroupMeshes(item, m->value);
    if (const JsonMember* m = node.Find("joints")) ReadJoints(item, m->value);
    if (const JsonMember* m = node.Find("particles")) ReadParticles(item, m->value);
    if (const JsonMember* m = node.Find("locator")) {
        if (!item.IsA("influence")) Fail(m->value, "only influence items have a \"locator\"");
        Item& locator = Ref(m->value);
        Guard(m->value, [&] { item.DrivenByLocator(locator); });
    }
}

// The shader tree and the item hierarchy do not mix in the application: masks and the render item
// hold layers and nothing else, and a layer sits in the shader tree, except the material that a
// light carries as its child. Other layers have no children. A mesh put under a mask by mistake
// would vanish from every export without a word, so a file that mixes the trees is refused.
void SceneReader::CheckShaderTreePlace(const Item& child, const Item& parent,
                                       const JsonNode& at) const {
    auto refuse = [&](const std::string& why) {
        Fail(at, "'" + child.Name() + "' cannot be a child of '" + parent.Name() + "': " + why);
    };
    if (parent.IsA("textureLayer")) {
        if (!parent.IsA("mask") && !parent.IsA("polyRender"))
            refuse("only masks and the render item hold layers");
        if (!child.IsA("textureLayer"))
            refuse("masks and the render item hold texture layers only");
    } else if (child.IsA("textureLayer") && !child.IsA("lightMaterial")) {
        refuse("a texture layer belongs under a mask or the render item");
    }
}

void SceneReader::ReadGroupMeshes(Item& item, const JsonNode& meshes) {
    if (!item.IsA("deformGroup")) Fail(meshes, "only deformGroup items have \"meshes\"");
    Expect(meshes, Kind::Array, "\"meshes\"");
    for (const JsonNode& e : meshes.elements) {
        Item& mesh = Ref(e);
        if (!mesh.IsA("mesh")) Fail(e, "'" + mesh.Ident() + "' is no mesh item");
        scene_.Link(qvGraphDeformers, item, mesh);
    }
}

void SceneReader::ReadJoints(Item& item, const JsonNode& joints) {
    if (!item.IsA("deformGroup")) Fail(joints, "only deformGroup items have \"joints\"");
    Expect(joints, Kind::Array, "\"joints\"");
    for (const JsonNode& e : joints.elements) {
        Item& joint = Ref(e);
        Guard(e, [&] { item.AddJoint(joint); });
    }
}

void SceneReader::ReadChannels(Item& item, const JsonNode& channels, const std::string& action) {
    Expect(channels, Kind::Object, "channel values");
    for (const JsonMember& m : channels.members) {
        int32_t index = item.Type().Channel(m.name);
        if (index < 0)
            Fail(m.nameOffset, "type '" + item.Type().name + "' has no channel '" + m.name + "'");
        const ChannelDef& def = item.Type().channels[static_cast<size_t>(index)];
        switch (def.kind) {
        case ChannelKind::Integer:
            item.Set(m.name, Int32(m.value, "this channel's value"), action);
            break;
        case ChannelKind::Double:
            item.Set(m.name, Number(m.value, "this channel's value"), action);
            break;
        case ChannelKind::String:
            item.Set(m.name, Text(m.value, "this channel's value"), action);
            break;
        case ChannelKind::Object:
        case ChannelKind::Matrix:
            Fail(m.nameOffset, "channel '" + m.name + "' holds " + KindName(def.kind) +
                                   " values, which a scene file does not set");
        }
    }
}

void SceneReader::ReadActions(Item& item, const JsonNode& actions) {
    Expect(actions, Kind::Object, "\"actions\"");
    for (const JsonMember& m : actions.members) {
        if (m.name == qvActionSetup) Fail(m.nameOffset, "setup values go in \"channels\"");
        if (!scene_.IsAction(m.name))
            Fail(m.nameOffset,
                 "no action '" + m.name + "': actions are \"edit\" and the ids of action clips");
        ReadChannels(item, m.value, m.name);
    }
}

void SceneReader::ReadTags(Item& item, const JsonNode& tags) {
    Expect(tags, Kind::Object, "\"tags\"");
    for (const JsonMember& m : tags.members) {
        if (m.name.size() != 4) Fail(m.nameOffset, "a tag code has four characters, like \"GTYP\"");
        item.Tag(m.name, Text(m.value, "a tag value"));
    }
}

void SceneReader::ReadPackages(Item& item, const JsonNode& packages) {
    Expect(packages, Kind::Array, "\"packages\"");
    for (const JsonNode& e : packages.elements)
        item.Package(Text(e, "a package name"));
}

void SceneReader::ReadTransform(Item& item, const JsonNode& transform) {
    Expect(transform, Kind::Object, "\"transform\"");
    if (!item.IsA("locator")) Fail(transform, "only locator items have a \"transform\"");
    CheckMembers(transform, "\"transform\"", {"position", "rotation", "scale", "order"});
    if (const JsonMember* m = transform.Find("position")) {
        std::vector<double> v = Numbers(m->value, 3, "\"position\"");
        item.Position(v[0], v[1], v[2]);
    }
    int32_t order = 0;
    if (const JsonMember* m = transform.Find("order")) {
        order = RotationOrderFromName(Text(m->value, "\"order\"").c_str());
        if (order < 0) Fail(m->value, "a rotation order is one of XYZ, XZY, YXZ, YZX, ZXY, ZYX");
    }
    const JsonMember* rotation = transform.Find("rotation");
    if (rotation || transform.Find("order")) {
        std::vector<double> v =
            rotation ? Numbers(rotation->value, 3, "\"rotation\"") : std::vector<double>(3, 0.0);
        item.Rotation(v[0], v[1], v[2], order);
    }
    if (const JsonMember* m = transform.Find("scale")) {
        std::vector<double> v = Numbers(m->value, 3, "\"scale\"");
        item.Scale(v[0], v[1], v[2]);
    }
}

void SceneReader::ReadWorldMatrix(Item& item, const JsonNode& matrix) {
    if (!item.IsA("locator")) Fail(matrix, "only locator items have a \"worldMatrix\"");
    std::vector<double> v = Numbers(matrix, 16, "\"worldMatrix\"");
    Matrix m;
    std::copy(v.begin(), v.end(), m.begin());
    item.SetWorldMatrix(m);
}

// A particle is its position, [x, y, z], or an object with "position" and, optionally,
// "orientation" (9 numbers in rows), "prototype" (an id), "weight" and "size".
void SceneReader::ReadParticles(Item& item, const JsonNode& particles) {
    Expect(particles, Kind::Array, "\"particles\"");
    for (const JsonNode& node : particles.elements) {
        Particle particle;
        const JsonNode* position = &node;
        if (node.kind == Kind::Object) {
            CheckMembers(node, "a particle",
                         {"position", "orientation", "prototype", "weight", "size"});
            const JsonMember* p = node.Find("position");
            if (!p) Fail(node, "a particle needs a \"position\"");
            position = &p->value;
            if (const JsonMember* m = node.Find("orientation")) {
                std::vector<double> rows = Numbers(m->value, 9, "a particle's \"orientation\"");
                std::copy(rows.begin(), rows.end(), particle.orientation.begin());
            }
            if (const JsonMember* m = node.Find("prototype")) particle.prototype = &Ref(m->value);
            if (const JsonMember* m = node.Find("weight"))
                particle.weight = float(Number(m->value, "a particle's \"weight\""));
            if (const JsonMember* m = node.Find("size"))
                particle.size = float(Number(m->value, "a particle's \"size\""));
        }
        std::vector<double> xyz = Numbers(*position, 3, "a particle's position");
        std::copy(xyz.begin(), xyz.end(), particle.position.begin());
        item.AddParticle(particle);
    }
}

void SceneReader::ReadWorldTrack(Item& item, const JsonNode& track) {
    if (!item.IsA("locator")) Fail(track, "only locator items have a \"worldTrack\"");
    Expect(track, Kind::Array, "\"worldTrack\"");
    if (track.elements.empty()) Fail(track, "a \"worldTrack\" needs at least one key");
    const JsonNode* previous = nullptr;
    for (const JsonNode& key : track.elements) {
        Expect(key, Kind::Array, "a world-matrix key");
        if (key.elements.size() != 2) Fail(key, "a world-matrix key is [time, [16 numbers]]");
        const double time = Number(key.elements[0], "a key's time");
        if (previous && time <= previous->number)
            Fail(key.elements[0], "a key's time must come after the time of the key before it");
        std::vector<double> v = Numbers(key.elements[1], 16, "a world matrix");
        Matrix m;
        std::copy(v.begin(), v.end(), m.begin());
        item.WorldTrackKey(time, m);
        previous = &key.elements[0];
    }
}

// Keys by action, then by channel. A locator's keys may name the channels of its own transform
// items ("pos.X" to "scl.Z"), which are made when missing (Item::Key).
void SceneReader::ReadKeys(Item& item, const JsonNode& keys) {
    Expect(keys, Kind::Object, "\"keys\"");
    for (const JsonMember& action : keys.members) {
        if (!scene_.IsAction(action.name))
            Fail(action.nameOffset, "no action '" + action.name +
                                        "': keys go in \"setup\", \"edit\" or an action clip's id");
        Expect(action.value, Kind::Object, "an action's keys");
        for (const JsonMember& channel : action.value.members)
            ReadChannelKeys(item, channel, action.name);
    }
}

void SceneReader::ReadChannelKeys(Item& item, const JsonMember& channel,
                                  const std::string& action) {
    Item* owner = &item;
    uint32_t index = 0;
    Guard(channel.nameOffset, [&] {
        owner = &item.KeyedItem(channel.name);
        index = owner->ChannelIndex(channel.name);
    });
    const ChannelKind kind = owner->Type().channels[index].kind;
    if (kind != ChannelKind::Double && kind != ChannelKind::Integer)
        Fail(channel.nameOffset, "only number channels have keys, and '" + channel.name +
                                     "' holds " + KindName(kind) + " values");
    if (owner->Stored(action, index))
        Fail(channel.nameOffset, "channel '" + channel.name + "' has a value in '" + action +
                                     "' already: a channel holds a value or keys");
    Expect(channel.value, Kind::Array, "a channel's keys");
    if (channel.value.elements.empty()) Fail(channel.value, "a channel's keys must not be empty");
    const JsonNode* previous = nullptr;
    for (const JsonNode& key : channel.value.elements) {
        Expect(key, Kind::Array, "a key");
        if (key.elements.size() != 2 && key.elements.size() != 3)
            Fail(key, "a key is [time, value] or [time, value, interpolation]");
        const double time = Number(key.elements[0], "a key's time");
        if (previous && time <= previous->number)
            Fail(key.elements[0], "a key's time must come after the time of the key before it");
        const JsonNode& value = key.elements[1];
        if (kind == ChannelKind::Integer) Int32(value, "a key of this channel");
        Interp interp = Interp::Linear;
        if (key.elements.size() == 3 &&
            !InterpFromName(Text(key.elements[2], "an interpolation"), &interp))
            Fail(key.elements[2], "an interpolation is \"linear\" or \"stepped\", not '" +
                                      key.elements[2].text + "'");
        Guard(value, [&] {
            owner->Key(channel.name, time, Number(value, "a key's value"), action, interp);
        });
        previous = &key.elements[0];
    }
}

void SceneReader::ReadImage(Item& item, const JsonNode& image) {
    if (!item.IsA("imageMap")) Fail(image, "only image maps have an \"image\"");
    const std::string& text = Text(image, "\"image\"");
    if (text.empty()) Fail(image, "an image path must not be empty");
    std::filesystem::path path(text);
    if (path.is_relative() && !baseDir_.empty()) path = std::filesystem::path(baseDir_) / path;
    std::string problem = ImageFileProblem(path.string());
    if (!problem.empty()) Fail(image, "image '" + text + "' " + problem);
    Guard(image, [&] { item.SetImage(path.generic_string()); });
}

void SceneReader::ReadMembers(Item& item, const JsonNode& members) {
    if (!item.IsA("group")) Fail(members, "only group items have \"members\"");
    Expect(members, Kind::Array, "\"members\"");
    for (const JsonNode& e : members.elements)
        item.AddMember(Ref(e));
}

void SceneReader::ReadChannelMembers(Item& item, const JsonNode& members) {
    if (!item.IsA("group")) Fail(members, "only group items have \"channelMembers\"");
    Expect(members, Kind::Array, "\"channelMembers\"");
    for (const JsonNode& e : members.elements) {
        Expect(e, Kind::Object, "a channel member");
        CheckMembers(e, "a channel member", {"item", "channel"});
        const JsonMember* ref = e.Find("item");
        const JsonMember* channel = e.Find("channel");
        if (!ref || !channel) Fail(e, "a channel member needs \"item\" and \"channel\"");
        Item& member = Ref(ref->value);
        Guard(channel->value,
              [&] { item.AddChannelMember(member, Text(channel->value, "\"channel\"")); });
    }
}

// ---- Scene-wide sections --------------------------------------------------------------------

void SceneReader::ReadGraphs(const JsonNode& node) {
    Expect(node, Kind::Object, "\"graphs\"");
    for (const JsonMember& graph : node.members) {
        if (graph.name == qvGraphChanLinks)
            Fail(graph.nameOffset, "chanLinks links channels: use \"channelLinks\"");
        Expect(graph.value, Kind::Array, "a graph's links");
        for (const JsonNode& link : graph.value.elements) {
            Expect(link, Kind::Array, "a link");
            if (link.elements.size() != 2) Fail(link, "a link is a pair [from, to] of item ids");
            scene_.Link(graph.name, Ref(link.elements[0]), Ref(link.elements[1]));
        }
    }
}

void SceneReader::ReadChannelLinks(const JsonNode& node) {
    Expect(node, Kind::Array, "\"channelLinks\"");
    for (const JsonNode& link : node.elements) {
        Expect(link, Kind::Object, "a channel link");
        CheckMembers(link, "a channel link", {"driver", "driverChannel", "item", "channel"});
        const JsonMember* parts[4] = {link.Find("driver"), link.Find("driverChannel"),
                                      link.Find("item"), link.Find("channel")};
        for (const JsonMember* part : parts)
            if (!part)
                Fail(
                    link,
                    "a channel link needs \"driver\", \"driverChannel\", \"item\" and \"channel\"");
        Item& driver = Ref(parts[0]->value);
        Item& driven = Ref(parts[2]->value);
        const std::string& driverChannel = Text(parts[1]->value, "\"driverChannel\"");
        const std::string& channel = Text(parts[3]->value, "\"channel\"");
        Guard(parts[1]->value, [&] { driver.ChannelIndex(driverChannel); });
        Guard(parts[3]->value, [&] { scene_.LinkChannel(driver, driverChannel, driven, channel); });
    }
}

void SceneReader::ReadAbsentGraphs(const JsonNode& node) {
    Expect(node, Kind::Array, "\"absentGraphs\"");
    for (const JsonNode& e : node.elements) {
        const std::string& name = Text(e, "a graph name");
        if (!scene_.HasGraph(name)) Fail(e, "no graph named '" + name + "'");
        scene_.RemoveGraph(name);
    }
}

void SceneReader::ReadAbsentCommands(const JsonNode& node) {
    Expect(node, Kind::Array, "\"absentCommands\"");
    for (const JsonNode& e : node.elements) {
        const std::string& name = Text(e, "a command name");
        Guard(e, [&] { host_.RemoveCommand(name); });
    }
}

void SceneReader::ReadRenderCameras(const JsonNode& node) {
    Expect(node, Kind::Array, "\"renderCameras\"");
    for (const JsonNode& e : node.elements) {
        Item& camera = Ref(e);
        Guard(e, [&] { scene_.AddRenderCamera(camera); });
    }
}

void SceneReader::ReadSelection(const JsonNode& node) {
    Expect(node, Kind::Array, "\"selection\"");
    for (const JsonNode& e : node.elements) {
        Item& item = Ref(e);
        for (Item* selected : host_.Selection())
            if (selected == &item) Fail(e, "'" + item.Ident() + "' is selected twice");
        host_.Select(item);
    }
}

// Reads the text into the host with a tree of every value, each with its place in the text: the
// general way, which places every fault.
bool LoadSceneTree(SceneHost& host, std::string_view text, const std::string& fileName,
                   const std::string& baseDir, std::string* error) {
    try {
        JsonNode root = ParseJson(text);
        SceneReader(host, baseDir).Read(root);
        return true;
    } catch (const JsonError& e) {
        if (error) *error = Located(fileName, text, e.Offset(), e.what());
        return false;
    } catch (const std::exception& e) {
        // Nothing above should let one through; if it does, the file is still refused.
        if (error) *error = fileName + ": " + e.what();
        return false;
    }
}

// Why a parsed scene was refused: a fault at a place in the text, a fault in a mesh's bulk
// arrays (which keep no places), or anything else.
struct Refusal {
    enum Kind { kPlaced, kArrays, kOther };
    Kind kind = kOther;
    size_t offset = 0;
    std::string what;
};

// The message for a refusal of `text`. A fault in bulk arrays is placed by the general reader,
// which reads the text into a host of its own: the caller's host is partly filled by now.
std::string Report(const Refusal& refusal, std::string_view text, const std::string& fileName,
                   const std::string& baseDir) {
    if (refusal.kind == Refusal::kPlaced)
        return Located(fileName, text, refusal.offset, refusal.what);
    if (refusal.kind == Refusal::kArrays) {
        SceneHost scratch;
        std::string error;
        if (!LoadSceneTree(scratch, text, fileName, baseDir, &error)) return error;
        // Both readers refuse the same texts, so this is not met; the file is refused anyway.
    }
    return fileName + ": " + refusal.what;
}

enum class Parsed { kTree, kDeclined, kRefused };

// The text and the arrays' storage went back to the allocator, which keeps some of it on its
// heap; handing that back to the system lets a save start from the scene alone.
void ReturnFreedMemory() {
#ifdef __GLIBC__
    ::malloc_trim(0);
#endif
}

// Parses the text with meshes' bulk arrays taken in by sinks, and the rest as a tree. When a
// sink declines, nothing is in the host yet, and the general reader reads the text instead.
Parsed ParseWithSinks(std::string_view text, JsonNode* root, Refusal* refusal) {
    try {
        *root = ParseJson(text, SceneArrayRouter());
        return Parsed::kTree;
    } catch (const JsonDeclined&) {
        return Parsed::kDeclined;
    } catch (const JsonError& e) {
        *refusal = {Refusal::kPlaced, e.Offset(), e.what()};
    } catch (const std::exception& e) {
        *refusal = {Refusal::kOther, 0, e.what()};
    }
    return Parsed::kRefused;
}

bool ReadParsed(SceneHost& host, const JsonNode& root, const std::string& baseDir,
                Refusal* refusal) {
    try {
        SceneReader(host, baseDir).Read(root);
        return true;
    } catch (const ArrayFault& e) {
        *refusal = {Refusal::kArrays, 0, e.what()};
    } catch (const JsonError& e) {
        *refusal = {Refusal::kPlaced, e.Offset(), e.what()};
    } catch (const std::exception& e) {
        *refusal = {Refusal::kOther, 0, e.what()};
    }
    return false;
}

// What a load may do with a text that is its own: let it go once the tree and the sinks hold all
// the host takes from it, which keeps the load's peak near the larger of text and scene rather
// than their sum, and read it again to place a fault.
struct OwnedText {
    std::function<void()> letGo;
    std::function<bool(std::string_view*)> readAgain; // false: the error is set
};

bool LoadText(SceneHost& host, std::string_view text, const std::string& fileName,
              const std::string& baseDir, const OwnedText* owned, std::string* error) {
    JsonNode root;
    Refusal refusal;
    Parsed parsed = ParseWithSinks(text, &root, &refusal);
    if (parsed == Parsed::kDeclined) return LoadSceneTree(host, text, fileName, baseDir, error);
    if (parsed == Parsed::kTree) {
        if (owned) owned->letGo();
        bool read = ReadParsed(host, root, baseDir, &refusal);
        root = JsonNode(); // not needed by the scene, nor for a report
        if (read) {
            ReturnFreedMemory();
            return true;
        }
        if (owned && !owned->readAgain(&text)) return false;
    }
    if (error) *error = Report(refusal, text, fileName, baseDir);
    return false;
}

} // namespace

bool LoadSceneText(SceneHost& host, const std::string& text, const std::string& fileName,
                   const std::string& baseDir, std::string* error) {
    return LoadText(host, text, fileName, baseDir, nullptr, error);
}

bool LoadSceneFile(SceneHost& host, const std::string& path, uint64_t maxBytes,
                   std::string* error) {
    SceneBytes bytes;
    if (!bytes.Open(path, maxBytes, error)) return false;
    std::string baseDir = std::filesystem::path(path).parent_path().generic_string();
    const OwnedText owned{[&] { bytes.Release(); },
                          [&](std::string_view* text) {
                              if (!bytes.Open(path, maxBytes, error)) return false;
                              *text = bytes.Text();
                              return true;
                          }};
    return LoadText(host, bytes.Text(), path, baseDir, &owned, error);
}

bool LoadSceneFile(SceneHost& host, const std::string& path, std::string* error) {
    return LoadSceneFile(host, path, kDefaultMaxSceneSize, error);
}

} // namespace scenehost
