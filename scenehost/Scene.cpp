#include "Scene.h"

#include "ChannelRead.h"
#include "Graphs.h"
#include "Transforms.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace scenehost {

Scene::Scene(Observation& observation)
    : Owned(observation), chanLinks_(std::make_unique<ChannelGraph>(observation)) {
    AddItemWithIdent("scene", "scene", "Scene");
    for (const char* name :
         {qvGraphXfrmCore, qvGraphXfrmLocal, qvGraphTargets, qvGraphCurrentGroups, qvGraphShadeLoc,
          qvGraphDeformers, qvGraphParticle, qvGraphSource})
        graphs_[name] = std::make_unique<ItemGraph>(observation, name);
}

Scene::~Scene() = default;

// ---- Builder --------------------------------------------------------------------------------

bool IsUserIdent(const std::string& ident) {
    for (char c : ident)
        if (static_cast<unsigned char>(c) < 0x20 || c == '\x7f') return false;
    return !ident.empty();
}

std::string Scene::NewIdent(const std::string& type) {
    std::string ident;
    do
        ident = type + kMadeIdentMark + std::to_string(++identCounters_[type]);
    while (byIdent_.count(ident));
    return ident;
}

Item& Scene::AddItem(const std::string& type, const std::string& name, Item* parent) {
    return AddItemWithIdent(NewIdent(type), type, name, parent);
}

Item& Scene::AddItem(const std::string& type, const std::string& name, Item& parent) {
    return AddItem(type, name, &parent);
}

Item& Scene::AddItemWithIdent(const std::string& ident, const std::string& type,
                              const std::string& name, Item* parent) {
    const TypeDef* def = types_.Find(type);
    if (!def) throw std::invalid_argument("unknown item type '" + type + "'");
    if (def->name == "scene" && !items_.empty())
        throw std::invalid_argument("a scene has one scene item");
    if (ident.empty() || byIdent_.count(ident))
        throw std::invalid_argument("item ident '" + ident + "' is empty or taken");
    items_.push_back(std::make_unique<Item>(*this, *def, ident, name));
    Item& item = *items_.back();
    order_.push_back(&item);
    byIdent_[ident] = &item;
    if (parent) SetParent(item, parent);
    return item;
}

void Scene::SetParent(Item& child, Item* parent) {
    if (&child == &SceneItem() || parent == &SceneItem())
        throw std::invalid_argument("the scene item has no place in the item hierarchy");
    // A child without children closes a cycle only as its own parent; walking up only for the
    // others keeps reading a long chain from a file linear.
    Item* walkFrom = child.children_.empty() && parent != &child ? nullptr : parent;
    for (Item* p = walkFrom; p; p = p->parent_)
        if (p == &child)
            throw std::invalid_argument("making '" + parent->Name() + "' the parent of '" +
                                        child.Name() + "' would make a cycle");
    if (child.parent_) {
        auto& siblings = child.parent_->children_;
        siblings.erase(std::find(siblings.begin(), siblings.end(), &child));
    }
    child.parent_ = parent;
    MarkTransformsStale(); // a new parent moves the child and everything below it
    if (parent) parent->children_.push_back(&child);
}

void Scene::Link(const std::string& graph, Item& from, Item& to) {
    if (graph == qvGraphChanLinks)
        throw std::invalid_argument("chanLinks links channels: use LinkChannel");
    if (!graphs_.count(graph)) graphs_[graph] = std::make_unique<ItemGraph>(Observed(), graph);
    from.AddLink(graph, to);
}

void Scene::LinkChannel(Item& driver, const std::string& driverChannel, Item& driven,
                        const std::string& channel) {
    driven.DrivenBy(channel, driver, driverChannel);
}

void Scene::RemoveGraph(const std::string& name) {
    if (HasGraph(name)) absentGraphs_.push_back(name);
}

void Scene::AddRenderCamera(Item& camera) {
    if (!camera.IsA("camera")) throw std::invalid_argument("'" + camera.Name() + "' is no camera");
    renderCameras_.push_back(&camera);
}

// ---- The model ------------------------------------------------------------------------------

Item* Scene::FindIdent(const std::string& ident) const {
    auto it = byIdent_.find(ident);
    return it == byIdent_.end() ? nullptr : it->second;
}

Item* Scene::FindName(const std::string& name) const {
    for (Item* item : order_)
        if (item->Name() == name) return item;
    return nullptr;
}

Item& Scene::Get(const std::string& name) const {
    Item* item = FindName(name);
    if (!item) throw std::invalid_argument("no item named '" + name + "'");
    return *item;
}

bool Scene::HasGraph(const std::string& name) const {
    if (std::find(absentGraphs_.begin(), absentGraphs_.end(), name) != absentGraphs_.end())
        return false;
    return name == qvGraphChanLinks || graphs_.count(name) > 0;
}

std::vector<Item*> Scene::RenderCameras() const {
    if (!renderCameras_.empty()) return renderCameras_;
    std::vector<Item*> cameras;
    for (Item* item : order_)
        if (item->IsA("camera")) cameras.push_back(item);
    return cameras;
}

std::vector<Item*> Scene::ActiveClips() const {
    std::vector<Item*> clips;
    for (Item* item : order_) {
        if (!item->IsA("actionclip")) continue;
        int32_t active = 0, enabled = 0;
        item->SetupValue(item->ChannelIndex("active")).AsInteger(&active);
        item->SetupValue(item->ChannelIndex(qvChanEnable)).AsInteger(&enabled);
        if (active && enabled) clips.push_back(item);
    }
    return clips;
}

bool Scene::IsAction(const std::string& action) const {
    if (action == qvActionSetup || action == qvActionEdit) return true;
    Item* clip = FindIdent(action);
    return clip && clip->IsA("actionclip");
}

double Scene::CurrentTime() const {
    const Item& scene = *items_.front();
    const uint32_t channel = scene.ChannelIndex(qvChanTime);
    double time = 0.0;
    for (const char* action : {qvActionEdit, qvActionSetup}) {
        const int32_t id = FindActionId(action);
        const ChannelSlot* slot = id < 0 ? nullptr : scene.Slot(static_cast<uint32_t>(id), channel);
        if (!slot) continue;
        if (slot->keys) return slot->keys->Evaluate(0.0);
        slot->value->AsDouble(&time);
        return time;
    }
    scene.SetupValue(channel).AsDouble(&time);
    return time;
}

uint32_t Scene::ActionId(const std::string& action) {
    return actionIds_.emplace(action, static_cast<uint32_t>(actionIds_.size())).first->second;
}

int32_t Scene::FindActionId(const std::string& action) const {
    auto it = actionIds_.find(action);
    return it == actionIds_.end() ? -1 : static_cast<int32_t>(it->second);
}

bool Scene::OfType(const Item& item, QvTypeCode type) const {
    return type == qvAllTypes || types_.Derives(item.Type().code, type);
}

// ---- IQvScene -------------------------------------------------------------------------------

QvResult Scene::GetChannels(const char* action, double time, IQvChannelRead** out) {
    if (!out) return qvFailed;
    if (!action) {
        *out = new ChannelRead(*this, ChannelRead::Mode::Evaluated, "", time);
        return qvOk;
    }
    if (!IsAction(action)) return qvNotFound;
    *out = new ChannelRead(*this, ChannelRead::Mode::Action, action, time);
    return qvOk;
}

QvResult Scene::BaseChannels(IQvChannelRead** out) {
    if (!out) return qvFailed;
    *out = new ChannelRead(*this, ChannelRead::Mode::Base, "", CurrentTime());
    return qvOk;
}

// Counts take derived types in, as the host's do: the "locator" items include meshes and
// cameras. A code that names no type has no items.
QvResult Scene::ItemCount(QvTypeCode type, uint32_t* count) {
    if (!count) return qvFailed;
    *count = static_cast<uint32_t>(
        std::count_if(order_.begin(), order_.end(), [&](Item* i) { return OfType(*i, type); }));
    return qvOk;
}

QvResult Scene::ItemByIndex(QvTypeCode type, uint32_t index, IQvItem** out) {
    if (!out) return qvFailed;
    size_t position = 0;
    uint32_t at = 0;
    if (cursor_.itemCount == order_.size() && cursor_.type == type && cursor_.index <= index) {
        position = cursor_.position;
        at = cursor_.index;
    }
    for (; position < order_.size(); ++position) {
        if (!OfType(*order_[position], type)) continue;
        if (at == index) {
            cursor_ = {type, order_.size(), index, position};
            return AnswerWith<IQvItem>(order_[position], reinterpret_cast<void**>(out));
        }
        ++at;
    }
    return qvOutOfRange;
}

QvResult Scene::ItemOfType(QvTypeCode type, IQvItem** out) {
    if (!out) return qvFailed;
    for (Item* item : order_)
        if (OfType(*item, type)) return AnswerWith<IQvItem>(item, reinterpret_cast<void**>(out));
    return qvNotFound;
}

QvResult Scene::GraphLookup(const char* name, const QvGuid& id, void** out) {
    if (!name || !out) return qvFailed;
    Observed().Count(std::string("GraphLookup:") + name);
    if (!HasGraph(name)) return qvNotFound;
    if (id == IQvChannelGraph::iid && std::strcmp(name, qvGraphChanLinks) == 0)
        return AnswerWith<IQvChannelGraph>(chanLinks_.get(), out);
    auto graph = graphs_.find(name);
    if (id == IQvItemGraph::iid && graph != graphs_.end())
        return AnswerWith<IQvItemGraph>(graph->second.get(), out);
    return qvNoInterface;
}

QvResult Scene::RenderCameraCount(uint32_t* count) {
    if (!count) return qvFailed;
    Observed().Count("RenderCameraCount");
    *count = static_cast<uint32_t>(RenderCameras().size());
    return qvOk;
}

QvResult Scene::RenderCameraByIndex(uint32_t index, IQvItem** item) {
    if (!item) return qvFailed;
    std::vector<Item*> cameras = RenderCameras();
    if (index >= cameras.size()) return qvOutOfRange;
    return AnswerWith<IQvItem>(cameras[index], reinterpret_cast<void**>(item));
}

} // namespace scenehost
