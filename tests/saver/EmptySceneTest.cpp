// What an empty scene becomes in both outputs, byte for byte, and the path rules of the files.
#include "support/SaveFixture.h"

using namespace testsupport;

namespace {

class EmptyScene : public SaveFixture {
protected:
    void SetUp() override {
        SaveFixture::SetUp();
        host.SetUserInt("sceneio.gltf.save.exportType", 0);
    }
};

} // namespace

TEST_F(EmptyScene, GlbIsHeaderPlusPaddedJsonPlusEmptyBinChunk) {
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
    EXPECT_EQ(bytes.substr(20 + jsonLength, padded - jsonLength), std::string(padded - jsonLength, ' '));
    EXPECT_EQ(ReadUint32(bytes, 20 + padded), 0u);
    EXPECT_EQ(bytes.substr(24 + padded, 4), std::string("BIN\0", 4));
}

TEST_F(EmptyScene, GltfNamesItsEmptyBinFile) {
    ASSERT_EQ(Save("empty.gltf"), qvOk);
    std::string expected = emptyDocumentJson;
    expected.replace(expected.find(R"({"byteLength":0})"), 16, R"({"byteLength":0,"uri":"empty.bin"})");
    EXPECT_EQ(FileText("empty.gltf"), expected);
    ASSERT_TRUE(fs::exists(scratch.Path("empty.bin")));
    EXPECT_EQ(fs::file_size(scratch.Path("empty.bin")), 0u);
}

TEST_F(EmptyScene, SavingTwiceGivesTheSameBytes) {
    ASSERT_EQ(Save("a.glb"), qvOk);
    ASSERT_EQ(Save("b.glb"), qvOk);
    EXPECT_EQ(FileText("a.glb"), FileText("b.glb"));
    ASSERT_EQ(Save("a.gltf"), qvOk);
    std::string first = FileText("a.gltf");
    ASSERT_EQ(Save("a.gltf"), qvOk);
    EXPECT_EQ(FileText("a.gltf"), first);
}

// The saver class decides the format; the path only decides the place.
TEST_F(EmptyScene, TextSaverGivenGlbPathWritesGltfAndBin) {
    ASSERT_EQ(SaveWith("gltf.gltf", "model.glb"), qvOk);
    EXPECT_FALSE(fs::exists(scratch.Path("model.glb")));
    EXPECT_EQ(FileText("model.gltf").substr(0, 9), R"({"asset":)");
    EXPECT_TRUE(fs::exists(scratch.Path("model.bin")));
}

TEST_F(EmptyScene, BinarySaverGivenGltfPathWritesGlbThere) {
    ASSERT_EQ(SaveWith("gltf.bin", "model.gltf"), qvOk);
    EXPECT_EQ(FileText("model.gltf").substr(0, 4), "glTF");
    EXPECT_FALSE(fs::exists(scratch.Path("model.bin")));
}

TEST_F(EmptyScene, PathWithoutExtensionGetsBothExtensionsAppended) {
    ASSERT_EQ(SaveWith("gltf.gltf", "model"), qvOk);
    EXPECT_TRUE(fs::exists(scratch.Path("model.gltf")));
    EXPECT_TRUE(fs::exists(scratch.Path("model.bin")));
    EXPECT_NE(FileText("model.gltf").find(R"("uri":"model.bin")"), std::string::npos);
}

// The last "." of the whole path decides, even inside a directory name.
TEST_F(EmptyScene, DotInDirectoryNameCutsTheDirectoryName) {
    fs::create_directories(scratch.Path("v1.2"));
    ASSERT_EQ(SaveWith("gltf.gltf", "v1.2/model"), qvOk);
    EXPECT_TRUE(fs::exists(scratch.Path("v1.gltf")));
    EXPECT_TRUE(fs::exists(scratch.Path("v1.bin")));
    EXPECT_NE(FileText("v1.gltf").find(R"("uri":"v1.bin")"), std::string::npos);
}

TEST_F(EmptyScene, UnwritablePathFailsTheSaveWithABox) {
    EXPECT_EQ(SaveWith("gltf.bin", "missing-dir/x.glb"), qvFailed);
    ASSERT_FALSE(host.MessageBoxes().empty());
    EXPECT_EQ(host.MessageBoxes().back().text, "Failed to export GLTF!");
    EXPECT_EQ(host.MessageBoxes().back().code, qvFailed);
    EXPECT_EQ(CountLines("...DONE"), 0);
    EXPECT_EQ(SaveWith("gltf.gltf", "missing-dir/x.gltf"), qvFailed);
}
