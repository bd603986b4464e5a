// Names and file names as the JSON text carries them: RapidJSON's escapes for quotes, backslashes
// and control characters, every other byte as it came, valid UTF-8 or not.
#include "support/MeshBuilders.h"
#include "support/SaveFixture.h"

using namespace testsupport;

namespace {

// A quote, a backslash, a slash, tab, newline, two control characters without a short escape,
// DEL, and two-byte UTF-8; then bytes that are no UTF-8 at all.
const std::string kOdd = "q\"b\\s/t\tn\nc\x01\x1f\x7f \xc3\xa9";
const std::string kOddJson = std::string(R"(q\"b\\s/t\tn\nc\u0001\u001F)") + "\x7f \xc3\xa9";
const std::string kBad = "bad\xff\xfe";

class TextInJson : public SaveFixture {
protected:
    void SetUp() override {
        SaveFixture::SetUp();
        ExportType(0);
    }
    static bool Parses(const std::string& json, bool requireUtf8) {
        rapidjson::Document doc;
        if (requireUtf8)
            doc.Parse<rapidjson::kParseValidateEncodingFlag>(json.c_str(), json.size());
        else
            doc.Parse(json.c_str(), json.size());
        return !doc.HasParseError();
    }
    static bool Contains(const std::string& text, const std::string& part) {
        return text.find(part) != std::string::npos;
    }
};

} // namespace

TEST_F(TextInJson, NamesKeepTheirBytesWithOnlyTheJsonEscapes) {
    BuildCube(host.Scene().AddItem("mesh", kOdd).Mesh(), kOdd.c_str());
    ASSERT_EQ(Save("odd.glb"), qvOk);
    std::string json = GlbJson("odd.glb");
    EXPECT_TRUE(Contains(json, R"("nodes":[{"name":")" + kOddJson + R"(","mesh":0})")) << json;
    EXPECT_TRUE(Contains(json, R"(,{"name":")" + kOddJson + R"(","emissiveFactor":)")) << json;
    ASSERT_TRUE(Parses(json, true));
    EXPECT_EQ(ParseJson(json)["nodes"][0]["name"].GetString(), kOdd);

    // Bytes that are no UTF-8 pass through unchanged: the text parses, but not as UTF-8.
    host.Scene().AddItem("camera", kBad);
    ASSERT_EQ(Save("bad.glb"), qvOk);
    json = GlbJson("bad.glb");
    EXPECT_TRUE(Contains(json, R"({"name":")" + kBad + R"(","camera":0})")) << json;
    EXPECT_TRUE(Contains(json, R"("cameras":[{"name":")" + kBad + R"(","type":)")) << json;
    EXPECT_TRUE(Parses(json, false));
    EXPECT_FALSE(Parses(json, true));
}

// A .gltf names its .bin and its images by their file names, which are written as they are:
// escaped as JSON text, not as URIs.
TEST_F(TextInJson, FileNamesBecomeUrisAsTheyAre) {
    const std::string stem = "o\"d\x01 \xc3\xa9\xff";
    const std::string image = "i\"m\x02 \xc3\xa9.png";
    fs::create_directories(scratch.Path("src"));
    WriteBytes(scratch.Path("src/" + image), "png bytes");
    auto& s = host.Scene();
    BuildMappedCube(s.AddItem("mesh", "Cube").Mesh(), "Wood", "UVMap");
    auto& mask = s.AddItem("mask", "Wood mask").Set("ptag", "Wood");
    s.AddItem("glTFShader", "PBR", mask);
    auto& place = s.AddItem("txtrLocator", "Place").Set("uvMap", "UVMap");
    s.AddItem("imageMap", "Base (Image)", mask)
        .SetImage(scratch.Path("src/" + image).string())
        .Set("effect", "baseColorGLTF")
        .Set("swizzling", 1)
        .SetTextureLocator(place);
    ASSERT_EQ(Save(stem + ".gltf"), qvOk);

    std::string json = FileText(stem + ".gltf");
    EXPECT_TRUE(Contains(json, R"("uri":"o\"d\u0001 )"
                               "\xc3\xa9\xff"
                               R"(.bin"})"))
        << json;
    EXPECT_TRUE(Contains(json, R"("uri":"i\"m\u0002 )"
                               "\xc3\xa9"
                               R"(.png"})"))
        << json;
    EXPECT_FALSE(Parses(json, true));
    rapidjson::Document doc = ParseJson(json);
    EXPECT_EQ(doc["images"][0]["uri"].GetString(), image);
    EXPECT_EQ(FileText(image), "png bytes");
    EXPECT_EQ(FileText(stem + ".bin").size(), doc["buffers"][0]["byteLength"].GetUint());
}
