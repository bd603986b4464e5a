#include "ModuleHost.h"

#include "HostPath.h"
#include "SceneHost.h"

#include <dlfcn.h>

#include <cctype>

namespace scenehost {

ModuleHost::ModuleHost(SceneHost& host) : host_(host) {}

ModuleHost::~ModuleHost() {
    Unload();
}

bool ModuleHost::Load(const std::string& path, std::string* error) {
    Unload();
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) {
        if (error) *error = "cannot load plug-in " + path + ": " + dlerror();
        return false;
    }
    auto create = reinterpret_cast<QvModuleCreateFn>(dlsym(library, QV_MODULE_ENTRY_NAME));
    if (!create) {
        if (error) *error = "plug-in " + path + " has no " + QV_MODULE_ENTRY_NAME;
        dlclose(library);
        return false;
    }
    library_ = library;
    IQvUnknown* moduleObject = create();
    if (!moduleObject) {
        if (error) *error = "plug-in " + path + ": " + QV_MODULE_ENTRY_NAME + " returned nothing";
        Unload();
        return false;
    }
    return Bind(moduleObject, error);
}

bool ModuleHost::Attach(IQvUnknown* moduleObject, std::string* error) {
    Unload();
    if (!moduleObject) {
        if (error) *error = "no module object";
        return false;
    }
    return Bind(moduleObject, error);
}

// The module gets the global object before it is asked anything, as the application does it.
bool ModuleHost::Bind(IQvUnknown* moduleObject, std::string* error) {
    ComRef<IQvUnknown> object(moduleObject, false);
    ComRef<IQvNeedContext> needContext;
    if (QvSucceeded(object->QueryInterface(IQvNeedContext::iid, needContext.outVoid())) &&
        needContext) {
        QvResult r = needContext->SetContext(host_.Global());
        if (QvFailed(r)) {
            if (error) *error = "the module refused the host's context";
            Unload();
            return false;
        }
    }
    if (QvFailed(object->QueryInterface(IQvModule::iid, module_.outVoid())) || !module_) {
        if (error) *error = "the module object has no module interface";
        Unload();
        return false;
    }
    // Commands the host lacks come from the module's servers that are commands.
    host_.SetModuleCommands([this](const char* name, IQvCommand** command) {
        if (!module_ ||
            QvFailed(module_->Generate(name, IQvCommand::iid, reinterpret_cast<void**>(command))))
            return qvNotFound;
        return qvOk;
    });
    return true;
}

void ModuleHost::Unload() {
    if (module_) {
        host_.SetModuleCommands(nullptr);
        host_.ReleaseLoadOptions(); // the object's code goes with the module
    }
    module_ = ComRef<IQvModule>();
    if (library_) dlclose(library_);
    library_ = nullptr;
}

std::vector<std::string> ModuleHost::ServerNames() {
    std::vector<std::string> names;
    uint32_t count = 0;
    if (!module_ || QvFailed(module_->ServerCount(&count))) return names;
    for (uint32_t i = 0; i < count; ++i) {
        const char* name = nullptr;
        if (QvSucceeded(module_->ServerName(i, &name)) && name) names.emplace_back(name);
    }
    return names;
}

std::vector<ServerTag> ModuleHost::ServerTags(const std::string& server) {
    std::vector<ServerTag> tags;
    ComRef<IQvUnknown> object;
    ComRef<IQvTagDescription> description;
    if (!module_ ||
        QvFailed(module_->Generate(server.c_str(), IQvUnknown::iid, object.outVoid())) || !object ||
        QvFailed(object->QueryInterface(IQvTagDescription::iid, description.outVoid())))
        return tags;
    uint32_t count = 0;
    if (QvFailed(description->TagCount(&count))) return tags;
    for (uint32_t i = 0; i < count; ++i) {
        QvTagRow row{nullptr, nullptr, nullptr};
        if (QvFailed(description->TagDescribe(i, &row))) continue;
        tags.push_back({row.key ? row.key : "", row.value ? row.value : "", row.type != nullptr});
    }
    return tags;
}

namespace {
std::string Lower(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}
} // namespace

std::string ModuleHost::SaverForExtension(const std::string& extension) {
    for (const std::string& server : ServerNames())
        for (const ServerTag& tag : ServerTags(server))
            if (tag.key == qvTagSaverDosType && Lower(tag.value) == Lower(extension)) return server;
    return "";
}

std::string ModuleHost::ExtensionOf(const std::string& path) {
    size_t slash = path.find_last_of("/\\");
    size_t dot = path.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
    return path.substr(dot + 1);
}

QvResult ModuleHost::Save(const std::string& server, const std::string& path, bool withMonitor) {
    if (!module_) return qvFailed;
    ComRef<IQvSaver> saver;
    QvResult made = module_->Generate(server.c_str(), IQvSaver::iid, saver.outVoid());
    if (QvFailed(made) || !saver) return QvFailed(made) ? made : qvNoInterface;

    // The application asks first whether the scene can be saved; a refusal is shown to the
    // user with the saver's message and ends the save.
    ComRef<Message> message(new Message(host_.Messages()), false);
    QvResult verified = saver->Verify(host_.SceneObject(), static_cast<IQvMessage*>(message.get()));
    if (QvFailed(verified)) {
        host_.ShowMessage(*message.get());
        return verified;
    }

    std::string hostPath = ToHostPath(path);
    return saver->Save(host_.SceneObject(), hostPath.c_str(),
                       withMonitor ? host_.Monitor() : nullptr);
}

} // namespace scenehost
