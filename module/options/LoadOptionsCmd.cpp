#include "options/LoadOptionsCmd.h"

#include "host/CQvGlobals.h"

#include <cstring>

namespace {

const std::vector<LoadOption> loadOptions = {
    {"mergeWithExistingItems", QV_TYPE_BOOLEAN, 0, {}},
    {"loadGeometry", QV_TYPE_BOOLEAN, 1, {}},
    {"loadNormals", QV_TYPE_BOOLEAN, 1, {}},
    {"loadMeshSmoothing", QV_TYPE_BOOLEAN, 1, {}},
    {"loadBlendShapes", QV_TYPE_BOOLEAN, 1, {}},
    {"loadPolygonParts", QV_TYPE_BOOLEAN, 1, {}},
    {"loadSelectionSets", QV_TYPE_BOOLEAN, 1, {}},
    {"loadMaterials", QV_TYPE_BOOLEAN, 1, {}},
    {"invertMatTranAmt", QV_TYPE_BOOLEAN, 0, {}},
    {"useMatTranColAsTranAmt", QV_TYPE_BOOLEAN, 0, {}},
    {"changeTextureEffect", QV_TYPE_BOOLEAN, 0, {}},
    {"loadCameras", QV_TYPE_BOOLEAN, 1, {}},
    {"loadLights", QV_TYPE_BOOLEAN, 1, {}},
    {"loadAnimation", QV_TYPE_BOOLEAN, 1, {}},
    {"loadSampleAnimation", QV_TYPE_BOOLEAN, 1, {}},
    {"loadSampleAnimationRate", QV_TYPE_INTEGER, 0, {{0, "1x FPS"}, {1, "2x FPS"}}},
    {"globalScalingFactor", QV_TYPE_FLOAT, 1.0, {}},
    // Deliberate: the first choice says "FBX" because the loader's users know it by that label.
    {"importUnits",
     QV_TYPE_INTEGER,
     0,
     {{0, "Use FBX file units"},
      {1, "Millimeters [mm]"},
      {2, "Decimeters [dm]"},
      {3, "Centimeters [cm]"},
      {4, "Meters [m]"},
      {5, "Kilometers [km]"},
      {6, "Inches"},
      {7, "Feet"},
      {8, "Yards"},
      {9, "Miles"}}},
};

constexpr const char* kPersistRoot = "gltfLoader";
constexpr const char* kPersistEntry = "gltfLoadOptions";

// The command and attribute faces of the server object.
class CQvIfc_Command final : public CQvFaceOf<IQvCommand> {
public:
    CQvIfc_Command(CQvServerObject& owner, LoadOptionsCmd& command)
        : CQvFaceOf<IQvCommand>(owner), command(command) {}
    QvResult Execute(uint32_t) override {
        return CQvNoThrow([&] { return command.Execute(); });
    }
    QvResult Query(uint32_t, IQvValueArray*) override { return qvNotFound; }
    QvResult Message(IQvMessage**) override { return qvNotFound; }
    QvResult ArgumentsChanged() override { return qvOk; }

private:
    LoadOptionsCmd& command;
};

class CQvIfc_Attributes final : public CQvFaceOf<IQvAttributes> {
public:
    CQvIfc_Attributes(CQvServerObject& owner, LoadOptionsCmd& command)
        : CQvFaceOf<IQvAttributes>(owner), command(command) {}
    QvResult Count(uint32_t* count) override {
        *count = command.Count();
        return qvOk;
    }
    QvResult Name(uint32_t index, const char** name) override {
        if (index >= command.Count()) return qvOutOfRange;
        *name = LoadOptionsCmd::Options()[index].name;
        return qvOk;
    }
    QvResult Lookup(const char* name, uint32_t* index) override {
        for (uint32_t i = 0; i < command.Count(); ++i) {
            if (std::strcmp(LoadOptionsCmd::Options()[i].name, name) == 0) {
                *index = i;
                return qvOk;
            }
        }
        return qvNotFound;
    }
    QvResult TypeName(uint32_t index, const char** typeName) override {
        if (index >= command.Count()) return qvOutOfRange;
        *typeName = LoadOptionsCmd::Options()[index].typeName;
        return qvOk;
    }
    QvResult GetInt(uint32_t index, int32_t* value) override {
        if (index >= command.Count()) return qvOutOfRange;
        *value = int32_t(command.Value(index));
        return qvOk;
    }
    QvResult SetInt(uint32_t index, int32_t value) override { return SetDouble(index, value); }
    QvResult GetDouble(uint32_t index, double* value) override {
        if (index >= command.Count()) return qvOutOfRange;
        *value = command.Value(index);
        return qvOk;
    }
    QvResult SetDouble(uint32_t index, double value) override {
        if (index >= command.Count()) return qvOutOfRange;
        if (!command.IsEnabled(index)) return qvArgDisabled;
        command.SetValue(index, value);
        return qvOk;
    }
    QvResult GetString(uint32_t, char*, uint32_t) override { return qvNotFound; }
    QvResult SetString(uint32_t, const char*) override { return qvNotFound; }
    QvResult Value(uint32_t, int32_t, IQvValueReference**) override { return qvNotFound; }

private:
    LoadOptionsCmd& command;
};

class CQvIfc_AttributesUI final : public CQvFaceOf<IQvAttributesUI> {
public:
    CQvIfc_AttributesUI(CQvServerObject& owner, LoadOptionsCmd& command)
        : CQvFaceOf<IQvAttributesUI>(owner), command(command) {}
    QvResult DisableMsg(uint32_t index, IQvMessage* message) override {
        if (index >= command.Count()) return qvOutOfRange;
        if (command.IsEnabled(index)) return qvOk;
        if (message) message->SetCode(qvArgDisabled);
        return qvArgDisabled;
    }
    QvResult HintCount(uint32_t index, uint32_t* count) override {
        if (index >= command.Count()) return qvOutOfRange;
        *count = uint32_t(LoadOptionsCmd::Options()[index].hints.size());
        return qvOk;
    }
    QvResult HintByIndex(uint32_t index, uint32_t hint, QvChoiceHint* out) override {
        if (index >= command.Count()) return qvOutOfRange;
        const auto& hints = LoadOptionsCmd::Options()[index].hints;
        if (hint >= hints.size()) return qvOutOfRange;
        *out = hints[hint];
        return qvOk;
    }
    QvResult ControlType(uint32_t index, const char** type) override {
        if (index >= command.Count()) return qvOutOfRange;
        if (LoadOptionsCmd::Options()[index].hints.empty()) return qvNotFound;
        *type = "iPopChoice";
        return qvOk;
    }

private:
    LoadOptionsCmd& command;
};

} // namespace

QvResult LoadPersistOptionsVisitor::Evaluate() {
    return CQvNoThrow([&] {
        if (QvResult r = service->PersistStart(kPersistEntry, qvPersistSingle); QvFailed(r))
            return r;
        entries->clear();
        for (const LoadOption& option : loadOptions) {
            QvResult r = service->PersistStart(option.name, qvPersistSingle);
            if (QvSucceeded(r)) r = service->PersistAddValue(option.typeName);
            CQvUser_PersistentEntry entry;
            QvResult end = service->PersistEnd(entry.out());
            if (QvFailed(r) || QvFailed(end)) return QvFailed(r) ? r : end;
            entries->push_back(std::move(entry));
        }
        CQvUser_PersistentEntry top;
        return service->PersistEnd(top.out());
    });
}

// Defaults first, then what the last session kept.
LoadOptionsCmd::LoadOptionsCmd() {
    for (const LoadOption& option : loadOptions)
        values.push_back(option.defaultValue);
    if (!Persisted()) return;
    for (size_t i = 0; i < loadOptions.size(); ++i) {
        IQvPersistentEntry* entry = entries[i].get();
        if (std::strcmp(loadOptions[i].typeName, QV_TYPE_FLOAT) == 0) {
            double value = 0;
            if (QvSucceeded(entry->GetDouble(&value))) values[i] = value;
        } else {
            int32_t value = 0;
            if (QvSucceeded(entry->GetInt(&value))) values[i] = value;
        }
    }
}

bool LoadOptionsCmd::Persisted() {
    if (configured) return entries.size() == loadOptions.size();
    configured = true;
    CQvUser_PersistenceService service;
    if (!CQvGlobals::LookupService(service)) return false;
    LoadPersistOptionsVisitor visitor(service.get(), &entries);
    if (QvFailed(service->PersistConfigure(kPersistRoot, &visitor))) entries.clear();
    return entries.size() == loadOptions.size();
}

LoadOptionsRecord LoadOptionsCmd::Record() const {
    auto flag = [&](const char* name) { return uint8_t(ValueOf(name) != 0); };
    LoadOptionsRecord r;
    r.loadGeometry = flag("loadGeometry");
    r.loadMaterials = flag("loadMaterials");
    r.loadCameras = flag("loadCameras");
    r.loadLights = flag("loadLights");
    r.loadMeshSmoothing = flag("loadMeshSmoothing");
    r.loadBlendShapes = flag("loadBlendShapes");
    r.loadPolygonParts = flag("loadPolygonParts");
    r.loadSelectionSets = flag("loadSelectionSets");
    r.loadAnimation = flag("loadAnimation");
    r.loadSampleAnimation = flag("loadSampleAnimation");
    r.loadNormals = flag("loadNormals");
    r.invertMatTranAmt = flag("invertMatTranAmt");
    r.useMatTranColAsTranAmt = flag("useMatTranColAsTranAmt");
    r.changeTextureEffect = flag("changeTextureEffect");
    r.loadSampleAnimationRate = int32_t(ValueOf("loadSampleAnimationRate"));
    r.mergeWithExistingItems = int32_t(ValueOf("mergeWithExistingItems"));
    r.globalScalingFactor = ValueOf("globalScalingFactor");
    r.importUnits = int32_t(ValueOf("importUnits"));
    return r;
}

const std::vector<LoadOption>& LoadOptionsCmd::Options() {
    return loadOptions;
}

double LoadOptionsCmd::ValueOf(const char* name) const {
    for (size_t i = 0; i < loadOptions.size(); ++i)
        if (std::strcmp(loadOptions[i].name, name) == 0) return values[i];
    return 0;
}

// Compares text in place: the host calls this through SetInt and SetDouble, which must not
// allocate.
bool LoadOptionsCmd::IsEnabled(uint32_t index) const {
    const char* name = loadOptions[index].name;
    if (std::strcmp(name, "loadSampleAnimation") == 0) return ValueOf("loadAnimation") != 0;
    if (std::strcmp(name, "loadSampleAnimationRate") == 0)
        return ValueOf("loadAnimation") != 0 && ValueOf("loadSampleAnimation") != 0;
    if (std::strcmp(name, "importUnits") == 0) return ValueOf("loadGeometry") != 0;
    return true;
}

// Both steps run even when the first fails; the first failure is the result.
QvResult LoadOptionsCmd::Execute() {
    QvResult result = qvOk;
    auto keep = [&](QvResult r) {
        if (QvFailed(r) && QvSucceeded(result)) result = r;
    };
    if (Persisted()) {
        for (size_t i = 0; i < loadOptions.size(); ++i) {
            IQvPersistentEntry* entry = entries[i].get();
            uint32_t count = 0;
            if (QvSucceeded(entry->Count(&count)) && count == 0) keep(entry->Append());
            keep(entry->Select(0));
            if (std::strcmp(loadOptions[i].typeName, QV_TYPE_FLOAT) == 0)
                keep(entry->SetDouble(values[i]));
            else
                keep(entry->SetInt(int32_t(values[i])));
        }
    }
    CQvUser_LoadOptionsService service;
    if (!CQvGlobals::LookupService(service)) {
        keep(qvNotFound);
        return result;
    }
    LoadOptionsIO* options = new LoadOptionsIO;
    options->record = Record();
    keep(service->SetOptions(static_cast<IQvStreamIO*>(options)));
    options->Release();
    return result;
}

std::unique_ptr<CQvPolymorphBase> MakeLoadOptionsFactory() {
    return CQvMakeFactory<LoadOptionsCmd>([](CQvPolymorph<LoadOptionsCmd>& factory) {
        factory.AddInterface<CQvIfc_Command>();
        factory.AddInterface<CQvIfc_Attributes>();
        factory.AddInterface<CQvIfc_AttributesUI>();
    });
}
