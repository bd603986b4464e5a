#include "Item.h"

#include "ItemFaces.h"
#include "MeshObjects.h"
#include "Scene.h"

#include <cmath>
#include <filesystem>
#include <stdexcept>

namespace scenehost {

namespace {

const std::vector<Item*> kNoItems;
const std::vector<ChannelDriver> kNoDrivers;

constexpr double kDegrees = 3.14159265358979323846 / 180.0;

const char* const kOwnTransformType[3] = {"scale", "rotation", "translation"};
const char* const kOwnTransformName[3] = {"Scale", "Rotation", "Translation"};
// Place of each own item (by QvTransformKind) in the stack, outermost first: translation 0,
// rotation 1, scale 2.
constexpr int kStackPlace[3] = {2, 1, 0};

} // namespace

Item::Item(Scene& scene, const TypeDef& type, std::string ident, std::string name)
    : Owned(scene.Observed()), scene_(scene), type_(&type), ident_(std::move(ident)),
      name_(std::move(name)) {
    if (IsA("locator")) locator_ = std::make_unique<LocatorFace>(*this);
    if (IsA("actionclip")) clip_ = std::make_unique<ActionClipFace>(*this);
    if (IsA("group")) group_ = std::make_unique<GroupFace>(*this);
    if (IsA("textureLayer")) texture_ = std::make_unique<TextureFace>(*this);
    // The geometry objects are the setup values of the object channels, so every read (edit,
    // evaluated, an action clip) finds them unless a value of its own stands in front.
    if (IsA("mesh")) {
        mesh_ = std::make_unique<MeshObject>(scene.Observed());
        SlotFor(qvActionSetup, ChannelIndex(qvChanMesh)).value =
            ChannelValue::OwnedByItem(static_cast<IQvMesh*>(mesh_.get()));
    }
    if (IsA("triSurf")) {
        surface_ = std::make_unique<SurfaceObject>(scene.Observed());
        SlotFor(qvActionSetup, ChannelIndex(qvChanSurf)).value =
            ChannelValue::OwnedByItem(static_cast<IQvTriangleGroup*>(surface_.get()));
    }
}

Item::~Item() = default;

bool Item::IsA(const std::string& typeName) const {
    return scene_.Types().Derives(type_->code, typeName);
}

uint32_t Item::ChannelIndex(const std::string& channel) const {
    int32_t index = type_->Channel(channel);
    if (index < 0)
        throw std::invalid_argument("type '" + type_->name + "' has no channel '" + channel + "'");
    return static_cast<uint32_t>(index);
}

void Item::RequireType(const char* typeName, const char* what) const {
    if (!IsA(typeName))
        throw std::invalid_argument(std::string(what) + " needs an item of type '" + typeName +
                                    "', and '" + name_ + "' is a '" + type_->name + "'");
}

// ---- Builder: channel values ---------------------------------------------------------------

Item& Item::Store(const std::string& channel, ChannelValue value, const std::string& action) {
    ChannelSlot& slot = SlotFor(action, ChannelIndex(channel));
    slot.value = std::move(value);
    slot.keys.reset();
    return *this;
}

Item& Item::Set(const std::string& channel, double value, const std::string& action) {
    ChannelKind kind = type_->channels[ChannelIndex(channel)].kind;
    bool integral = std::trunc(value) == value;
    if (kind == ChannelKind::Integer && integral && std::fabs(value) < 2147483648.0)
        return Store(channel, ChannelValue::Integer(static_cast<int32_t>(value)), action);
    if (kind != ChannelKind::Double)
        throw std::invalid_argument("channel '" + channel + "' holds " + KindName(kind) +
                                    " values, not numbers like this one");
    return Store(channel, ChannelValue::Double(value), action);
}

Item& Item::Set(const std::string& channel, int value, const std::string& action) {
    ChannelKind kind = type_->channels[ChannelIndex(channel)].kind;
    if (kind == ChannelKind::Double) return Store(channel, ChannelValue::Double(value), action);
    if (kind != ChannelKind::Integer)
        throw std::invalid_argument("channel '" + channel + "' holds " + KindName(kind) +
                                    " values, not integers");
    return Store(channel, ChannelValue::Integer(value), action);
}

Item& Item::Set(const std::string& channel, const char* value, const std::string& action) {
    return Set(channel, std::string(value), action);
}

Item& Item::Set(const std::string& channel, const std::string& value, const std::string& action) {
    ChannelKind kind = type_->channels[ChannelIndex(channel)].kind;
    if (kind != ChannelKind::String)
        throw std::invalid_argument("channel '" + channel + "' holds " + KindName(kind) +
                                    " values, not text");
    return Store(channel, ChannelValue::String(value), action);
}

Item& Item::SetObject(const std::string& channel, IQvUnknown* object, const std::string& action) {
    ChannelKind kind = type_->channels[ChannelIndex(channel)].kind;
    if (kind != ChannelKind::Object)
        throw std::invalid_argument("channel '" + channel + "' holds no objects");
    return Store(channel, ChannelValue::Object(object), action);
}

Item& Item::KeyedItem(const std::string& channel) {
    if (!IsA("locator") || type_->Channel(channel) >= 0) return *this;
    for (QvTransformKind kind : {qvXfrmTranslation, qvXfrmRotation, qvXfrmScale}) {
        const TypeDef* own = scene_.Types().Find(kOwnTransformType[kind]);
        if (own && own->Channel(channel) >= 0) return OwnTransform(kind);
    }
    return *this;
}

Item& Item::Key(const std::string& channel, double time, double value, const std::string& action,
                Interp interp) {
    Item& owner = KeyedItem(channel);
    if (&owner != this) {
        owner.Key(channel, time, value, action, interp);
        return *this;
    }
    const uint32_t index = ChannelIndex(channel);
    const ChannelKind kind = type_->channels[index].kind;
    if (kind != ChannelKind::Double && kind != ChannelKind::Integer)
        throw std::invalid_argument("only number channels have keys, and '" + channel + "' holds " +
                                    KindName(kind) + " values");
    if (kind == ChannelKind::Integer && std::trunc(value) != value)
        throw std::invalid_argument("channel '" + channel + "' holds integer values, not " +
                                    "numbers like this one");
    if (!std::isfinite(time) || !std::isfinite(value))
        throw std::invalid_argument("a key's time and value must be finite numbers");
    ChannelSlot& slot = SlotFor(action, index);
    slot.value.reset();
    if (!slot.keys) slot.keys = std::make_shared<KeyList>();
    slot.keys->Add({time, value, interp});
    return *this;
}

ChannelSlot& Item::SlotFor(const std::string& action, uint32_t channel) {
    MarkTransformsStale(); // the caller changes the slot
    const uint32_t id = scene_.ActionId(action);
    for (ActionSlots& held : slots_)
        if (held.action == id) return held.channels[channel];
    slots_.push_back({id, std::vector<ChannelSlot>(type_->channels.size())});
    return slots_.back().channels[channel];
}

const ChannelValue* Item::Stored(const std::string& action, uint32_t channel) const {
    const int32_t id = scene_.FindActionId(action);
    const ChannelSlot* slot = id < 0 ? nullptr : Slot(static_cast<uint32_t>(id), channel);
    return slot && slot->value ? &*slot->value : nullptr;
}

const ChannelValue& Item::SetupValue(uint32_t channel) const {
    const ChannelValue* stored = Stored(qvActionSetup, channel);
    return stored ? *stored : type_->channels[channel].defaultValue;
}

// ---- Builder: tags, packages, links ---------------------------------------------------------

Item& Item::Tag(const std::string& fourCC, const std::string& value) {
    if (fourCC.size() != 4)
        throw std::invalid_argument("tag code '" + fourCC + "' is not four characters");
    tags_[QvFourCC(fourCC[0], fourCC[1], fourCC[2], fourCC[3])] = value;
    return *this;
}

Item& Item::Package(const std::string& name) {
    for (const std::string& p : packages_)
        if (p == name) return *this;
    packages_.push_back(name);
    return *this;
}

void Item::AddLink(const std::string& graph, Item& to) {
    InsertLink(graph, to, links_[graph].size());
}

void Item::InsertLink(const std::string& graph, Item& to, size_t position) {
    MarkTransformsStale();
    std::vector<Item*>& forward = links_[graph];
    forward.insert(forward.begin() + static_cast<std::ptrdiff_t>(position), &to);
    to.reverseLinks_[graph].push_back(this);
}

Item& Item::Link(const std::string& graph, Item& to) {
    scene_.Link(graph, *this, to);
    return *this;
}

Item& Item::DrivenBy(const std::string& channel, Item& driver, const std::string& driverChannel) {
    MarkTransformsStale();
    drivers_[ChannelIndex(channel)].push_back({&driver, driver.ChannelIndex(driverChannel)});
    return *this;
}

const std::vector<Item*>& Item::Links(const std::string& graph) const {
    auto it = links_.find(graph);
    return it == links_.end() ? kNoItems : it->second;
}

const std::vector<Item*>& Item::ReverseLinks(const std::string& graph) const {
    auto it = reverseLinks_.find(graph);
    return it == reverseLinks_.end() ? kNoItems : it->second;
}

const std::vector<ChannelDriver>& Item::Drivers(uint32_t channel) const {
    auto it = drivers_.find(channel);
    return it == drivers_.end() ? kNoDrivers : it->second;
}

// ---- Builder: transforms --------------------------------------------------------------------

Item& Item::OwnTransform(QvTransformKind kind) {
    RequireType("locator", "a transform");
    if (kind > qvXfrmTranslation) throw std::invalid_argument("no such transform kind");
    if (Item* own = ownTransforms_[kind]) return *own;
    // The new item goes before the first own item that belongs further down, so the stack
    // reads translation, rotation, scale whatever order the calls came in.
    const std::vector<Item*>& stack = Links(qvGraphXfrmCore);
    size_t position = stack.size();
    for (size_t i = 0; i < stack.size() && position == stack.size(); ++i)
        for (int k = 0; k < 3; ++k)
            if (stack[i] == ownTransforms_[k] && kStackPlace[k] > kStackPlace[kind]) position = i;
    Item& t =
        AddTransform(kOwnTransformType[kind], kOwnTransformName[kind], static_cast<int>(position));
    ownTransforms_[kind] = &t;
    return t;
}

Item& Item::AddTransform(const std::string& type, const std::string& name, int position) {
    RequireType("locator", "a transform");
    const TypeDef* def = scene_.Types().Find(type);
    if (!def) throw std::invalid_argument("unknown item type '" + type + "'");
    if (!scene_.Types().Derives(def->code, "transform"))
        throw std::invalid_argument("a transform stack takes transform items, not '" + type + "'");
    Item& t = scene_.AddItem(type, name);
    size_t size = Links(qvGraphXfrmCore).size();
    size_t at =
        position < 0 || static_cast<size_t>(position) > size ? size : static_cast<size_t>(position);
    // Both directions: the locator lists its stack, and a transform item's first forward link
    // is the locator that owns it.
    InsertLink(qvGraphXfrmCore, t, at);
    t.AddLink(qvGraphXfrmCore, *this);
    return t;
}

Item& Item::Position(double x, double y, double z) {
    OwnTransform(qvXfrmTranslation).Set(qvChanPosX, x).Set(qvChanPosY, y).Set(qvChanPosZ, z);
    return *this;
}

Item& Item::Rotation(double xDeg, double yDeg, double zDeg, int32_t order) {
    OwnTransform(qvXfrmRotation)
        .Set(qvChanRotX, xDeg * kDegrees)
        .Set(qvChanRotY, yDeg * kDegrees)
        .Set(qvChanRotZ, zDeg * kDegrees)
        .Set("order", order);
    return *this;
}

Item& Item::Scale(double x, double y, double z) {
    OwnTransform(qvXfrmScale).Set(qvChanSclX, x).Set(qvChanSclY, y).Set(qvChanSclZ, z);
    return *this;
}

Item& Item::SetWorldMatrix(const Matrix& world) {
    RequireType("locator", "a world matrix");
    MarkTransformsStale();
    worldTrack_.emplace().Add(0.0, world);
    return *this;
}

Item& Item::WorldTrackKey(double time, const Matrix& world) {
    RequireType("locator", "a world-matrix track");
    if (!std::isfinite(time)) throw std::invalid_argument("a key's time must be a finite number");
    MarkTransformsStale();
    if (!worldTrack_) worldTrack_.emplace();
    worldTrack_->Add(time, world);
    return *this;
}

// ---- Builder: other faces -------------------------------------------------------------------

Item& Item::SetImage(const std::string& path) {
    RequireType("imageMap", "an image");
    if (path.empty()) throw std::invalid_argument("an image path must not be empty");
    image_ = std::filesystem::absolute(path).lexically_normal().generic_string();
    return *this;
}

Item& Item::SetTextureLocator(Item& locator) {
    RequireType("textureLayer", "a texture locator");
    locator.RequireType("txtrLocator", "placing a texture layer");
    if (Item* placed = TextureLocator())
        throw std::invalid_argument("'" + name_ + "' has a texture locator already, '" +
                                    placed->Name() + "'");
    return Link(qvGraphShadeLoc, locator);
}

Item* Item::TextureLocator() const {
    for (Item* linked : Links(qvGraphShadeLoc))
        if (linked->IsA("txtrLocator")) return linked;
    return nullptr;
}

Item& Item::AddMember(Item& member) {
    RequireType("group", "a member");
    members_.push_back(&member);
    return *this;
}

Item& Item::AddParticle(const Particle& particle) {
    particles_.push_back(particle);
    return *this;
}

Item& Item::ExportTag(const std::string& text) {
    RequireType("actionclip", "an export tag");
    exportTag_ = text;
    return *this;
}

Item& Item::AddChannelMember(Item& member, const std::string& channel) {
    RequireType("group", "a channel member");
    channelMembers_.push_back({&member, member.ChannelIndex(channel)});
    return *this;
}

// ---- Builder: geometry and deformers ------------------------------------------------------

MeshData& Item::Mesh() {
    RequireType("mesh", "a mesh");
    return mesh_->Data();
}

const MeshData* Item::MeshOf() const {
    return mesh_ ? &mesh_->Data() : nullptr;
}

Item& Item::SurfaceTriangles(uint32_t count) {
    RequireType("triSurf", "a surface");
    surface_->SetTriangleCount(count);
    return *this;
}

Item& Item::AddJoint(Item& deformer) {
    RequireType("deformGroup", "a joint");
    if (!deformer.IsA("influence") && !deformer.IsA("locator"))
        throw std::invalid_argument("a joint is an influence or a locator, and '" +
                                    deformer.Name() + "' is a '" + deformer.Type().name + "'");
    joints_.push_back(&deformer);
    return *this;
}

Item& Item::DrivenByLocator(Item& locator) {
    RequireType("influence", "a driving locator");
    locator.RequireType("locator", "a deformer's driver");
    driverLocator_ = &locator;
    return *this;
}

// ---- IQvUnknown -----------------------------------------------------------------------------

QvResult Item::QueryInterface(const QvGuid& id, void** out) {
    if (!out) return qvFailed;
    if (id == implIid) return AnswerWith(this, out);
    if (id == IQvLocator::iid)
        return locator_ ? AnswerWith<IQvLocator>(locator_.get(), out) : qvNoInterface;
    if (id == IQvActionClip::iid)
        return clip_ ? AnswerWith<IQvActionClip>(clip_.get(), out) : qvNoInterface;
    if (id == IQvGroupItem::iid)
        return group_ ? AnswerWith<IQvGroupItem>(group_.get(), out) : qvNoInterface;
    if (id == IQvTexture::iid)
        return texture_ ? AnswerWith<IQvTexture>(texture_.get(), out) : qvNoInterface;
    return Owned::QueryInterface(id, out);
}

} // namespace scenehost
