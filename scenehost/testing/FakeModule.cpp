// A small plug-in module for the scene host's own tests: loaded from its file like any plug-in,
// it lets the loader, ModuleHost and qvhost be checked end to end without the real plug-in.
//
// Servers: "fake.command" (no tags) and "fake.save", a saver of ".fake" files that lists the
// scene's items, one "type name" line each. User values steer it: "fake.fail" 1 makes Save log an
// error and fail, "fake.refuse" 1 makes Verify refuse with a message.
#include "qv/core.h"
#include "qv/log.h"
#include "qv/module.h"
#include "qv/scene.h"
#include "qv/value.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

IQvGlobal* hostGlobal = nullptr;

template <class I> I* Service() {
    void* out = nullptr;
    if (!hostGlobal || QvFailed(hostGlobal->LookupService(I::iid, &out))) return nullptr;
    return static_cast<I*>(out);
}

int32_t UserInt(const char* name) {
    int32_t value = 0;
    if (IQvUserValueService* values = Service<IQvUserValueService>()) {
        IQvUserValue* v = nullptr;
        if (QvSucceeded(values->UserValueLookup(name, &v))) {
            v->GetInt(&value);
            v->Release();
        }
        values->Release();
    }
    return value;
}

// Adds an entry to a subsystem, with an optional child entry.
void Log(const char* subsystem, QvResult code, const char* text, const char* child) {
    IQvLogService* logs = Service<IQvLogService>();
    if (!logs) return;
    IQvLog* log = nullptr;
    IQvLogEntry* entry = nullptr;
    if (QvSucceeded(logs->SubsystemLookup(subsystem, &log)) &&
        QvSucceeded(logs->CreateEntry(code, text, &entry))) {
        log->AddEntry(entry);
        IQvLogEntry* sub = nullptr;
        if (child && QvSucceeded(logs->CreateEntry(qvInfo, child, &sub))) {
            entry->AddChild(sub);
            sub->Release();
        }
    }
    if (entry) entry->Release();
    if (log) log->Release();
    logs->Release();
}

// Writes "type name" for every item of the scene; the number of items, or -1.
int WriteItems(IQvScene* scene, const std::string& path) {
    IQvSceneService* types = Service<IQvSceneService>();
    std::FILE* file = std::fopen(path.c_str(), "wb");
    uint32_t count = 0;
    int written = -1;
    if (types && file && QvSucceeded(scene->ItemCount(qvAllTypes, &count))) {
        for (uint32_t i = 0; i < count; ++i) {
            IQvItem* item = nullptr;
            if (QvFailed(scene->ItemByIndex(qvAllTypes, i, &item))) continue;
            QvTypeCode code = 0;
            const char* typeName = "?";
            const char* name = "?";
            item->ItemType(&code);
            types->ItemTypeName(code, &typeName);
            item->Name(&name);
            std::fprintf(file, "%s %s\n", typeName, name);
            item->Release();
        }
        written = static_cast<int>(count);
    }
    if (file && std::fclose(file) != 0) written = -1;
    if (types) types->Release();
    return written;
}

class FakeSaver final : public IQvSaver, public IQvTagDescription {
public:
    QvResult QueryInterface(const QvGuid& id, void** out) override {
        if (id == IQvUnknown::iid || id == IQvSaver::iid)
            *out = static_cast<IQvSaver*>(this);
        else if (id == IQvTagDescription::iid)
            *out = static_cast<IQvTagDescription*>(this);
        else
            return qvNoInterface;
        AddRef();
        return qvOk;
    }
    uint32_t AddRef() override { return ++refs_; }
    uint32_t Release() override {
        uint32_t left = --refs_;
        if (!left) delete this;
        return left;
    }

    QvResult TagCount(uint32_t* count) override {
        *count = 4;
        return qvOk;
    }
    QvResult TagDescribe(uint32_t index, QvTagRow* row) override {
        static const char* const rows[4][2] = {{qvTagSaverOutClass, qvSaverClassScene},
                                               {qvTagSaverDosType, "fake"},
                                               {qvTagServerUserName, "Fake .fake"},
                                               {qvTagServerLogSubsystem, qvLogIoStatus}};
        if (index >= 4) return qvOutOfRange;
        *row = {nullptr, rows[index][0], rows[index][1]};
        return qvOk;
    }

    QvResult Verify(IQvUnknown*, IQvUnknown* message) override {
        if (UserInt("fake.refuse") != 1) return qvOk;
        IQvMessage* m = nullptr;
        if (message &&
            QvSucceeded(message->QueryInterface(IQvMessage::iid, reinterpret_cast<void**>(&m)))) {
            m->SetCode(qvFailed);
            m->SetMessage(qvMsgTableCommon, nullptr, qvMsgCommonArgument);
            m->SetArgumentString(1, "refused by the fake saver");
            m->Release();
        }
        return qvFailed;
    }

    QvResult Save(IQvUnknown* source, const char* path, IQvUnknown* monitor) override {
        IQvScene* scene = nullptr;
        if (!source ||
            QvFailed(source->QueryInterface(IQvScene::iid, reinterpret_cast<void**>(&scene))))
            return qvSceneUnusable;
        IQvMonitor* progress = nullptr;
        if (monitor && QvSucceeded(monitor->QueryInterface(IQvMonitor::iid,
                                                           reinterpret_cast<void**>(&progress)))) {
            progress->Initialize(1);
            progress->Step(1);
            progress->Release();
        }
        QvResult result = qvOk;
        if (UserInt("fake.fail") == 1) {
            Log(qvLogSys, qvFailed, "fake failure requested", nullptr);
            result = qvFailed;
        } else {
            std::string own(path); // the host speaks backslashes
            std::replace(own.begin(), own.end(), '\\', '/');
            int count = WriteItems(scene, own);
            std::string line = "wrote " + std::to_string(count) + " items to " + path;
            Log(qvLogIoStatus, qvInfo, "fake: save", line.c_str());
            if (count < 0) result = qvFailed;
        }
        scene->Release();
        return result;
    }

private:
    uint32_t refs_ = 1;
};

class FakeModule final : public IQvModule, public IQvNeedContext {
public:
    QvResult QueryInterface(const QvGuid& id, void** out) override {
        if (id == IQvUnknown::iid || id == IQvModule::iid)
            *out = static_cast<IQvModule*>(this);
        else if (id == IQvNeedContext::iid)
            *out = static_cast<IQvNeedContext*>(this);
        else
            return qvNoInterface;
        AddRef();
        return qvOk;
    }
    uint32_t AddRef() override { return ++refs_; }
    uint32_t Release() override {
        uint32_t left = --refs_;
        if (!left) delete this;
        return left;
    }

    QvResult SetContext(IQvGlobal* global) override {
        if (global) global->AddRef();
        if (hostGlobal) hostGlobal->Release();
        hostGlobal = global;
        return qvOk;
    }
    QvResult ServerCount(uint32_t* count) override {
        *count = 2;
        return qvOk;
    }
    QvResult ServerName(uint32_t index, const char** name) override {
        if (index >= 2) return qvOutOfRange;
        *name = index == 0 ? "fake.command" : "fake.save";
        return qvOk;
    }
    QvResult Generate(const char* serverName, const QvGuid& id, void** out) override {
        if (std::strcmp(serverName, "fake.save") != 0) return qvNotFound;
        FakeSaver* saver = new FakeSaver;
        QvResult r = saver->QueryInterface(id, out);
        saver->Release();
        return r;
    }

    ~FakeModule() {
        if (hostGlobal) hostGlobal->Release();
        hostGlobal = nullptr;
    }

private:
    uint32_t refs_ = 1;
};

} // namespace

extern "C" __attribute__((visibility("default"))) IQvUnknown* _IQvModule_Create() {
    return static_cast<IQvModule*>(new FakeModule);
}
