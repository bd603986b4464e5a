// Host meshes as glTF meshes: points, triangles, primitives by material tag, the 16-bit limit,
// and the vertex maps that become attributes.
#include "MeshData.h"
#include "MeshGenerate.h"
#include "support/MeshBuilders.h"
#include "support/SaveFixture.h"

#include <cmath>
#include <set>

using namespace testsupport;
using scenehost::MeshData;
using scenehost::MeshMap;

namespace {

// A strip of `triangles` triangles along x, every triangle its own polygon.
void BuildStrip(MeshData& mesh, uint32_t triangles) {
    for (uint32_t i = 0; i < triangles + 2; ++i)
        mesh.AddPoint(float(i / 2), 0, float(i % 2));
    for (uint32_t t = 0; t < triangles; ++t)
        mesh.AddPolygon(t % 2 ? std::initializer_list<uint32_t>{t, t + 2, t + 1}
                              : std::initializer_list<uint32_t>{t, t + 1, t + 2},
                        "Strip");
}

class MeshCreation : public SaveFixture {
protected:
    void SetUp() override {
        SaveFixture::SetUp();
        ExportType(0);
    }
    MeshData& AddMesh(const char* name) { return host.Scene().AddItem("mesh", name).Mesh(); }
};

// A map's value at a corner: the polygon's own, else the point's.
const float* ValueAt(const MeshMap& map, const MeshData& mesh, uint32_t corner) {
    uint32_t polygon = 0;
    while (polygon + 1 < mesh.PolygonCount() && mesh.FirstCorner(polygon + 1) <= corner)
        ++polygon;
    const float* own = map.CornerValue(polygon, corner - mesh.FirstCorner(polygon));
    return own ? own : map.PointValue(mesh.CornerPoint(corner));
}

} // namespace

TEST_F(MeshCreation, CubeOfSixQuads) {
    BuildCube(AddMesh("Cube"));
    GlbReader glb = SaveAndRead();
    EXPECT_EQ(CountLines("Creating mesh:Cube type:mesh nPoints:8"), 1);
    EXPECT_EQ(CountLines("   polyInds:36"), 1);
    EXPECT_EQ(CountLines("   adding calculated normals (normals mesh map not found)"), 1);
    EXPECT_EQ(CountLines("   material:Default polyInds:12"), 1);
    ASSERT_EQ(glb.json["meshes"].Size(), 1u);
    const auto& primitive = glb.Primitive(0, 0);
    EXPECT_EQ(glb.json["meshes"][0]["primitives"].Size(), 1u);
    EXPECT_EQ(glb.Attribute(primitive, "indices").size(), 36u);
    // Smooth host normals: each corner point has one normal for all its faces, so 8 vertices.
    EXPECT_EQ(glb.Attribute(primitive, "POSITION").size(), 8u * 3);
    std::vector<double> normals = glb.Attribute(primitive, "NORMAL");
    for (size_t i = 0; i < normals.size(); ++i)
        EXPECT_NEAR(std::fabs(normals[i]), 1 / std::sqrt(3.0), 1e-6) << i;
    const auto& position = glb.json["accessors"][primitive["attributes"]["POSITION"].GetUint()];
    EXPECT_EQ(JsonText(position["min"]), "[0.0,0.0,0.0]");
}

TEST_F(MeshCreation, SixteenBitLimitCountsCornersOfTheWholeMesh) {
    BuildStrip(AddMesh("Fits"), 21845);
    BuildStrip(AddMesh("TooBig"), 21846);
    GlbReader glb = SaveAndRead();
    EXPECT_EQ(CountLines("   Creating mesh:TooBig type:mesh nPoints:21848 polyInds:65538 failed! "
                         "Number of vertices goes over the maximum of unsigned short data type!"),
              1);
    ASSERT_EQ(glb.json["nodes"].Size(), 2u);
    EXPECT_TRUE(glb.json["nodes"][0].HasMember("mesh"));
    EXPECT_FALSE(glb.json["nodes"][1].HasMember("mesh"));
    const auto& indices = glb.json["accessors"][glb.Primitive(0, 0)["indices"].GetUint()];
    EXPECT_EQ(indices["componentType"].GetUint(), 5123u);

    host.SetUserInt("sceneio.gltf.save.indicesExport", 1);
    GlbReader wide = SaveAndRead("wide.glb");
    ASSERT_TRUE(wide.json["nodes"][1].HasMember("mesh"));
    const auto& wideIndices = wide.json["accessors"][wide.Primitive(1, 0)["indices"].GetUint()];
    EXPECT_EQ(wideIndices["componentType"].GetUint(), 5125u);
    EXPECT_EQ(wideIndices["count"].GetUint(), 65538u);
}

TEST_F(MeshCreation, HiddenEmptyOrGeometryOffItemsKeepTheirNodeOnly) {
    auto& hidden = host.Scene().AddItem("mesh", "Hidden");
    BuildCube(hidden.Mesh());
    hidden.Set("visible", 1, "edit");
    host.Scene().AddItem("mesh", "Empty").Mesh();
    GlbReader glb = SaveAndRead();
    ASSERT_EQ(glb.json["nodes"].Size(), 2u);
    EXPECT_FALSE(glb.json["nodes"][0].HasMember("mesh"));
    EXPECT_FALSE(glb.json["nodes"][1].HasMember("mesh"));
    for (const auto& line : Lines())
        EXPECT_EQ(line.find("Creating mesh:"), std::string::npos);

    host.Scene().Get("Hidden").Set("visible", 0, "edit");
    host.SetUserInt("sceneio.gltf.save.geometry", 0);
    GlbReader off = SaveAndRead("off.glb");
    EXPECT_FALSE(off.json["nodes"][0].HasMember("mesh"));
    EXPECT_EQ(off.json["meshes"].Size(), 0u);
}

TEST_F(MeshCreation, UntaggedPolygonsAreNeverWritten) {
    BuildCube(AddMesh("Bare"), nullptr);
    GlbReader glb = SaveAndRead();
    EXPECT_FALSE(glb.json["nodes"][0].HasMember("mesh"));
    EXPECT_EQ(CountLines("   polyInds:36"), 1);
}

// Vertex maps become attributes in a fixed order: RGB colours, then RGBA, then UV sets by name
// whatever their order in the host, and the distortion map none. Values as stored, with v turned
// over; an RGB colour keeps alpha 0, and a corner that a UV map does not cover gets (0, 0).
TEST_F(MeshCreation, VertexMapsBecomeAttributesInAFixedOrder) {
    MeshData& mesh = AddMesh("Mapped");
    BuildCube(mesh);
    auto& half = mesh.AddMap("TXUV", "half");
    auto& b = mesh.AddMap("TXUV", "b");
    auto& rgba = mesh.AddMap("RGBA", "Alpha");
    auto& a = mesh.AddMap("TXUV", "A");
    auto& distortion = mesh.AddMap("TXUV", "UV Distortion");
    auto& rgb = mesh.AddMap("RGB ", "Plain");
    for (uint32_t p = 0; p < 8; ++p) {
        b.SetPointValue(p, {0.5f, 0.5f});
        a.SetPointValue(p, {0.25f, 0.25f});
        distortion.SetPointValue(p, {1, 1});
        rgb.SetPointValue(p, {1, 0.5f, 0.25f});
        rgba.SetPointValue(p, {0, 0, 1, 0.5f});
    }
    for (uint32_t c = 0; c < 4; ++c)
        half.SetPolygonValue(0, c, {0.5f, 0.25f});
    GlbReader glb = SaveAndRead();
    const auto& primitive = glb.Primitive(0, 0);
    EXPECT_EQ(MemberNames(primitive["attributes"]),
              (std::vector<std::string>{"POSITION", "NORMAL", "COLOR_0", "COLOR_1", "TEXCOORD_0",
                                        "TEXCOORD_1", "TEXCOORD_2"}));
    auto first = [&](const char* attribute, size_t n) {
        std::vector<double> values = glb.Attribute(primitive, attribute);
        return std::vector<double>(values.begin(), values.begin() + n);
    };
    EXPECT_EQ(first("COLOR_0", 4), (std::vector<double>{1, 0.5, 0.25, 0}));
    EXPECT_EQ(first("COLOR_1", 4), (std::vector<double>{0, 0, 1, 0.5}));
    EXPECT_EQ(first("TEXCOORD_0", 2), (std::vector<double>{0.25, 0.75}));
    EXPECT_EQ(first("TEXCOORD_1", 2), (std::vector<double>{0.5, 0.5}));
    std::vector<double> uvs = glb.Attribute(primitive, "TEXCOORD_2");
    size_t mapped = 0, unmapped = 0;
    for (size_t i = 0; i < uvs.size(); i += 2) {
        mapped += uvs[i] == 0.5 && uvs[i + 1] == 0.75;
        unmapped += uvs[i] == 0.0 && uvs[i + 1] == 1.0;
    }
    EXPECT_EQ(mapped, 4u);
    EXPECT_EQ(mapped + unmapped, uvs.size() / 2);
    EXPECT_EQ(CountLines("   vcolRGB vmap:Plain"), 1);
    EXPECT_EQ(CountLines("   vcolRGBA vmap:Alpha"), 1);
}

TEST_F(MeshCreation, NormalMapWinsWhereItHasValuesAndSplitsVertices) {
    MeshData& mesh = AddMesh("Hard");
    BuildCube(mesh);
    auto& normals = mesh.AddMap("NORM", "Normals");
    // Flat normals on the first quad only: its four corners leave the smooth normal.
    for (uint32_t c = 0; c < 4; ++c)
        normals.SetPolygonValue(0, c, {0, 0, -2});
    GlbReader glb = SaveAndRead();
    EXPECT_EQ(CountLines("   normal vmap:Normals"), 1);
    std::vector<double> n = glb.Attribute(glb.Primitive(0, 0), "NORMAL");
    EXPECT_EQ(n.size(), 12u * 3); // 8 smooth vertices plus 4 split off by the flat quad
    size_t flat = 0;
    for (size_t i = 0; i < n.size(); i += 3)
        if (n[i] == 0 && n[i + 1] == 0 && n[i + 2] == -1) ++flat;
    EXPECT_EQ(flat, 4u);
}

TEST_F(MeshCreation, TangentMapsAreReadOnlyWhenAskedFor) {
    MeshData& mesh = AddMesh("Framed");
    BuildCube(mesh);
    auto& frames = mesh.AddMap("TBAS", "Frames");
    for (uint32_t p = 0; p < 8; ++p)
        frames.SetPointValue(p, {1, 0, 0, 0, 1, 0});
    GlbReader plain = SaveAndRead();
    EXPECT_FALSE(plain.Primitive(0, 0)["attributes"].HasMember("TANGENT"));
    EXPECT_EQ(CountLines("   vTbasis vmap:Frames"), 0);

    host.SetUserInt("sceneio.gltf.save.tangentsBitangents", 1);
    GlbReader framed = SaveAndRead("framed.glb");
    EXPECT_TRUE(framed.Primitive(0, 0)["attributes"].HasMember("TANGENT"));
    EXPECT_EQ(CountLines("   vTbasis vmap:Frames"), 1);
}

// A generated torus, read back corner by corner: each triangle corner, in the host's triangulation
// and in the primitive of its polygon's material tag (in the order first met), has the position,
// unit normal, UV (v turned over) and colour that the scene gives that corner, also along the
// seams where polygons keep UVs of their own.
TEST_F(MeshCreation, GeneratedTorusComesBackCornerForCorner) {
    MeshData& mesh = AddMesh("Torus");
    scenehost::GenerateOptions options;
    options.triangles = 8000;
    options.normalMap = "Normals";
    scenehost::GenerateMesh(mesh, options);
    ASSERT_GT(mesh.PointCount(), 3000u);
    const MeshMap& uv = *mesh.FindMap(qvMapUv, "Texture");
    const MeshMap& color = *mesh.FindMap(qvMapRgba, "Color");
    const MeshMap& normal = *mesh.FindMap(qvMapNormal, "Normals");
    std::vector<std::string> materials;
    std::vector<std::vector<uint32_t>> corners; // per material, in polygon order
    for (uint32_t p = 0; p < mesh.PolygonCount(); ++p) {
        const std::string tag = mesh.Tag(p, qvPolyTagMaterial);
        size_t m = std::find(materials.begin(), materials.end(), tag) - materials.begin();
        if (m == materials.size()) materials.push_back(tag), corners.emplace_back();
        for (uint32_t t = 0, triangle[3]; t < mesh.TriangleCount(p); ++t) {
            mesh.TriangleCorners(p, t, triangle);
            corners[m].insert(corners[m].end(), triangle, triangle + 3);
        }
    }
    GlbReader glb = SaveAndRead();
    ASSERT_EQ(glb.json["meshes"][0]["primitives"].Size(), materials.size());
    for (size_t m = 0; m < materials.size(); ++m) {
        SCOPED_TRACE(materials[m]);
        const auto& primitive = glb.Primitive(0, unsigned(m));
        // A tag without a mask is a material of that name, after the default one.
        EXPECT_EQ(primitive["material"].GetUint(), m + 1);
        EXPECT_EQ(glb.json["materials"][unsigned(m + 1)]["name"].GetString(), materials[m]);
        auto values = [&](const char* attribute) { return glb.Attribute(primitive, attribute); };
        std::vector<double> indices = values("indices"), xyz = values("POSITION");
        std::vector<double> n = values("NORMAL"), st = values("TEXCOORD_0");
        std::vector<double> rgba = values("COLOR_0");
        ASSERT_EQ(indices.size(), corners[m].size());
        EXPECT_EQ(std::set<double>(indices.begin(), indices.end()).size(), xyz.size() / 3);
        int wrong = 0;
        for (size_t k = 0; k < indices.size() && wrong < 3; ++k) {
            const uint32_t corner = corners[m][k];
            const size_t v = size_t(indices[k]);
            const float* position = mesh.Position(mesh.CornerPoint(corner));
            const float* direction = ValueAt(normal, mesh, corner);
            const float* texture = ValueAt(uv, mesh, corner);
            const float* paint = ValueAt(color, mesh, corner);
            double length = 0;
            for (int i = 0; i < 3; ++i)
                length += double(direction[i]) * direction[i];
            bool same = st[2 * v] == texture[0] && st[2 * v + 1] == 1.0f - texture[1];
            for (int i = 0; i < 3; ++i)
                same = same && xyz[3 * v + i] == position[i] &&
                       std::fabs(n[3 * v + i] - direction[i] / std::sqrt(length)) < 1e-6;
            for (int i = 0; i < 4; ++i)
                same = same && rgba[4 * v + i] == paint[i];
            if (!same) ++wrong, ADD_FAILURE() << "corner " << k << ", vertex " << v;
        }
    }
}
