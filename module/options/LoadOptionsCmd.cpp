#include "options/LoadOptionsCmd.h"

#include <cstring>

namespace {

const std::vector<LoadOption> loadOptions = {
    {"mergeWithExistingItems", QV_TYPE_BOOLEAN, 0},
    {"loadGeometry", QV_TYPE_BOOLEAN, 1},
    {"loadNormals", QV_TYPE_BOOLEAN, 1},
    {"loadMeshSmoothing", QV_TYPE_BOOLEAN, 1},
    {"loadBlendShapes", QV_TYPE_BOOLEAN, 1},
    {"loadPolygonParts", QV_TYPE_BOOLEAN, 1},
    {"loadSelectionSets", QV_TYPE_BOOLEAN, 1},
    {"loadMaterials", QV_TYPE_BOOLEAN, 1},
    {"invertMatTranAmt", QV_TYPE_BOOLEAN, 0},
    {"useMatTranColAsTranAmt", QV_TYPE_BOOLEAN, 0},
    {"changeTextureEffect", QV_TYPE_BOOLEAN, 0},
    {"loadCameras", QV_TYPE_BOOLEAN, 1},
    {"loadLights", QV_TYPE_BOOLEAN, 1},
    {"loadAnimation", QV_TYPE_BOOLEAN, 1},
    {"loadSampleAnimation", QV_TYPE_BOOLEAN, 1},
    {"loadSampleAnimationRate", QV_TYPE_INTEGER, 0},
    {"globalScalingFactor", QV_TYPE_FLOAT, 1.0},
    {"importUnits", QV_TYPE_INTEGER, 0},
};

// The command and attribute faces of the server object.
class CQvIfc_Command final : public CQvFaceOf<IQvCommand> {
public:
    CQvIfc_Command(CQvServerObject& owner, LoadOptionsCmd& command)
        : CQvFaceOf<IQvCommand>(owner), command(command) {}
    QvResult Execute(uint32_t) override { return command.Execute(); }
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

} // namespace

LoadOptionsCmd::LoadOptionsCmd() {
    for (const LoadOption& option : loadOptions)
        values.push_back(option.defaultValue);
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

// Keeping the values across sessions comes with the persistent configuration.
QvResult LoadOptionsCmd::Execute() {
    return qvOk;
}

std::unique_ptr<CQvPolymorphBase> MakeLoadOptionsFactory() {
    return CQvMakeFactory<LoadOptionsCmd>([](CQvPolymorph<LoadOptionsCmd>& factory) {
        factory.AddInterface<CQvIfc_Command>();
        factory.AddInterface<CQvIfc_Attributes>();
    });
}
