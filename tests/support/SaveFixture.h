// A scene host with the plug-in attached in-process, as the application would load it, and a
// scratch directory for what a save writes. A test states its scene through host.Scene(), saves,
// and reads back files and log.
//
// Whatever a test does, the plug-in must give back every reference it took on the host's objects
// and release none twice: TearDown checks the host's ledger after every test of every suite.
#pragma once

#include "ModuleHost.h"
#include "SceneHost.h"
#include "host/CQvThisModule.h"
#include "support/GlbReader.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace testsupport {

constexpr const char* emptyDocumentJson =
    R"({"asset":{"generator":"Vornv11.2","version":"2.0"},"scene":0,"scenes":[{"nodes":[]}],)"
    R"("nodes":[],"meshes":[],"buffers":[{"byteLength":0}],"bufferViews":[],"accessors":[],)"
    R"("materials":[{"pbrMetallicRoughness":{"metallicFactor":0.5,"roughnessFactor":0.5}}]})";

class SaveFixture : public ::testing::Test {
protected:
    void SetUp() override {
        plugin = std::make_unique<scenehost::ModuleHost>(host);
        std::string error;
        ASSERT_TRUE(plugin->Attach(CQvModuleCreate(), &error)) << error;
    }
    void TearDown() override {
        plugin.reset();
        EXPECT_EQ(host.HeldReferences(), 0) << "references on host objects never released";
        EXPECT_EQ(host.Count("OverRelease"), 0) << "releases without a matching AddRef";
    }

    void ExportType(int type) { host.SetUserInt("sceneio.gltf.save.exportType", type); }

    // Saves with the saver that the file's extension picks (".gltf" the text saver, else the
    // binary one); `file` is a name inside the scratch directory.
    QvResult Save(const std::string& file, bool withMonitor = false) {
        return SaveWith(EndsWith(file, ".gltf") ? "gltf.gltf" : "gltf.bin", file, withMonitor);
    }
    QvResult SaveWith(const std::string& saver, const std::string& file, bool withMonitor = false) {
        return plugin->Save(saver, scratch.Path(file).string(), withMonitor);
    }
    // Saves a .glb that must succeed and reads it back.
    GlbReader SaveAndRead(const std::string& file = "out.glb") {
        EXPECT_EQ(Save(file), qvOk);
        return GlbReader(FileText(file));
    }

    // The JSON chunk of a .glb in the scratch directory, without its pad.
    std::string GlbJson(const std::string& file) const {
        std::string bytes = ReadBytes(scratch.Path(file));
        if (bytes.size() < 20) return std::string();
        std::string json = bytes.substr(20, ReadUint32(bytes, 12));
        return json.substr(0, json.find_last_not_of(' ') + 1);
    }
    std::string FileText(const std::string& file) const { return ReadBytes(scratch.Path(file)); }

    // Log lines of one level ("" for all), in order.
    std::vector<std::string> Lines(const std::string& level = "") const {
        return host.LogTexts(level);
    }
    int CountLines(const std::string& text) const {
        auto lines = Lines();
        return int(std::count(lines.begin(), lines.end(), text));
    }
    // The text of the last message box, or "" when none was shown.
    std::string LastBox() const {
        return host.MessageBoxes().empty() ? std::string() : host.MessageBoxes().back().text;
    }

    static bool EndsWith(const std::string& text, const std::string& end) {
        return text.size() >= end.size() &&
               text.compare(text.size() - end.size(), end.size(), end) == 0;
    }
    static std::vector<std::string> NodeNames(const rapidjson::Value& doc) {
        std::vector<std::string> names;
        for (const auto& node : doc["nodes"].GetArray())
            names.emplace_back(node["name"].GetString());
        return names;
    }

    scenehost::SceneHost host;
    std::unique_ptr<scenehost::ModuleHost> plugin;
    ScratchDir scratch;
};

} // namespace testsupport
