// The two output forms, their file names, and Write's result when files cannot be written.
#include "DocumentTestSupport.h"

#include "document/GltfOutput.h"

#include <cmath>

using namespace doctests;

namespace {

const std::string kEmptyJson =
    R"({"asset":{"generator":"Vornv11.2","version":"2.0"},"scene":0,"scenes":[{"nodes":[]}],)"
    R"("nodes":[],"meshes":[],"buffers":[{"byteLength":0}],"bufferViews":[],"accessors":[],)"
    R"("materials":[{"pbrMetallicRoughness":{"metallicFactor":0.5,"roughnessFactor":0.5}}]})";

std::string EmptyJsonWithUri(const std::string& uri) {
    std::string json = kEmptyJson;
    const std::string buffer = R"({"byteLength":0})";
    json.replace(json.find(buffer), buffer.size(), R"({"byteLength":0,"uri":")" + uri + "\"}");
    return json;
}

// A document with one empty scene, as the saver makes it.
struct EmptyDocument {
    explicit EmptyDocument(uint32_t outputKind) {
        document.outputKind = outputKind;
        document.CreateScene();
    }
    GltfDocument document;
};

std::string BufferUri(const fs::path& gltfFile) {
    rapidjson::Document json = ParseJson(ReadBytes(gltfFile));
    const rapidjson::Value& buffer = json["buffers"][0];
    return buffer.HasMember("uri") ? buffer["uri"].GetString() : "<none>";
}

} // namespace

TEST(GltfOutputFiles, EmptyGlbIsHeaderPaddedJsonAndEmptyBinChunk) {
    ScratchDir scratch;
    EmptyDocument empty(0);
    ASSERT_TRUE(empty.document.Write(scratch.Host("model.glb")));

    const std::string bytes = ReadBytes(scratch.Path("model.glb"));
    const size_t jsonPad = (4 - kEmptyJson.size() % 4) % 4;
    const size_t jsonChunk = kEmptyJson.size() + jsonPad;
    ASSERT_EQ(bytes.size(), 28 + jsonChunk);
    EXPECT_EQ(bytes.substr(0, 4), "glTF");
    EXPECT_EQ(ReadUint32(bytes, 4), 2u);
    EXPECT_EQ(ReadUint32(bytes, 8), bytes.size());
    EXPECT_EQ(ReadUint32(bytes, 12), jsonChunk);
    EXPECT_EQ(bytes.substr(16, 4), "JSON");
    EXPECT_EQ(bytes.substr(20, kEmptyJson.size()), kEmptyJson);
    EXPECT_EQ(bytes.substr(20 + kEmptyJson.size(), jsonPad), std::string(jsonPad, ' '));
    EXPECT_EQ(ReadUint32(bytes, 20 + jsonChunk), 0u);
    EXPECT_EQ(bytes.substr(24 + jsonChunk, 4), std::string("BIN\0", 4));
}

TEST(GltfOutputFiles, EmptyGltfNamesItsZeroByteBin) {
    ScratchDir scratch;
    EmptyDocument empty(1);
    ASSERT_TRUE(empty.document.Write(scratch.Host("model.gltf")));

    EXPECT_EQ(ReadBytes(scratch.Path("model.gltf")), EmptyJsonWithUri("model.bin"));
    ASSERT_TRUE(fs::exists(scratch.Path("model.bin")));
    EXPECT_EQ(fs::file_size(scratch.Path("model.bin")), 0u);
}

TEST(GltfOutputFiles, GltfNamesFollowTheLastDotOfTheHostPath) {
    ScratchDir scratch;
    // No extension at all: both names are appended to the whole path.
    ASSERT_TRUE(EmptyDocument(1).document.Write(scratch.Host("model")));
    EXPECT_TRUE(fs::exists(scratch.Path("model.gltf")));
    EXPECT_EQ(BufferUri(scratch.Path("model.gltf")), "model.bin");

    // A .glb name given to the .gltf writer loses its extension like any other.
    ASSERT_TRUE(EmptyDocument(1).document.Write(scratch.Host("other.glb")));
    EXPECT_TRUE(fs::exists(scratch.Path("other.gltf")));
    EXPECT_TRUE(fs::exists(scratch.Path("other.bin")));
    EXPECT_FALSE(fs::exists(scratch.Path("other.glb")));

    // The only dot stands in a directory name: the cut falls inside it.
    fs::create_directories(scratch.Path("a.b"));
    ASSERT_TRUE(EmptyDocument(1).document.Write(scratch.Host("a.b/model")));
    EXPECT_TRUE(fs::exists(scratch.Path("a.gltf")));
    EXPECT_TRUE(fs::exists(scratch.Path("a.bin")));
    EXPECT_EQ(BufferUri(scratch.Path("a.gltf")), "a.bin");
}

TEST(GltfOutputFiles, GltfPathTooShortForTheImageDirectoryFailsWithoutFiles) {
    ScratchDir scratch;
    fs::create_directories(scratch.Path("a.b/longdirectory"));
    EXPECT_FALSE(EmptyDocument(1).document.Write(scratch.Host("a.b/longdirectory/model")));
    EXPECT_TRUE(fs::is_empty(scratch.Path("a.b/longdirectory")));
    EXPECT_FALSE(fs::exists(scratch.Path("a.gltf")));
    EXPECT_FALSE(fs::exists(scratch.Path("a.bin")));
}

TEST(GltfOutputFiles, ForwardSlashPathPutsTheWholePathInTheUri) {
    ScratchDir scratch;
    const std::string slashPath = scratch.Path("model.gltf").string();
    ASSERT_TRUE(EmptyDocument(1).document.Write(slashPath));
    EXPECT_EQ(BufferUri(scratch.Path("model.gltf")), scratch.Path("model.bin").string());
    EXPECT_EQ(ImageDirectoryFor(slashPath, slashPath), std::string());
}

TEST(GltfOutputFiles, GlbKeepsTheHostPathAsGiven) {
    ScratchDir scratch;
    ASSERT_TRUE(EmptyDocument(0).document.Write(scratch.Host("model.gltf")));
    EXPECT_EQ(ReadBytes(scratch.Path("model.gltf")).substr(0, 4), "glTF");
    EXPECT_FALSE(fs::exists(scratch.Path("model.bin")));
    EXPECT_NE(ReadBytes(scratch.Path("model.gltf")).find(R"("buffers":[{"byteLength":0}])"),
              std::string::npos);
}

TEST(GltfOutputFiles, UnwritablePathsFailTheWrite) {
    ScratchDir scratch;
    for (uint32_t kind : {0u, 1u}) {
        EXPECT_FALSE(EmptyDocument(kind).document.Write(scratch.Host("missing/model.glb")))
            << "outputKind " << kind;
    }
    EXPECT_FALSE(fs::exists(scratch.Path("missing")));

    // The device accepts the open and refuses the data: only the checked flush can tell.
    if (!fs::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
    EXPECT_FALSE(EmptyDocument(0).document.Write("\\dev\\full"));
}

TEST(GltfOutputFiles, SameDocumentGivesTheSameBytes) {
    ScratchDir scratch;
    auto build = [](GltfDocument& document) {
        GltfScene* scene = document.CreateScene();
        for (const char* name : {"b", "a", "c"}) {
            GltfNode* node = scene->CreateNode(name);
            node->matrix[12] = 0.25;
            node->SetCamera(std::make_unique<GltfCamera>(std::string(name) + "Camera"));
            scene->AddChild(node);
        }
        GltfMesh* mesh = scene->CreateMesh();
        mesh->AddPosition(0, 0, 0);
        mesh->normals.push_back({0, 0, 1});
        mesh->pointIndex = {0, 0, 0};
        mesh->normalIndex = {0, 0, 0};
        for (const char* material : {"zeta", "alpha", "mid"})
            mesh->primitives[material].triangles.push_back(0);
        scene->children[0]->SetMesh(mesh);
    };
    GltfDocument first, second;
    build(first);
    build(second);
    ASSERT_TRUE(first.Write(scratch.Host("first.glb")));
    ASSERT_TRUE(second.Write(scratch.Host("second.glb")));
    ASSERT_TRUE(second.Write(scratch.Host("again.glb")));
    const std::string bytes = ReadBytes(scratch.Path("first.glb"));
    EXPECT_EQ(bytes, ReadBytes(scratch.Path("second.glb")));
    EXPECT_EQ(bytes, ReadBytes(scratch.Path("again.glb")));
}

// A NaN makes RapidJSON's Writer stop; the file holds the text up to there, padded as usual.
TEST(GltfOutputFiles, NanEndsTheJsonTextWhereItStands) {
    ScratchDir scratch;
    EmptyDocument nan(0);
    GltfNode* node = nan.document.scenes[0]->CreateNode("n");
    node->useMatrix = true;
    node->matrix[0] = std::nan("");
    nan.document.scenes[0]->AddChild(node);
    ASSERT_TRUE(nan.document.Write(scratch.Host("nan.glb")));

    const std::string bytes = ReadBytes(scratch.Path("nan.glb"));
    const uint32_t jsonChunk = ReadUint32(bytes, 12);
    std::string json = bytes.substr(20, jsonChunk);
    json.erase(json.find_last_not_of(' ') + 1);
    EXPECT_EQ(json, R"({"asset":{"generator":"Vornv11.2","version":"2.0"},"scene":0,)"
                    R"("scenes":[{"nodes":[0]}],"nodes":[{"name":"n","matrix":[)");
    EXPECT_EQ(bytes.size(), 28u + jsonChunk);
}
