// The host's smaller services: item types (scene service), deformers, user values, platform
// facts and commands; and the global object through which a plug-in finds every service.
#pragma once

#include "ComBase.h"

#include "qv/command.h"
#include "qv/deform.h"
#include "qv/log.h"
#include "qv/module.h"
#include "qv/scene.h"
#include "qv/value.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace scenehost {

class Scene;
class SceneHost;
class MessageTables;

class SceneService final : public Owned<IQvSceneService> {
public:
    SceneService(Observation& observation, Scene& scene);
    QvResult ItemTypeLookup(const char* name, QvTypeCode* code) override;
    QvResult ItemTypeName(QvTypeCode code, const char** name) override;
    QvResult ItemTypeSuper(QvTypeCode code, QvTypeCode* super) override;
    QvResult InstanceSource(IQvItem* instance, IQvItem** source) override;
    QvResult ReplicatorEnumerator(IQvItem* replicator, IQvReplicatorEnumerator** out) override;

private:
    Scene& scene_;
};

// Deform groups list their meshes through the "deformers" item graph and their joints in order
// (Item::AddJoint). A joint is an influence item, moved by a locator (Item::DrivenByLocator), or
// a locator, which moves itself. The weights of a joint on a mesh are the mesh's "WGHT" map that
// the influence's "name" channel names when its "type" channel is 1, as read by the channel
// reader handed to GroupDeformerOf; a locator joint weighs nothing.
class DeformerService final : public Owned<IQvDeformerService> {
public:
    using Owned::Owned;
    QvResult GroupMeshCount(IQvItem* group, uint32_t* count) override;
    QvResult GroupMeshByIndex(IQvItem* group, uint32_t index, IQvItem** mesh) override;
    QvResult GroupDeformerOf(IQvItem* group, IQvChannelRead* channels,
                             IQvGroupDeformer** out) override;
    QvResult DeformerLocator(IQvItem* deformer, IQvItem** locator) override;
};

// A user value is an integer or a text; GetInt fails on a text, which is how a plug-in meets a
// value it cannot read.
struct UserValueEntry {
    bool isInteger = true;
    int32_t integer = 0;
    std::string text;
};

class UserValueService final : public Owned<IQvUserValueService> {
public:
    using Owned::Owned;
    void SetInt(const std::string& name, int32_t value);
    void SetString(const std::string& name, const std::string& text);
    void Remove(const std::string& name);
    const std::map<std::string, UserValueEntry>& Values() const { return values_; }

    QvResult UserValueLookup(const char* name, IQvUserValue** value) override;

private:
    std::map<std::string, UserValueEntry> values_;
};

struct PlatformFacts {
    std::string name = "Vorn";
    std::string version = "11.2";
    std::string build = "1407";
    std::string text1 = "Scene Host";
    std::string text2 = "x86-64";
};

class PlatformService final : public Owned<IQvPlatformService> {
public:
    using Owned::Owned;
    PlatformFacts& Facts() { return facts_; }

    QvResult PlatformName(const char** text) override;
    QvResult PlatformVersion(const char** text) override;
    QvResult PlatformBuild(const char** text) override;
    QvResult PlatformText1(const char** text) override;
    QvResult PlatformText2(const char** text) override;

private:
    PlatformFacts facts_;
};

// The host's commands (HostCommands.h): "item.exportTags". A spawn of any other name, or of a
// command the scene made absent, fails with qvNotFound as in a host that lacks the command.
class CommandService final : public Owned<IQvCommandService> {
public:
    CommandService(Observation& observation, const MessageTables& tables);
    // Makes a command absent, as in a host without it; false for a name the host never had.
    bool Remove(const std::string& name);
    QvResult SpawnCommand(uint32_t flags, const char* name, IQvCommand** command) override;
    // The loaded module's commands, asked for a name the host does not have itself.
    void SetModuleCommands(std::function<QvResult(const char*, IQvCommand**)> spawn) {
        moduleCommands_ = std::move(spawn);
    }

private:
    std::function<QvResult(const char*, IQvCommand**)> moduleCommands_;
    const MessageTables& tables_;
    std::vector<std::string> absent_;
};

// A progress monitor that records what it is told (Observation::monitor).
class RecordingMonitor final : public Owned<IQvMonitor> {
public:
    using Owned::Owned;
    QvResult Initialize(uint32_t stepCount) override;
    QvResult Step(uint32_t steps) override;
};

// The global object. A plug-in keeps it for as long as it is loaded, possibly longer than the
// host it came from (a statically linked plug-in outlives each test's host), so it lives on its
// own count; when its host goes it is detached and answers no more services.
class HostGlobal final : public IQvGlobal {
public:
    explicit HostGlobal(SceneHost* host);
    void Detach() { host_ = nullptr; }

    QvResult QueryInterface(const QvGuid& id, void** out) override;
    uint32_t AddRef() override { return ++refs_; }
    uint32_t Release() override;
    QvResult LookupService(const QvGuid& serviceId, void** out) override;

private:
    ~HostGlobal();
    SceneHost* host_;
    uint32_t refs_ = 1;
};

} // namespace scenehost
