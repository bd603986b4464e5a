#include "ModelScene.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr uint32_t kMaterials = 4;
constexpr uint32_t kChartQuads = 25; // a UV chart is 25 x 25 quads, as a scanner's atlas might cut
const char* const kImageSources[kMaterials] = {"base_color.png", "crate.png", "glass.png",
                                               "label.jpg"};
const char* const kImageNames[kMaterials] = {"scan_1.png", "scan_2.png", "scan_3.png",
                                             "scan_4.jpg"};

using Vec3 = std::array<float, 3>;
using Vec2 = std::array<float, 2>;

// A bumpy torus of `columns` quads around the ring and `rows` around the tube; both directions
// close, so every point is shared by six triangles, as on a scanned closed surface.
struct Surface {
    uint32_t columns = 0, rows = 0;
    std::vector<Vec3> positions, normals; // per point: smooth normals
    std::vector<std::array<uint32_t, 3>> triangles;

    uint32_t Point(uint32_t i, uint32_t j) const { return (j % rows) * columns + i % columns; }
    // The quad's band, which is its material; a quad in the first row of a band has a hard edge.
    uint32_t Band(uint32_t j) const { return std::min(kMaterials - 1, j * kMaterials / rows); }
    bool HardEdge(uint32_t j) const { return Band(j) != Band((j + rows - 1) % rows); }
};

Vec3 Sub(const Vec3& a, const Vec3& b) {
    return {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
}
Vec3 Cross(const Vec3& a, const Vec3& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
Vec3 Normalized(Vec3 v) {
    float length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    return length > 0 ? Vec3{v[0] / length, v[1] / length, v[2] / length} : Vec3{0, 1, 0};
}
Vec3 FaceNormal(const Surface& s, const std::array<uint32_t, 3>& t) {
    return Cross(Sub(s.positions[t[1]], s.positions[t[0]]),
                 Sub(s.positions[t[2]], s.positions[t[0]]));
}

Surface MakeSurface(uint32_t triangles) {
    Surface s;
    double quads = std::max(9.0, triangles / 2.0);
    s.rows = std::max(3u, uint32_t(std::lround(std::sqrt(quads / 2))));
    s.columns = std::max(3u, uint32_t(std::lround(quads / s.rows)));
    s.positions.reserve(size_t(s.columns) * s.rows);
    for (uint32_t j = 0; j < s.rows; ++j) {
        for (uint32_t i = 0; i < s.columns; ++i) {
            double theta = 2 * kPi * i / s.columns, phi = 2 * kPi * j / s.rows;
            double bump = 0.04 * std::sin(7 * theta) * std::cos(5 * phi) +
                          0.015 * std::sin(23 * theta + 11 * phi);
            double tube = 0.35 + bump, radius = 1.0 + tube * std::cos(phi);
            s.positions.push_back({float(radius * std::cos(theta)), float(tube * std::sin(phi)),
                                   float(radius * std::sin(theta))});
        }
    }
    s.triangles.reserve(size_t(s.columns) * s.rows * 2);
    for (uint32_t j = 0; j < s.rows; ++j) {
        for (uint32_t i = 0; i < s.columns; ++i) {
            uint32_t a = s.Point(i, j), b = s.Point(i + 1, j), c = s.Point(i + 1, j + 1),
                     d = s.Point(i, j + 1);
            s.triangles.push_back({a, c, b}); // counter-clockwise seen from outside
            s.triangles.push_back({a, d, c});
        }
    }
    std::vector<Vec3> sum(s.positions.size(), Vec3{0, 0, 0});
    for (const auto& t : s.triangles) {
        Vec3 n = FaceNormal(s, t); // area-weighted
        for (uint32_t p : t)
            for (int k = 0; k < 3; ++k)
                sum[p][k] += n[k];
    }
    s.normals.reserve(sum.size());
    for (const Vec3& n : sum)
        s.normals.push_back(Normalized(n));
    return s;
}

// The chart atlas: chart (ci, cj) holds quads ci*C .. ci*C+C-1 across and likewise down, laid out
// in a square grid of cells with a margin. A point's own UV is in the chart that starts at or
// before it; a quad that reaches into the next chart (its last column or row) or across the
// closing seam is a seam quad, whose triangles carry their own UVs.
struct Atlas {
    uint32_t chart = kChartQuads, chartsAcross = 1, cellsPerSide = 1;

    explicit Atlas(const Surface& s) {
        chart = std::min({kChartQuads, s.columns, s.rows});
        chartsAcross = (s.columns + chart - 1) / chart;
        uint32_t chartsDown = (s.rows + chart - 1) / chart;
        cellsPerSide = uint32_t(std::ceil(std::sqrt(double(chartsAcross) * chartsDown)));
    }
    // The UV of grid corner (i, j), which may be one past the chart's end, in chart (ci, cj).
    Vec2 Uv(uint32_t i, uint32_t j, uint32_t ci, uint32_t cj) const {
        uint32_t cell = cj * chartsAcross + ci;
        float size = 1.0f / float(cellsPerSide);
        float u = float(cell % cellsPerSide) * size, v = float(cell / cellsPerSide) * size;
        float scale = 0.9f * size / float(chart);
        return {u + float(i - ci * chart) * scale, v + float(j - cj * chart) * scale};
    }
    Vec2 PointUv(uint32_t i, uint32_t j) const { return Uv(i, j, i / chart, j / chart); }
    bool Seam(const Surface& s, uint32_t i, uint32_t j) const {
        return (i + 1) % chart == 0 || (j + 1) % chart == 0 || i + 1 == s.columns ||
               j + 1 == s.rows;
    }
    // The three corners of triangle `half` (0 or 1) of quad (i, j), in the triangle's order.
    std::array<Vec2, 3> TriangleUvs(uint32_t i, uint32_t j, int half) const {
        uint32_t ci = i / chart, cj = j / chart;
        Vec2 a = Uv(i, j, ci, cj), b = Uv(i + 1, j, ci, cj), c = Uv(i + 1, j + 1, ci, cj),
             d = Uv(i, j + 1, ci, cj);
        return half == 0 ? std::array<Vec2, 3>{a, c, b} : std::array<Vec2, 3>{a, d, c};
    }
};

// Buffered text output with shortest round-trip numbers.
class TextFile {
public:
    explicit TextFile(const std::string& path)
        : path_(path), file_(std::fopen(path.c_str(), "wb")) {
        if (!file_) throw std::runtime_error("cannot write " + path);
        buffer_.reserve(kChunk + 256);
    }
    ~TextFile() {
        if (file_) std::fclose(file_);
    }
    TextFile& operator<<(const char* text) {
        buffer_ += text;
        return FlushIfFull();
    }
    TextFile& operator<<(const std::string& text) {
        buffer_ += text;
        return FlushIfFull();
    }
    TextFile& operator<<(float value) {
        char digits[32];
        auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
        buffer_.append(digits, end);
        return *this;
    }
    TextFile& operator<<(uint32_t value) {
        char digits[16];
        auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
        buffer_.append(digits, end);
        return *this;
    }
    template <size_t N> TextFile& Array(const std::array<float, N>& values) {
        buffer_ += '[';
        for (size_t k = 0; k < N; ++k) {
            if (k) buffer_ += ',';
            *this << values[k];
        }
        buffer_ += ']';
        return *this;
    }
    uint64_t Close() {
        Flush();
        bool failed = std::fclose(file_) != 0;
        file_ = nullptr;
        if (failed) throw std::runtime_error("cannot write " + path_);
        return written_;
    }

private:
    static constexpr size_t kChunk = 1 << 20;
    TextFile& FlushIfFull() {
        if (buffer_.size() >= kChunk) Flush();
        return *this;
    }
    void Flush() {
        if (std::fwrite(buffer_.data(), 1, buffer_.size(), file_) != buffer_.size())
            throw std::runtime_error("cannot write " + path_);
        written_ += buffer_.size();
        buffer_.clear();
    }
    std::string path_;
    std::FILE* file_;
    std::string buffer_;
    uint64_t written_ = 0;
};

std::string MaterialName(uint32_t band) {
    return "Material" + std::to_string(band + 1);
}

void WriteShaderTree(TextFile& out) {
    out << "    {\"id\": \"render\", \"type\": \"polyRender\", \"name\": \"Render\"},\n";
    for (uint32_t m = 0; m < kMaterials; ++m) {
        std::string n = std::to_string(m + 1), name = MaterialName(m);
        out << "    {\"id\": \"mask" + n + "\", \"type\": \"mask\", \"name\": \"" + name +
                   " (Material)\", \"parent\": \"render\", \"channels\": {\"ptag\": \"" + name +
                   "\"}},\n";
        out << "    {\"id\": \"shader" + n + "\", \"type\": \"glTFShader\", \"name\": \"" + name +
                   " glTF\", \"parent\": \"mask" + n +
                   "\", \"channels\": {\"metallic\": 0.0, \"roughness\": 0.8}},\n";
        out << "    {\"id\": \"image" + n + "\", \"type\": \"imageMap\", \"name\": \"" + name +
                   " (Image)\", \"parent\": \"mask" + n + "\", \"image\": \"images/" +
                   kImageNames[m] +
                   "\", \"textureLocator\": \"uvLocator\", \"channels\": {\"effect\": "
                   "\"baseColorGLTF\"}},\n";
    }
    out << "    {\"id\": \"uvLocator\", \"type\": \"txtrLocator\", \"name\": \"Texture Locator\", "
           "\"channels\": {\"projType\": 6, \"uvMap\": \"UVMap\"}},\n";
}

// Calls `each(i, j, half, triangleIndex)` for every triangle, in the order of the polygon list.
template <class Each> void ForEachTriangle(const Surface& s, Each each) {
    uint32_t t = 0;
    for (uint32_t j = 0; j < s.rows; ++j)
        for (uint32_t i = 0; i < s.columns; ++i)
            for (int half = 0; half < 2; ++half)
                each(i, j, half, t++);
}

void WriteUvMap(TextFile& out, const Surface& s, const Atlas& atlas) {
    out << "        {\"type\": \"TXUV\", \"name\": \"UVMap\", \"values\": [";
    for (uint32_t j = 0; j < s.rows; ++j)
        for (uint32_t i = 0; i < s.columns; ++i)
            (i || j ? out << "," : out).Array(atlas.PointUv(i, j));
    out << "],\n         \"polygonValues\": [";
    bool first = true;
    ForEachTriangle(s, [&](uint32_t i, uint32_t j, int half, uint32_t t) {
        if (!atlas.Seam(s, i, j)) return;
        out << (first ? "\n          {\"polygon\": " : ",\n          {\"polygon\": ") << t
            << ", \"values\": [";
        first = false;
        auto uvs = atlas.TriangleUvs(i, j, half);
        out.Array(uvs[0]) << ",";
        out.Array(uvs[1]) << ",";
        out.Array(uvs[2]) << "]}";
    });
    out << "]}";
}

void WriteNormalMap(TextFile& out, const Surface& s) {
    out << "        {\"type\": \"NORM\", \"name\": \"Normals\", \"values\": [";
    for (size_t p = 0; p < s.normals.size(); ++p)
        (p ? out << "," : out).Array(s.normals[p]);
    out << "],\n         \"polygonValues\": [";
    bool first = true;
    ForEachTriangle(s, [&](uint32_t, uint32_t j, int, uint32_t t) {
        if (!s.HardEdge(j)) return;
        Vec3 n = Normalized(FaceNormal(s, s.triangles[t]));
        out << (first ? "\n          {\"polygon\": " : ",\n          {\"polygon\": ") << t
            << ", \"values\": [";
        first = false;
        out.Array(n) << ",";
        out.Array(n) << ",";
        out.Array(n) << "]}";
    });
    out << "]}";
}

void WriteDetailMap(TextFile& out, const Surface& s) {
    out << "        {\"type\": \"TXUV\", \"name\": \"Detail\", \"values\": [";
    for (size_t p = 0; p < s.positions.size(); ++p)
        (p ? out << "," : out)
            .Array(Vec2{0.5f + 0.35f * s.positions[p][0], 0.5f + 0.35f * s.positions[p][2]});
    out << "]}";
}

void WriteColorMap(TextFile& out, const Surface& s) {
    out << "        {\"type\": \"RGBA\", \"name\": \"Color\", \"values\": [";
    for (size_t p = 0; p < s.positions.size(); ++p) {
        const Vec3& x = s.positions[p];
        auto channel = [](double wave) { return float(std::lround(127.5 + 127.5 * wave)) / 255; };
        std::array<float, 4> rgba{channel(std::sin(3 * x[0])), channel(std::cos(4 * x[1])),
                                  channel(std::sin(5 * x[2])), 1.0f};
        (p ? out << "," : out).Array(rgba);
    }
    out << "]}";
}

uint64_t WriteScene(const ModelOptions& options, const Surface& s, const std::string& path) {
    Atlas atlas(s);
    TextFile out(path);
    out << "{\n  \"userValues\": {\"sceneio.gltf.save.exportType\": 0, "
           "\"sceneio.gltf.save.indicesExport\": 1},\n  \"items\": [\n";
    WriteShaderTree(out);
    out << "    {\"id\": \"scan\", \"type\": \"mesh\", \"name\": \"Scan\", \"mesh\": {\n"
           "      \"points\": [";
    for (size_t p = 0; p < s.positions.size(); ++p)
        (p ? out << "," : out).Array(s.positions[p]);
    out << "],\n      \"polygons\": [";
    ForEachTriangle(s, [&](uint32_t, uint32_t j, int, uint32_t t) {
        const auto& tri = s.triangles[t];
        out << (t ? ",\n        {\"points\": [" : "\n        {\"points\": [") << tri[0] << ","
            << tri[1] << "," << tri[2] << "], \"material\": \"" << MaterialName(s.Band(j)) << "\"}";
    });
    out << "],\n      \"maps\": [\n";
    WriteNormalMap(out, s);
    out << ",\n";
    WriteUvMap(out, s, atlas);
    if (options.uvSets > 1) {
        out << ",\n";
        WriteDetailMap(out, s);
    }
    if (options.colors) {
        out << ",\n";
        WriteColorMap(out, s);
    }
    out << "\n      ]}}\n  ]\n}\n";
    return out.Close();
}

// The same model as OBJ: one `vt` and one `vn` a point, then one a seam corner and one a
// hard-edged triangle.
void WriteObj(const Surface& s, const std::string& path, const std::string& mtlName) {
    Atlas atlas(s);
    TextFile out(path);
    out << "mtllib " << mtlName << "\no Scan\n";
    for (const Vec3& p : s.positions)
        out << "v " << p[0] << " " << p[1] << " " << p[2] << "\n";
    for (uint32_t j = 0; j < s.rows; ++j)
        for (uint32_t i = 0; i < s.columns; ++i) {
            Vec2 uv = atlas.PointUv(i, j);
            out << "vt " << uv[0] << " " << uv[1] << "\n";
        }
    for (const Vec3& n : s.normals)
        out << "vn " << n[0] << " " << n[1] << " " << n[2] << "\n";
    uint32_t nextUv = uint32_t(s.positions.size()) + 1, nextNormal = nextUv;
    uint32_t band = kMaterials;
    ForEachTriangle(s, [&](uint32_t i, uint32_t j, int half, uint32_t t) {
        const auto& tri = s.triangles[t];
        uint32_t uv[3] = {tri[0] + 1, tri[1] + 1, tri[2] + 1};
        uint32_t normal[3] = {uv[0], uv[1], uv[2]};
        if (atlas.Seam(s, i, j)) {
            for (const Vec2& corner : atlas.TriangleUvs(i, j, half))
                out << "vt " << corner[0] << " " << corner[1] << "\n";
            for (uint32_t& k : uv)
                k = nextUv++;
        }
        if (s.HardEdge(j)) {
            Vec3 n = Normalized(FaceNormal(s, tri));
            out << "vn " << n[0] << " " << n[1] << " " << n[2] << "\n";
            normal[0] = normal[1] = normal[2] = nextNormal++;
        }
        if (s.Band(j) != band) {
            band = s.Band(j);
            out << "usemtl " << MaterialName(band) << "\n";
        }
        out << "f";
        for (int k = 0; k < 3; ++k)
            out << " " << (tri[k] + 1) << "/" << uv[k] << "/" << normal[k];
        out << "\n";
    });
    out.Close();
}

void WriteMtl(const std::string& path) {
    TextFile out(path);
    for (uint32_t m = 0; m < kMaterials; ++m)
        out << "newmtl " << MaterialName(m) << "\nKd 1 1 1\nmap_Kd images/" << kImageNames[m]
            << "\n";
    out.Close();
}

void CopyImages(const std::string& dir, const std::string& imageSource) {
    namespace fs = std::filesystem;
    fs::create_directories(fs::path(dir) / "images");
    for (uint32_t m = 0; m < kMaterials; ++m)
        fs::copy_file(fs::path(imageSource) / kImageSources[m],
                      fs::path(dir) / "images" / kImageNames[m],
                      fs::copy_options::overwrite_existing);
}

} // namespace

ModelFiles WriteModel(const ModelOptions& options, const std::string& dir,
                      const std::string& imageSource) {
    std::filesystem::create_directories(dir);
    CopyImages(dir, imageSource);
    Surface surface = MakeSurface(options.triangles);
    ModelFiles files;
    std::string stem = dir + "/model_" + std::to_string(options.triangles);
    files.scene = stem + ".json";
    files.sceneBytes = WriteScene(options, surface, files.scene);
    if (options.obj) {
        files.obj = stem + ".obj";
        WriteObj(surface, files.obj, "model_" + std::to_string(options.triangles) + ".mtl");
        WriteMtl(stem + ".mtl");
    }
    files.triangles = uint32_t(surface.triangles.size());
    files.points = uint32_t(surface.positions.size());
    return files;
}

} // namespace bench
