// The scene host: a small, faithful stand-in for Vorn that serves every host interface from a
// scene held in memory. This header is the one a test includes.
//
//     SceneHost host;
//     Scene& scene = host.Scene();
//     Item& cube = scene.AddItem("mesh", "Cube").Position(0, 1, 0);
//     scene.AddItem("locator", "Child", cube).Rotation(0, 90, 0);
//     host.SetUserInt("sceneio.gltf.save.exportType", 1);
//     host.Select(cube);
//     ModuleHost plugin(host);                       // ModuleHost.h
//     plugin.Load(pluginPath, &error);               // or Attach(moduleObject, &error)
//     QvResult r = plugin.Save("gltf.bin", "out/cube.glb");
//     EXPECT_EQ(host.Count("UserValueLookup:sceneio.gltf.save.exportType"), 1);
//     EXPECT_EQ(host.LogOf("logsys").size(), 0u);
//
// A material is a mask whose "ptag" names the polygons' material tag, with its layers as its
// children in order (index 0 at the bottom of the shader tree); image maps take an image file and
// a texture locator:
//     Item& mask = scene.AddItem("mask", "Wood (Material)").Set("ptag", "Wood");
//     scene.AddItem("glTFShader", "Wood glTF", mask).Set("roughness", 0.4);
//     Item& place = scene.AddItem("txtrLocator", "Wood Locator").Set("uvMap", "UVMap");
//     scene.AddItem("imageMap", "Wood (Image)", mask).SetImage(dir + "/wood.png")
//         .Set("effect", "baseColorGLTF").Set("swizzling", 1).SetTextureLocator(place);
//
// Animation: keys per action on number channels (a locator's "pos.X" to "scl.Z" key its own
// transform items), clips that bring their own keys, and world-matrix tracks; a plug-in reads them
// through an evaluated reader at each time it samples:
//     Item& walk = scene.AddItem("actionclip", "Walk").ExportTag("loop;");
//     Item& ball = scene.AddItem("locator", "Ball").Key("pos.Y", 0.0, 0.0).Key("pos.Y", 1.0, 2.0);
//     ball.Key("pos.Y", 0.0, 0.0, walk.Ident())
//         .Key("pos.Y", 0.5, 1.0, walk.Ident(), Interp::Stepped);
//     scene.AddItem("locator", "Hand", ball).WorldTrackKey(0.0, Identity()).WorldTrackKey(1.0, m);
//
// The parts: Scene and Item (Scene.h, Item.h) hold the scene and its builder calls; MeshData.h
// and MeshGenerate.h the geometry of mesh items (MeshObjects.h how a plug-in sees it); ChannelRead
// (ChannelRead.h) tells where a value comes from; Envelopes.h how keys evaluate; Transforms.h how
// world matrices are made; HostCommands.h the commands a plug-in can spawn; LogService.h and
// Messages.h what the log records; SceneFile.h reads scene files.
//
// Lifetime: the host owns everything it hands out except the global object, which a plug-in may
// keep past the host (HostGlobal). Destroy a ModuleHost before the SceneHost it serves.
#pragma once

#include "ChannelRead.h"
#include "Envelopes.h"
#include "HostCommands.h"
#include "HostServices.h"
#include "Item.h"
#include "LogService.h"
#include "MeshData.h"
#include "MeshGenerate.h"
#include "Messages.h"
#include "Observation.h"
#include "Persistence.h"
#include "Scene.h"
#include "Selection.h"
#include "Transforms.h"

// Every interface of the contract, so that a test that includes this header can call them all.
#include "qv/anim.h"
#include "qv/command.h"
#include "qv/deform.h"
#include "qv/log.h"
#include "qv/mesh.h"
#include "qv/module.h"
#include "qv/scene.h"
#include "qv/shade.h"
#include "qv/value.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace scenehost {

class SceneHost {
public:
    SceneHost();
    ~SceneHost();
    SceneHost(const SceneHost&) = delete;
    SceneHost& operator=(const SceneHost&) = delete;

    // ---- The scene: items, graphs, render cameras (builder calls in Scene.h and Item.h) ----
    scenehost::Scene& Scene() { return *scene_; }

    // ---- User values: integers, or text that GetInt cannot read ----
    void SetUserInt(const std::string& name, int32_t value) { userValues_->SetInt(name, value); }
    void SetUserString(const std::string& name, const std::string& text) {
        userValues_->SetString(name, text);
    }
    void RemoveUserValue(const std::string& name) { userValues_->Remove(name); }
    // The integer user value `name`, or `fallback` when there is none or it is text.
    int32_t UserInt(const std::string& name, int32_t fallback) const;

    // ---- Selection, in the order of the calls ----
    void Select(Item& item) { selection_->Select(item); }
    void Deselect(Item& item) { selection_->Deselect(item); }
    void ClearSelection() { selection_->Clear(); }
    std::vector<Item*> Selection() const { return selection_->Selected(); }

    // ---- Log, message boxes, messages, platform ----
    void AddLogSubsystem(const std::string& name) { log_->AddSubsystem(name); }
    void RemoveLogSubsystem(const std::string& name) { log_->RemoveSubsystem(name); }
    const std::vector<LogRecord>& Log() const { return logBook_.Records(); }
    std::vector<LogRecord> LogOf(const std::string& subsystem) const;
    std::vector<std::string> LogTexts(const std::string& level = "") const; // all levels if empty
    const std::vector<MessageBoxRecord>& MessageBoxes() const { return boxes_->Boxes(); }
    void SetLogListener(std::function<void(const LogRecord&)> listener);
    MessageTables& Messages() { return tables_; }
    // Shows a message box as the application does for its own messages.
    void ShowMessage(Message& message) { boxes_->ShowMessage(&message, nullptr, nullptr, nullptr); }
    PlatformFacts& Platform() { return platform_->Facts(); }

    // ---- Commands (HostCommands.h) ----
    // Makes a command absent, so that its spawn fails as in a host without it; throws
    // std::invalid_argument for a command the host does not have.
    void RemoveCommand(const std::string& name);

    // ---- Persistent configuration and handed-over load options (Persistence.h) ----
    PersistenceService& Persistence() { return *persistence_; }
    IQvUnknown* LoadOptions() const { return loadOptions_->Held(); } // no new reference
    // Lets go of the handed-over options; done before their module is unloaded.
    void ReleaseLoadOptions() { loadOptions_->SetOptions(nullptr); }
    // Commands of the loaded module that the command service spawns after its own (ModuleHost).
    void SetModuleCommands(std::function<QvResult(const char*, IQvCommand**)> spawn);

    // ---- Observation ----
    int Count(const std::string& key) const { return observation_.CountOf(key); }
    const std::map<std::string, int>& Counters() const { return observation_.counters; }
    void ResetCounters() { observation_.counters.clear(); }
    // Counting host calls is on by default; off, Count() and Counters() stay empty.
    void SetCounting(bool on) { observation_.counting = on; }
    // References held on host-owned objects; 0 once a plug-in has released all it took.
    int HeldReferences() const { return observation_.heldReferences; }
    const MonitorRecord& MonitorCalls() const { return observation_.monitor; }

    // ---- What a plug-in is handed (no new references) ----
    IQvGlobal* Global() const { return global_; }
    IQvUnknown* SceneObject() { return static_cast<IQvScene*>(scene_.get()); }
    IQvMonitor* Monitor() { return monitor_.get(); }
    // The service of an interface identifier, as the global object answers it.
    QvResult LookupService(const QvGuid& id, void** out);

private:
    Observation observation_;
    LogBook logBook_;
    MessageTables tables_;
    std::unique_ptr<scenehost::Scene> scene_;
    std::unique_ptr<SceneService> sceneService_;
    std::unique_ptr<DeformerService> deformers_;
    std::unique_ptr<SelectionService> selection_;
    std::unique_ptr<LogService> log_;
    std::unique_ptr<MessageService> messages_;
    std::unique_ptr<MessageBoxService> boxes_;
    std::unique_ptr<PlatformService> platform_;
    std::unique_ptr<UserValueService> userValues_;
    std::unique_ptr<CommandService> commands_;
    std::unique_ptr<RecordingMonitor> monitor_;
    std::unique_ptr<PersistenceService> persistence_;
    std::unique_ptr<LoadOptionsService> loadOptions_;
    HostGlobal* global_;
};

} // namespace scenehost
