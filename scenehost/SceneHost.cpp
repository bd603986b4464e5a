#include "SceneHost.h"

#include <stdexcept>

namespace scenehost {

SceneHost::SceneHost()
    : scene_(std::make_unique<scenehost::Scene>(observation_)),
      sceneService_(std::make_unique<SceneService>(observation_, *scene_)),
      deformers_(std::make_unique<DeformerService>(observation_)),
      selection_(std::make_unique<SelectionService>(observation_)),
      log_(std::make_unique<LogService>(observation_, logBook_)),
      messages_(std::make_unique<MessageService>(observation_, tables_)),
      boxes_(std::make_unique<MessageBoxService>(observation_, logBook_)),
      platform_(std::make_unique<PlatformService>(observation_)),
      userValues_(std::make_unique<UserValueService>(observation_)),
      commands_(std::make_unique<CommandService>(observation_, tables_)),
      monitor_(std::make_unique<RecordingMonitor>(observation_)),
      persistence_(std::make_unique<PersistenceService>(observation_)),
      loadOptions_(std::make_unique<LoadOptionsService>(observation_)),
      global_(new HostGlobal(this)) {}

void SceneHost::SetModuleCommands(std::function<QvResult(const char*, IQvCommand**)> spawn) {
    commands_->SetModuleCommands(std::move(spawn));
}

SceneHost::~SceneHost() {
    global_->Detach();
    global_->Release();
}

std::vector<LogRecord> SceneHost::LogOf(const std::string& subsystem) const {
    std::vector<LogRecord> records;
    for (const LogRecord& r : Log())
        if (r.subsystem == subsystem) records.push_back(r);
    return records;
}

std::vector<std::string> SceneHost::LogTexts(const std::string& level) const {
    std::vector<std::string> texts;
    for (const LogRecord& r : Log())
        if (level.empty() || r.level == level) texts.push_back(r.text);
    return texts;
}

void SceneHost::RemoveCommand(const std::string& name) {
    if (!commands_->Remove(name))
        throw std::invalid_argument("no command '" + name + "' (known: " + kCmdExportTags + ")");
}

void SceneHost::SetLogListener(std::function<void(const LogRecord&)> listener) {
    logBook_.SetListener(std::move(listener));
}

namespace {

struct ServiceEntry {
    const QvGuid* id;
    const char* name;
};

// The services by identifier, with the names the counters use.
constexpr ServiceEntry kServices[] = {
    {&IQvSceneService::iid, "scene"},
    {&IQvDeformerService::iid, "deformer"},
    {&IQvSelectionService::iid, "selection"},
    {&IQvLogService::iid, "log"},
    {&IQvMessageService::iid, "message"},
    {&IQvMessageBoxService::iid, "messageBox"},
    {&IQvPlatformService::iid, "platform"},
    {&IQvUserValueService::iid, "userValue"},
    {&IQvCommandService::iid, "command"},
    {&IQvPersistenceService::iid, "persistence"},
    {&IQvLoadOptionsService::iid, "loadOptions"},
};

} // namespace

QvResult SceneHost::LookupService(const QvGuid& id, void** out) {
    if (!out) return qvFailed;
    const char* name = "unknown";
    for (const ServiceEntry& s : kServices)
        if (*s.id == id) name = s.name;
    observation_.Count(std::string("LookupService:") + name);

    if (id == IQvSceneService::iid) return AnswerWith<IQvSceneService>(sceneService_.get(), out);
    if (id == IQvDeformerService::iid) return AnswerWith<IQvDeformerService>(deformers_.get(), out);
    if (id == IQvSelectionService::iid)
        return AnswerWith<IQvSelectionService>(selection_.get(), out);
    if (id == IQvLogService::iid) return AnswerWith<IQvLogService>(log_.get(), out);
    if (id == IQvMessageService::iid) return AnswerWith<IQvMessageService>(messages_.get(), out);
    if (id == IQvMessageBoxService::iid) return AnswerWith<IQvMessageBoxService>(boxes_.get(), out);
    if (id == IQvPlatformService::iid) return AnswerWith<IQvPlatformService>(platform_.get(), out);
    if (id == IQvUserValueService::iid)
        return AnswerWith<IQvUserValueService>(userValues_.get(), out);
    if (id == IQvCommandService::iid) return AnswerWith<IQvCommandService>(commands_.get(), out);
    if (id == IQvPersistenceService::iid)
        return AnswerWith<IQvPersistenceService>(persistence_.get(), out);
    if (id == IQvLoadOptionsService::iid)
        return AnswerWith<IQvLoadOptionsService>(loadOptions_.get(), out);
    return qvNotFound;
}

} // namespace scenehost

namespace scenehost {

int32_t SceneHost::UserInt(const std::string& name, int32_t fallback) const {
    auto it = userValues_->Values().find(name);
    return it != userValues_->Values().end() && it->second.isInteger ? it->second.integer
                                                                     : fallback;
}

} // namespace scenehost
