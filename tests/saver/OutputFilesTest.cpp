// What a save writes where: an empty scene byte for byte in both forms, the files that the path
// decides, and a save that cannot write.
#include "support/SaveFixture.h"

#include <cmath>

using namespace testsupport;

namespace {

class OutputFiles : public SaveFixture {
protected:
    void SetUp() override {
        SaveFixture::SetUp();
        ExportType(0);
    }
    // Regular files below the scratch directory, relative and sorted.
    std::vector<std::string> Files() const {
        std::vector<std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(scratch.dir))
            if (entry.is_regular_file())
                files.push_back(fs::relative(entry.path(), scratch.dir).generic_string());
        std::sort(files.begin(), files.end());
        return files;
    }
};

} // namespace

TEST_F(OutputFiles, EmptyGlbIsHeaderPaddedJsonAndEmptyBinChunk) {
    ASSERT_EQ(Save("empty.glb"), qvOk);
    std::string bytes = FileText("empty.glb");
    size_t jsonLength = std::string(emptyDocumentJson).size();
    size_t padded = (jsonLength + 3) & ~size_t(3);
    ASSERT_EQ(bytes.size(), 28 + padded);
    EXPECT_EQ(bytes.substr(0, 4), "glTF");
    EXPECT_EQ(ReadUint32(bytes, 4), 2u);
    EXPECT_EQ(ReadUint32(bytes, 8), bytes.size());
    EXPECT_EQ(ReadUint32(bytes, 12), padded);
    EXPECT_EQ(bytes.substr(16, 4), "JSON");
    EXPECT_EQ(bytes.substr(20, jsonLength), emptyDocumentJson);
    EXPECT_EQ(bytes.substr(20 + jsonLength, padded - jsonLength),
              std::string(padded - jsonLength, ' '));
    EXPECT_EQ(ReadUint32(bytes, 20 + padded), 0u);
    EXPECT_EQ(bytes.substr(24 + padded, 4), std::string("BIN\0", 4));
}

TEST_F(OutputFiles, EmptyGltfNamesItsZeroByteBin) {
    ASSERT_EQ(Save("empty.gltf"), qvOk);
    std::string expected = emptyDocumentJson;
    expected.replace(expected.find(R"({"byteLength":0})"), 16,
                     R"({"byteLength":0,"uri":"empty.bin"})");
    EXPECT_EQ(FileText("empty.gltf"), expected);
    EXPECT_EQ(Files(), (std::vector<std::string>{"empty.bin", "empty.gltf"}));
    EXPECT_EQ(fs::file_size(scratch.Path("empty.bin")), 0u);
}

// The saver decides the format and the path only the place. A .glb goes where the path says; a
// .gltf and its .bin replace whatever follows the last "." of the whole path, even one that
// stands in a directory name.
TEST_F(OutputFiles, PathGivesThePlaceAndTheSaverTheForm) {
    struct Case {
        const char* saver;
        const char* path;
        std::vector<std::string> files;
        const char* bufferUri; // null for a .glb
    };
    const Case cases[] = {
        {"gltf.gltf", "model.glb", {"model.bin", "model.gltf"}, "model.bin"},
        {"gltf.bin", "model.gltf", {"model.gltf"}, nullptr},
        {"gltf.gltf", "model", {"model.bin", "model.gltf"}, "model.bin"},
        {"gltf.gltf", "v1.2/model", {"v1.bin", "v1.gltf"}, "v1.bin"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.saver) + " " + c.path);
        fs::remove_all(scratch.dir);
        fs::create_directories(scratch.Path("v1.2"));
        ASSERT_EQ(SaveWith(c.saver, c.path), qvOk);
        ASSERT_EQ(Files(), c.files);
        const std::string written = FileText(c.files.back());
        if (!c.bufferUri) {
            EXPECT_EQ(written.substr(0, 4), "glTF");
            continue;
        }
        auto json = ParseJson(written);
        EXPECT_STREQ(json["buffers"][0]["uri"].GetString(), c.bufferUri);
    }
}

TEST_F(OutputFiles, UnwritablePathsFailTheSaveWithABoxAndWriteNothing) {
    // A missing directory, for each saver. (A .gltf path too short for its image directory
    // fails differently: see SaverState.)
    const std::pair<const char*, const char*> cases[] = {{"gltf.bin", "missing/x.glb"},
                                                         {"gltf.gltf", "missing/x.gltf"}};
    for (const auto& [saver, path] : cases)
        EXPECT_EQ(SaveWith(saver, path), qvFailed) << path;
    ASSERT_EQ(host.MessageBoxes().size(), 2u);
    for (const auto& box : host.MessageBoxes()) {
        EXPECT_EQ(box.text, "Failed to export GLTF!");
        EXPECT_EQ(box.code, qvFailed);
    }
    EXPECT_EQ(CountLines("...DONE"), 0);
    EXPECT_TRUE(Files().empty());

    // The device accepts the open and refuses the data: only the checked flush can tell.
    if (!fs::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
    EXPECT_EQ(plugin->Save("gltf.bin", "/dev/full"), qvFailed);
}

// A NaN makes RapidJSON's writer stop: the file holds the text up to there, padded as usual,
// and the save still reports success.
TEST_F(OutputFiles, NanEndsTheJsonTextWhereItStands) {
    host.Scene().AddItem("locator", "n").Position(std::nan(""), 0, 0);
    ASSERT_EQ(Save("nan.glb"), qvOk);
    EXPECT_EQ(GlbJson("nan.glb"), R"({"asset":{"generator":"Vornv11.2","version":"2.0"},"scene":0,)"
                                  R"("scenes":[{"nodes":[0]}],"nodes":[{"name":"n","matrix":[)");
    std::string bytes = FileText("nan.glb");
    EXPECT_EQ(bytes.size(), 28u + ReadUint32(bytes, 12));
}
