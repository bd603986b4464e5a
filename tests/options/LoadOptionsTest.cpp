// The load options: their stream form with the loader's read quirks, the command's attribute
// table, and their persistence through a real configuration file.
#include "options/LoadOptionsCmd.h"
#include "options/LoadOptionsIO.h"
#include "support/TestFiles.h"

#include "ModuleHost.h"
#include "SceneHost.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace scenehost;
using namespace testsupport;

namespace {

std::string Written(LoadOptionsIO& io, QvResult* result = nullptr) {
    ComRef<BlockWriter> writer(new BlockWriter, false);
    QvResult r = io.Write(writer.get());
    if (result) *result = r;
    return writer->Bytes();
}

QvResult ReadInto(LoadOptionsIO& io, const std::string& bytes) {
    ComRef<BlockReader> reader(new BlockReader(bytes), false);
    return io.Read(reader.get());
}

std::string Words(std::initializer_list<uint32_t> words) {
    ComRef<BlockWriter> writer(new BlockWriter, false);
    for (uint32_t w : words)
        writer->WriteU32(w);
    return writer->Bytes();
}

} // namespace

TEST(LoadOptionsStream, RoundTripKeepsTheLoadersQuirks) {
    LoadOptionsIO out;
    out.record.loadCameras = 0;
    out.record.changeTextureEffect = 1;
    out.record.mergeWithExistingItems = 1;
    out.record.loadSampleAnimationRate = 3;
    out.record.globalScalingFactor = 2.5;
    out.record.importUnits = 9;
    std::string bytes = Written(out);
    ASSERT_EQ(bytes.size(), 16u);
    // Little-endian: version 1, then the flag word with Miles (9) in bits 18 and up.
    EXPECT_EQ(bytes.substr(0, 4), std::string("\1\0\0\0", 4));
    uint32_t flags = LoadOptionsIO::FlagWord(out.record);
    EXPECT_EQ(flags, (0x19FFu & ~(1u << 2)) | 1u << 13 | 1u << 16 | 1u << 17 | 9u << 18);

    LoadOptionsIO in;
    ASSERT_EQ(ReadInto(in, bytes), qvOk);
    EXPECT_EQ(in.record.loadCameras, 0);
    EXPECT_EQ(in.record.loadLights, 1);
    EXPECT_EQ(in.record.changeTextureEffect, 1);
    EXPECT_EQ(in.record.mergeWithExistingItems, 1);
    EXPECT_EQ(in.record.loadSampleAnimationRate, 1); // any rate but 0 comes back as 1
    EXPECT_EQ(in.record.globalScalingFactor, 2.5);
    EXPECT_EQ(in.record.importUnits, 1); // 9 & 0x457
    out.record.importUnits = 8;
    ASSERT_EQ(ReadInto(in, Written(out)), qvOk);
    EXPECT_EQ(in.record.importUnits, 0);
    out.record.importUnits = 7;
    ASSERT_EQ(ReadInto(in, Written(out)), qvOk);
    EXPECT_EQ(in.record.importUnits, 7);

    // Version 0: two words, no factor; the newer fields take their defaults.
    ASSERT_EQ(ReadInto(in, Words({0, 0xFFFFFFFFu})), qvOk);
    EXPECT_EQ(in.record.changeTextureEffect, 0);
    EXPECT_EQ(in.record.importUnits, 0);
    EXPECT_EQ(in.record.globalScalingFactor, 1.0);
    EXPECT_EQ(in.record.mergeWithExistingItems, 1);

    // A newer version is refused, a short stream gives the block's failure; neither changes
    // the record.
    in.record.loadNormals = 0;
    EXPECT_EQ(ReadInto(in, Words({2, 0, 0, 0})), qvFailed);
    EXPECT_EQ(ReadInto(in, Words({1, 0})), qvOutOfRange);
    EXPECT_EQ(in.record.loadNormals, 0);
    ComRef<BlockWriter> full(new BlockWriter(6), false);
    EXPECT_EQ(out.Write(full.get()), qvShortBuffer);
}

TEST(LoadOptionsCommand, AttributesHintsAndEnableRules) {
    std::unique_ptr<CQvPolymorphBase> factory = MakeLoadOptionsFactory();
    ComRef<IQvAttributes> attributes;
    ASSERT_EQ(factory->Spawn(IQvAttributes::iid, attributes.outVoid()), qvOk);
    ComRef<IQvAttributesUI> ui;
    ASSERT_EQ(attributes->QueryInterface(IQvAttributesUI::iid, ui.outVoid()), qvOk);

    const char* expected[] = {"mergeWithExistingItems",
                              "loadGeometry",
                              "loadNormals",
                              "loadMeshSmoothing",
                              "loadBlendShapes",
                              "loadPolygonParts",
                              "loadSelectionSets",
                              "loadMaterials",
                              "invertMatTranAmt",
                              "useMatTranColAsTranAmt",
                              "changeTextureEffect",
                              "loadCameras",
                              "loadLights",
                              "loadAnimation",
                              "loadSampleAnimation",
                              "loadSampleAnimationRate",
                              "globalScalingFactor",
                              "importUnits"};
    uint32_t count = 0;
    ASSERT_EQ(attributes->Count(&count), qvOk);
    ASSERT_EQ(count, 18u);
    for (uint32_t i = 0; i < count; ++i) {
        const char* name = nullptr;
        attributes->Name(i, &name);
        EXPECT_STREQ(name, expected[i]);
    }
    const char* type = nullptr;
    attributes->TypeName(16, &type);
    EXPECT_STREQ(type, "float");

    uint32_t hints = 0;
    QvChoiceHint hint{};
    const char* control = nullptr;
    EXPECT_EQ(ui->HintCount(17, &hints), qvOk);
    EXPECT_EQ(hints, 10u);
    EXPECT_EQ(ui->HintByIndex(17, 0, &hint), qvOk);
    EXPECT_STREQ(hint.label, "Use FBX file units");
    EXPECT_EQ(ui->HintByIndex(17, 8, &hint), qvOk);
    EXPECT_EQ(hint.value, 8);
    EXPECT_STREQ(hint.label, "Yards");
    EXPECT_EQ(ui->HintByIndex(15, 1, &hint), qvOk);
    EXPECT_STREQ(hint.label, "2x FPS");
    EXPECT_EQ(ui->ControlType(15, &control), qvOk);
    EXPECT_STREQ(control, "iPopChoice");
    EXPECT_EQ(ui->HintCount(1, &hints), qvOk);
    EXPECT_EQ(hints, 0u);

    // Enable rules follow the values they depend on.
    EXPECT_EQ(ui->DisableMsg(15, nullptr), qvOk);
    ASSERT_EQ(attributes->SetInt(14, 0), qvOk); // loadSampleAnimation off
    EXPECT_EQ(ui->DisableMsg(15, nullptr), qvArgDisabled);
    EXPECT_EQ(attributes->SetInt(15, 1), qvArgDisabled);
    ASSERT_EQ(attributes->SetInt(13, 0), qvOk); // loadAnimation off
    EXPECT_EQ(ui->DisableMsg(14, nullptr), qvArgDisabled);
    EXPECT_EQ(ui->DisableMsg(17, nullptr), qvOk);
    ASSERT_EQ(attributes->SetInt(1, 0), qvOk); // loadGeometry off
    EXPECT_EQ(ui->DisableMsg(17, nullptr), qvArgDisabled);
    EXPECT_EQ(ui->DisableMsg(0, nullptr), qvOk);
}

TEST(LoadOptionsPersistence, ValuesSurviveInTheFileAndAFailedWriteKeepsThePreviousOne) {
    ScratchDir scratch;
    std::string path = scratch.Path("sub/config.txt").string();
    std::string error;
    {
        SceneHost host;
        ASSERT_TRUE(host.Persistence().Open(path, &error)) << error;
        ModuleHost plugin(host);
        ASSERT_TRUE(plugin.Load(GLTFIO_PLUGIN_PATH, &error)) << error;
        ComRef<IQvCommandService> commands;
        ASSERT_EQ(host.LookupService(IQvCommandService::iid, commands.outVoid()), qvOk);
        ComRef<IQvCommand> command;
        ASSERT_EQ(commands->SpawnCommand(0, "loaderOptions.gltf", command.out()), qvOk);
        ComRef<IQvAttributes> attributes;
        ASSERT_EQ(command->QueryInterface(IQvAttributes::iid, attributes.outVoid()), qvOk);
        ASSERT_EQ(attributes->SetInt(17, 8), qvOk);
        ASSERT_EQ(attributes->SetDouble(16, 0.25), qvOk);
        ASSERT_EQ(attributes->SetInt(2, 0), qvOk);
        ASSERT_EQ(command->Execute(0), qvOk);
        EXPECT_EQ(host.Count("PersistConfigure:gltfLoader"), 1);
        ComRef<IQvStreamIO> handed;
        ASSERT_TRUE(host.LoadOptions());
        EXPECT_EQ(host.LoadOptions()->QueryInterface(IQvStreamIO::iid, handed.outVoid()), qvOk);
    }
    std::string saved = ReadBytes(path);
    EXPECT_EQ(saved.substr(0, saved.find('\n')), PersistenceService::kHeader);
    EXPECT_NE(saved.find("\ngltfLoader/gltfLoadOptions/importUnits = integer 8\n"),
              std::string::npos)
        << saved;
    EXPECT_NE(saved.find("\ngltfLoader/gltfLoadOptions/globalScalingFactor = float 0.25\n"),
              std::string::npos);

    // A new session starts from the file; a write cut off half way changes nothing on disk.
    SceneHost host;
    ASSERT_TRUE(host.Persistence().Open(path, &error)) << error;
    ModuleHost plugin(host);
    ASSERT_TRUE(plugin.Load(GLTFIO_PLUGIN_PATH, &error)) << error;
    ComRef<IQvCommandService> commands;
    host.LookupService(IQvCommandService::iid, commands.outVoid());
    ComRef<IQvCommand> command;
    ASSERT_EQ(commands->SpawnCommand(0, "loaderOptions.gltf", command.out()), qvOk);
    ComRef<IQvAttributes> attributes;
    command->QueryInterface(IQvAttributes::iid, attributes.outVoid());
    int32_t units = 0, normals = 1;
    double scale = 0;
    attributes->GetInt(17, &units);
    attributes->GetInt(2, &normals);
    attributes->GetDouble(16, &scale);
    EXPECT_EQ(units, 8);
    EXPECT_EQ(normals, 0);
    EXPECT_EQ(scale, 0.25);

    host.Persistence().FailWritesAfter(40);
    ASSERT_EQ(attributes->SetInt(17, 3), qvOk);
    EXPECT_EQ(command->Execute(0), qvFailed);
    EXPECT_EQ(ReadBytes(path), saved);
    EXPECT_FALSE(std::filesystem::exists(path + ".tmp"));
}
