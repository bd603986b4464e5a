#include "HostServices.h"

#include "Item.h"
#include "Scene.h"
#include "SceneHost.h"

namespace scenehost {

// ---- Scene service --------------------------------------------------------------------------

SceneService::SceneService(Observation& observation, Scene& scene)
    : Owned(observation), scene_(scene) {}

QvResult SceneService::ItemTypeLookup(const char* name, QvTypeCode* code) {
    if (!name || !code) return qvFailed;
    observation_.Count(std::string("ItemTypeLookup:") + name);
    const TypeDef* def = scene_.Types().Find(std::string(name));
    if (!def) return qvNotFound;
    *code = def->code;
    return qvOk;
}

QvResult SceneService::ItemTypeName(QvTypeCode code, const char** name) {
    const TypeDef* def = scene_.Types().Find(code);
    if (!def || !name) return qvNotFound;
    *name = def->name.c_str();
    return qvOk;
}

QvResult SceneService::ItemTypeSuper(QvTypeCode code, QvTypeCode* super) {
    const TypeDef* def = scene_.Types().Find(code);
    if (!def || !super) return qvNotFound;
    if (def->super == 0) return qvNotFound; // a root type
    *super = def->super;
    return qvOk;
}

QvResult SceneService::InstanceSource(IQvItem* instance, IQvItem** source) {
    Item* item = ImplFrom<Item>(instance);
    if (!item || !source) return qvFailed;
    const std::vector<Item*>& links = item->Links(kSource);
    if (links.empty()) return qvNotFound;
    return AnswerWith<IQvItem>(links.front(), reinterpret_cast<void**>(source));
}

QvResult SceneService::ReplicatorEnumerator(IQvItem* replicator, IQvReplicatorEnumerator** out) {
    // Particles are not modelled yet: a replicator has none to enumerate.
    if (!ImplFrom<Item>(replicator) || !out) return qvFailed;
    return qvNotFound;
}

// ---- Deformer service -----------------------------------------------------------------------

namespace {
std::vector<Item*> GroupMeshes(IQvItem* group) {
    std::vector<Item*> meshes;
    if (Item* item = ImplFrom<Item>(group))
        for (Item* linked : item->Links(kDeformers))
            if (linked->IsA("mesh")) meshes.push_back(linked);
    return meshes;
}
} // namespace

QvResult DeformerService::GroupMeshCount(IQvItem* group, uint32_t* count) {
    if (!ImplFrom<Item>(group) || !count) return qvFailed;
    *count = static_cast<uint32_t>(GroupMeshes(group).size());
    return qvOk;
}

QvResult DeformerService::GroupMeshByIndex(IQvItem* group, uint32_t index, IQvItem** mesh) {
    if (!ImplFrom<Item>(group) || !mesh) return qvFailed;
    std::vector<Item*> meshes = GroupMeshes(group);
    if (index >= meshes.size()) return qvOutOfRange;
    return AnswerWith<IQvItem>(meshes[index], reinterpret_cast<void**>(mesh));
}

QvResult DeformerService::GroupDeformerOf(IQvItem* group, IQvChannelRead*, IQvGroupDeformer** out) {
    if (!ImplFrom<Item>(group) || !out) return qvFailed;
    return qvNotFound;
}

// A deformer that is itself a locator (a joint) is driven by itself.
QvResult DeformerService::DeformerLocator(IQvItem* deformer, IQvItem** locator) {
    Item* item = ImplFrom<Item>(deformer);
    if (!item || !locator) return qvFailed;
    if (!item->IsA("locator")) return qvFalse;
    return AnswerWith<IQvItem>(item, reinterpret_cast<void**>(locator));
}

// ---- User values ----------------------------------------------------------------------------

namespace {

class UserValue final : public Transient<IQvUserValue> {
public:
    explicit UserValue(UserValueEntry entry) : entry_(std::move(entry)) {
        if (entry_.isInteger) entry_.text = std::to_string(entry_.integer);
    }
    QvResult GetInt(int32_t* value) override {
        if (!value || !entry_.isInteger) return qvFailed;
        *value = entry_.integer;
        return qvOk;
    }
    QvResult GetString(const char** value) override {
        if (!value) return qvFailed;
        *value = entry_.text.c_str();
        return qvOk;
    }

private:
    UserValueEntry entry_;
};

} // namespace

void UserValueService::SetInt(const std::string& name, int32_t value) {
    values_[name] = {true, value, ""};
}

void UserValueService::SetString(const std::string& name, const std::string& text) {
    values_[name] = {false, 0, text};
}

void UserValueService::Remove(const std::string& name) {
    values_.erase(name);
}

QvResult UserValueService::UserValueLookup(const char* name, IQvUserValue** value) {
    if (!name || !value) return qvFailed;
    observation_.Count(std::string("UserValueLookup:") + name);
    auto it = values_.find(name);
    if (it == values_.end()) return qvNotFound;
    *value = new UserValue(it->second);
    return qvOk;
}

// ---- Platform and commands ------------------------------------------------------------------

namespace {
QvResult Give(const std::string& fact, const char** text) {
    if (!text) return qvFailed;
    *text = fact.c_str();
    return qvOk;
}
} // namespace

QvResult PlatformService::PlatformName(const char** text) {
    return Give(facts_.name, text);
}
QvResult PlatformService::PlatformVersion(const char** text) {
    return Give(facts_.version, text);
}
QvResult PlatformService::PlatformBuild(const char** text) {
    return Give(facts_.build, text);
}
QvResult PlatformService::PlatformText1(const char** text) {
    return Give(facts_.text1, text);
}
QvResult PlatformService::PlatformText2(const char** text) {
    return Give(facts_.text2, text);
}

QvResult CommandService::SpawnCommand(uint32_t, const char* name, IQvCommand** command) {
    if (!name || !command) return qvFailed;
    observation_.Count(std::string("SpawnCommand:") + name);
    return qvNotFound;
}

QvResult RecordingMonitor::Initialize(uint32_t stepCount) {
    observation_.monitor.initialize.push_back(stepCount);
    return qvOk;
}

QvResult RecordingMonitor::Step(uint32_t steps) {
    observation_.monitor.steps.push_back(steps);
    return qvOk;
}

// ---- Global ---------------------------------------------------------------------------------

HostGlobal::HostGlobal(SceneHost* host) : host_(host) {}

HostGlobal::~HostGlobal() = default;

QvResult HostGlobal::QueryInterface(const QvGuid& id, void** out) {
    return AnswerInterfaces<IQvGlobal>(this, id, out);
}

uint32_t HostGlobal::Release() {
    uint32_t left = --refs_;
    if (left == 0) delete this;
    return left;
}

QvResult HostGlobal::LookupService(const QvGuid& serviceId, void** out) {
    if (!out) return qvFailed;
    if (!host_) return qvNotFound;
    return host_->LookupService(serviceId, out);
}

} // namespace scenehost
