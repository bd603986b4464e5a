#include "host/CQvThisModule.h"

#include "host/CQvGlobals.h"
#include "host/CQvImpl.h"
#include "qv/module.h"

#include <cstring>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace {

// The three parallel arrays of the server registry, grown in steps of 20 entries.
struct ServerRegistry {
    std::vector<std::unique_ptr<CQvPolymorphBase>> factories;
    std::vector<const char*> names;
    std::vector<uint32_t> flags;

    // Room is made before anything is added, so an append that runs out of memory adds nothing;
    // it then empties the registry, and the module starts over on the next create.
    QvResult Append(const char* name, std::unique_ptr<CQvPolymorphBase> factory, uint32_t flag) {
        if (IsFull()) {
            try {
                factories.reserve(factories.size() + 20);
                names.reserve(names.size() + 20);
                flags.reserve(flags.size() + 20);
            } catch (const std::bad_alloc&) {
                Clear();
                return qvOutOfMemory;
            }
        }
        factories.push_back(std::move(factory));
        names.push_back(name);
        flags.push_back(flag);
        return qvOk;
    }

    bool IsFull() const {
        return factories.size() == factories.capacity() || names.size() == names.capacity() ||
               flags.size() == flags.capacity();
    }

    void Clear() {
        factories.clear();
        names.clear();
        flags.clear();
    }

    int Find(const char* name) const {
        for (size_t i = 0; i < names.size(); ++i) {
            if (name && std::strcmp(names[i], name) == 0) return int(i);
        }
        return -1;
    }
};

ServerRegistry& Registry() {
    static ServerRegistry registry;
    return registry;
}

std::vector<void (*)()>& StartList() {
    static std::vector<void (*)()> starts;
    return starts;
}

bool firstCall = true;

// The module object: lists and makes servers, and takes the host's global object.
class CQvModuleObject final : public IQvModule,
                              public IQvTagDescription,
                              public IQvNeedContext,
                              private CQvRefCount {
public:
    QvResult QueryInterface(const QvGuid& id, void** out) override {
        if (id == IQvUnknown::iid || id == IQvModule::iid) {
            *out = static_cast<IQvModule*>(this);
        } else if (id == IQvTagDescription::iid) {
            *out = static_cast<IQvTagDescription*>(this);
        } else if (id == IQvNeedContext::iid) {
            *out = static_cast<IQvNeedContext*>(this);
        } else {
            return qvNoInterface;
        }
        AddRef();
        return qvOk;
    }
    uint32_t AddRef() override { return AddRefImpl(); }
    uint32_t Release() override { return ReleaseImpl(); }

    QvResult ServerCount(uint32_t* count) override {
        *count = uint32_t(Registry().names.size());
        return qvOk;
    }
    QvResult ServerName(uint32_t index, const char** name) override {
        if (index >= Registry().names.size()) return qvOutOfRange;
        *name = Registry().names[index];
        return qvOk;
    }
    QvResult Generate(const char* serverName, const QvGuid& id, void** out) override {
        int index = Registry().Find(serverName);
        if (index < 0) return qvNotFound;
        // A server whose factory could not be made stays listed and makes nothing.
        CQvPolymorphBase* factory = Registry().factories[size_t(index)].get();
        return factory ? factory->Spawn(id, out) : qvOutOfMemory;
    }

    // The module as a whole carries no tags.
    QvResult TagCount(uint32_t* count) override {
        *count = 0;
        return qvOk;
    }
    QvResult TagDescribe(uint32_t, QvTagRow*) override { return qvOutOfRange; }

    QvResult SetContext(IQvGlobal* global) override {
        CQvGlobals::SetGlobal(global);
        return qvOk;
    }
};

} // namespace

QvResult AddServer(const char* name, std::unique_ptr<CQvPolymorphBase> factory, uint32_t flags) {
    return Registry().Append(name, std::move(factory), flags);
}

QvResult AddModuleStart(void (*start)()) {
    try {
        StartList().push_back(start);
        return qvOk;
    } catch (const std::bad_alloc&) {
        return qvOutOfMemory;
    }
}

namespace {

// Registers the servers and runs the start functions. A failure leaves no server registered, so
// that the next create starts over.
QvResult StartModule() {
    QvResult result = CQvRegisterServers();
    if (QvSucceeded(result)) {
        try {
            for (auto start : StartList())
                start();
        } catch (const std::bad_alloc&) {
            result = qvOutOfMemory;
        } catch (...) {
            result = qvFailed;
        }
    }
    if (QvFailed(result)) Registry().Clear();
    return result;
}

} // namespace

IQvUnknown* CQvModuleCreate() {
    // Nothing may cross the boundary as an exception: on any failure the host sees no module.
    if (firstCall) {
        if (QvFailed(StartModule())) return nullptr;
        firstCall = false;
    }
    // The module object deletes itself on its last Release.
    auto* module = new (std::nothrow) CQvModuleObject();
    return module ? static_cast<IQvModule*>(module) : nullptr;
}
