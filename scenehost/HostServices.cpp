#include "HostServices.h"

#include "ChannelRead.h"
#include "HostCommands.h"
#include "Item.h"
#include "MeshData.h"
#include "Scene.h"
#include "SceneHost.h"

#include <algorithm>
#include <cstring>

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
    const std::vector<Item*>& links = item->Links(qvGraphSource);
    if (links.empty()) return qvNotFound;
    return AnswerWith<IQvItem>(links.front(), reinterpret_cast<void**>(source));
}

QvResult SceneService::ReplicatorEnumerator(IQvItem* replicator, IQvReplicatorEnumerator** out) {
    Item* item = ImplFrom<Item>(replicator);
    if (!item || !out) return qvFailed;
    observation_.Count("ReplicatorEnumerator");
    if (!item->IsA("replicator")) return qvNotFound;
    *out = new scenehost::ReplicatorEnumerator(*item);
    return qvOk;
}

// ---- Deformer service -----------------------------------------------------------------------

namespace {

std::vector<Item*> GroupMeshes(const Item& group) {
    std::vector<Item*> meshes;
    for (Item* linked : group.Links(qvGraphDeformers))
        if (linked->IsA("mesh")) meshes.push_back(linked);
    return meshes;
}

Item* DeformGroup(IQvItem* group) {
    Item* item = ImplFrom<Item>(group);
    return item && item->IsA("deformGroup") ? item : nullptr;
}

// The joints of one deform group, with their weight maps found once for each mesh asked about.
class GroupDeformer final : public Transient<IQvGroupDeformer> {
public:
    GroupDeformer(const Item& group, const ChannelRead* read)
        : joints_(group.Joints()), meshes_(GroupMeshes(group)), maps_(meshes_.size()) {
        for (const Item* joint : joints_) {
            std::string mapName;
            if (joint->IsA("influence")) {
                ChannelValue scratch = ChannelValue::None(ChannelKind::Integer);
                auto value = [&](const char* channel) -> const ChannelValue& {
                    uint32_t index = joint->ChannelIndex(channel);
                    return read ? read->Resolve(*joint, index, scratch) : joint->SetupValue(index);
                };
                int32_t type = 0;
                const char* name = nullptr;
                if (QvSucceeded(value(qvChanType).AsInteger(&type)) &&
                    type == qvInfluenceWeightMap && QvSucceeded(value(qvChanName).AsString(&name)))
                    mapName = name;
            }
            mapNames_.push_back(mapName);
        }
    }

    QvResult JointCount(uint32_t* count) override {
        if (!count) return qvFailed;
        *count = uint32_t(joints_.size());
        return qvOk;
    }
    QvResult JointItem(uint32_t joint, IQvItem** item) override {
        if (!item) return qvFailed;
        if (joint >= joints_.size()) return qvOutOfRange;
        return AnswerWith<IQvItem>(joints_[joint], reinterpret_cast<void**>(item));
    }
    QvResult PointInfluences(uint32_t meshIndex, QvPointId point, uint32_t* joints, float* weights,
                             uint32_t* count, uint32_t capacity) override {
        if (!count || (capacity > 0 && (!joints || !weights))) return qvFailed;
        if (meshIndex >= meshes_.size()) return qvOutOfRange;
        const MeshData& mesh = *meshes_[meshIndex]->MeshOf();
        uint32_t index = 0;
        if (!mesh.PointIndex(point, &index)) return qvNotFound;
        const std::vector<const MeshMap*>& maps = MapsOf(meshIndex, mesh);
        uint32_t found = 0;
        for (uint32_t j = 0; j < maps.size(); ++j) {
            const float* weight = maps[j] ? maps[j]->PointValue(index) : nullptr;
            if (!weight || *weight == 0.0f) continue;
            if (found < capacity) {
                joints[found] = j;
                weights[found] = *weight;
            }
            ++found;
        }
        *count = found;
        return qvOk;
    }

private:
    const std::vector<const MeshMap*>& MapsOf(uint32_t meshIndex, const MeshData& mesh) {
        std::vector<const MeshMap*>& maps = maps_[meshIndex];
        if (maps.empty() && !joints_.empty())
            for (const std::string& name : mapNames_)
                maps.push_back(name.empty() ? nullptr : mesh.FindMap(qvMapWeight, name));
        return maps;
    }

    std::vector<Item*> joints_;
    std::vector<std::string> mapNames_; // empty: the joint has no weight map
    std::vector<Item*> meshes_;
    std::vector<std::vector<const MeshMap*>> maps_; // by mesh, then joint
};

} // namespace

QvResult DeformerService::GroupMeshCount(IQvItem* group, uint32_t* count) {
    Item* item = ImplFrom<Item>(group);
    if (!item || !count) return qvFailed;
    *count = static_cast<uint32_t>(GroupMeshes(*item).size());
    return qvOk;
}

QvResult DeformerService::GroupMeshByIndex(IQvItem* group, uint32_t index, IQvItem** mesh) {
    Item* item = ImplFrom<Item>(group);
    if (!item || !mesh) return qvFailed;
    std::vector<Item*> meshes = GroupMeshes(*item);
    if (index >= meshes.size()) return qvOutOfRange;
    return AnswerWith<IQvItem>(meshes[index], reinterpret_cast<void**>(mesh));
}

QvResult DeformerService::GroupDeformerOf(IQvItem* group, IQvChannelRead* channels,
                                          IQvGroupDeformer** out) {
    if (!ImplFrom<Item>(group) || !out) return qvFailed;
    Item* item = DeformGroup(group);
    if (!item) return qvNotFound;
    *out = new GroupDeformer(*item, ImplFrom<ChannelRead>(channels));
    return qvOk;
}

// A deformer that is itself a locator (a joint) is moved by itself; an influence by the locator
// that drives it.
QvResult DeformerService::DeformerLocator(IQvItem* deformer, IQvItem** locator) {
    Item* item = ImplFrom<Item>(deformer);
    if (!item || !locator) return qvFailed;
    Item* driver = item->IsA("locator") ? item : item->DriverLocator();
    if (!driver) return qvFalse;
    return AnswerWith<IQvItem>(driver, reinterpret_cast<void**>(locator));
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

CommandService::CommandService(Observation& observation, const MessageTables& tables)
    : Owned(observation), tables_(tables) {}

bool CommandService::Remove(const std::string& name) {
    if (name != kCmdExportTags) return false;
    absent_.push_back(name);
    return true;
}

QvResult CommandService::SpawnCommand(uint32_t, const char* name, IQvCommand** command) {
    if (!name || !command) return qvFailed;
    observation_.Count(std::string("SpawnCommand:") + name);
    if (std::find(absent_.begin(), absent_.end(), name) != absent_.end()) return qvNotFound;
    if (std::strcmp(name, kCmdExportTags) == 0) {
        *command = new ExportTagsCommand(tables_);
        return qvOk;
    }
    if (moduleCommands_) return moduleCommands_(name, command);
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
