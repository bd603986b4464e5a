// Hosting a plug-in module: loading it from its file (or taking an in-process module object),
// handing it the host's global object, listing its servers and their tags, and running a saver
// on the host's scene as the application does.
//
//     ModuleHost plugin(host);
//     std::string error;
//     if (!plugin.Load("build/gltfio.qv", &error)) ...
//     std::string saver = plugin.SaverForExtension("glb");   // through "saver.dosType"
//     QvResult r = plugin.Save(saver, "out/scene.glb");      // the path as the OS names it
//
// A ModuleHost holds one module at a time and must be destroyed before its SceneHost.
#pragma once

#include "ComBase.h"

#include "qv/module.h"

#include <string>
#include <vector>

namespace scenehost {

class SceneHost;

struct ServerTag {
    std::string key;
    std::string value;
    bool forInterface = false; // the row describes one interface of the server, not the whole
};

class ModuleHost {
public:
    explicit ModuleHost(SceneHost& host);
    ~ModuleHost();
    ModuleHost(const ModuleHost&) = delete;
    ModuleHost& operator=(const ModuleHost&) = delete;

    // Loads a module file: dlopen, `_IQvModule_Create`, then SetContext with the host's global
    // object through IQvNeedContext before anything else is asked. False with a reason when any
    // step fails; nothing stays loaded then.
    bool Load(const std::string& path, std::string* error);
    // The same for a module object made in this process; takes over the caller's reference.
    bool Attach(IQvUnknown* moduleObject, std::string* error);
    // Releases the module object and unloads the file.
    void Unload();
    bool Loaded() const { return static_cast<bool>(module_); }

    // Server names in the module's order.
    std::vector<std::string> ServerNames();
    // The tag rows of a server, in its order; empty when it has no tag description.
    std::vector<ServerTag> ServerTags(const std::string& server);
    // The first server whose "saver.dosType" tag equals the extension (no dot, case ignored);
    // empty when none does.
    std::string SaverForExtension(const std::string& extension);
    // The extension of a file name, without the dot; empty when it has none.
    static std::string ExtensionOf(const std::string& path);

    // Runs a saver as the application does: Verify, then Save with the host's scene as source,
    // `path` in host form (ToHostPath) and the host's monitor when asked for. A Verify that
    // fails is shown as a message box and its result returned without saving. A server that
    // cannot be made a saver gives qvNoInterface.
    QvResult Save(const std::string& server, const std::string& path, bool withMonitor = false);

private:
    bool Bind(IQvUnknown* moduleObject, std::string* error);

    SceneHost& host_;
    void* library_ = nullptr; // dlopen handle, null for an in-process module
    ComRef<IQvModule> module_;
};

} // namespace scenehost
