// A node's meshes as one host mesh. assimp splits a point wherever its corners differ in normal,
// UV or colour; the host keeps one point and gives the polygons that differ their own values at
// that corner. So the points are welded again by position, each map takes the first value seen
// at a point as the point's value, and a corner with another value becomes a polygon value.
#include "ImportContext.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

namespace scenehost::import {

namespace {

using Position = std::array<float, 3>;

struct PositionHash {
    size_t operator()(const Position& p) const {
        uint32_t bits[3];
        std::memcpy(bits, p.data(), sizeof bits);
        return (size_t(bits[0]) * 73856093u) ^ (size_t(bits[1]) * 19349663u) ^
               (size_t(bits[2]) * 83492791u);
    }
};

struct PositionEqual {
    bool operator()(const Position& a, const Position& b) const {
        return std::memcmp(a.data(), b.data(), sizeof(Position)) == 0;
    }
};

// Where a corner's values come from: a vertex of one of assimp's meshes.
struct Source {
    const aiMesh* mesh;
    uint32_t vertex;
};

// One vertex map: its type, name, width and how to read a vertex's value.
struct MapSpec {
    const char* type;
    std::string name;
    int width;
    std::function<bool(const Source&, float*)> read;
    // A point takes the value of its first corner's vertex, also where that vertex has none:
    // the weights of a point must all come from one vertex, or they no longer add up to one.
    bool fromFirstCorner = false;
};

// The shortest text that reads back as the same float: the host keeps 32-bit floats.
void Number(JsonOut& json, float value) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, std::isfinite(value) ? value : 0.0f);
    json.RawValue(text, size_t(end.ptr - text), rapidjson::kNumberType);
}

void Row(JsonOut& json, const float* values, int width) {
    json.StartArray();
    for (int i = 0; i < width; ++i)
        Number(json, values[i]);
    json.EndArray();
}

class MeshBuilder {
public:
    MeshBuilder(ImportContext& context, const aiNode& node)
        : context_(context), node_(node), bones_(BoneNamesOf(context, node)) {}

    void Add(const aiMesh& mesh) {
        // Lines and points are counted and left out by the node walk.
        if (!(mesh.mPrimitiveTypes & (aiPrimitiveType_TRIANGLE | aiPrimitiveType_POLYGON))) return;
        AddWeights(mesh);
        const aiVector3D* positions = Pose(mesh);
        std::vector<uint32_t> pointOf(mesh.mNumVertices);
        for (uint32_t v = 0; v < mesh.mNumVertices; ++v)
            pointOf[v] = PointAt(positions[v]);
        const std::string* material = &context_.materialTags.at(mesh.mMaterialIndex);
        for (uint32_t f = 0; f < mesh.mNumFaces; ++f)
            AddFace(mesh, mesh.mFaces[f], pointOf, material);
        meshes_.push_back(&mesh);
    }

    bool Empty() const { return polygonEnds_.empty(); }

    void Write(const std::string& nodeName) {
        JsonOut& json = context_.json;
        json.StartObject();
        Key(json, "points");
        json.StartArray();
        for (const Position& p : points_)
            Row(json, p.data(), 3);
        json.EndArray();
        Key(json, "polygons");
        json.StartArray();
        for (size_t p = 0; p < polygonEnds_.size(); ++p) {
            json.StartObject();
            Key(json, "points");
            json.StartArray();
            for (uint32_t c = PolygonStart(p); c < polygonEnds_[p]; ++c)
                json.Uint(cornerPoints_[c]);
            json.EndArray();
            Key(json, "material");
            json.String(polygonMaterials_[p]->c_str());
            json.EndObject();
        }
        json.EndArray();
        Key(json, "maps");
        json.StartArray();
        for (const MapSpec& map : Maps())
            WriteMap(map);
        json.EndArray();
        json.EndObject();
        Warn(nodeName);
    }

private:
    uint32_t PointAt(const aiVector3D& v) {
        Position p = {v.x, v.y, v.z};
        auto [at, added] = pointIndex_.emplace(p, uint32_t(points_.size()));
        if (added) points_.push_back(p);
        return at->second;
    }

    void AddFace(const aiMesh& mesh, const aiFace& face, const std::vector<uint32_t>& pointOf,
                 const std::string* material) {
        if (face.mNumIndices < 3) return; // a line or point among the polygons
        const size_t first = cornerPoints_.size();
        for (uint32_t i = 0; i < face.mNumIndices; ++i) {
            uint32_t point = pointOf[face.mIndices[i]];
            // Two corners at one place: the host takes each point once in a polygon.
            for (size_t seen = first; seen < cornerPoints_.size(); ++seen)
                if (cornerPoints_[seen] == point) {
                    cornerPoints_.resize(first);
                    cornerSources_.resize(first);
                    ++degenerate_;
                    return;
                }
            cornerPoints_.push_back(point);
            cornerSources_.push_back({&mesh, face.mIndices[i]});
        }
        polygonEnds_.push_back(uint32_t(cornerPoints_.size()));
        polygonMaterials_.push_back(material);
    }

    // Each bone's weight at each vertex of `mesh`, by the bone's place in bones_.
    void AddWeights(const aiMesh& mesh) {
        if (mesh.mNumBones == 0) return;
        std::vector<std::vector<float>>& byBone = weights_[&mesh];
        byBone.resize(bones_.size());
        for (unsigned b = 0; b < mesh.mNumBones; ++b) {
            const aiBone& bone = *mesh.mBones[b];
            const size_t at = BoneIndex(bone.mName.C_Str());
            if (at == bones_.size()) continue; // names no node
            std::vector<float>& weights = byBone[at];
            weights.resize(mesh.mNumVertices, 0.0f);
            for (unsigned w = 0; w < bone.mNumWeights; ++w)
                if (bone.mWeights[w].mVertexId < mesh.mNumVertices)
                    weights[bone.mWeights[w].mVertexId] += bone.mWeights[w].mWeight;
        }
        for (uint32_t v = 0; v < mesh.mNumVertices; ++v)
            NormaliseWeights(byBone, v);
    }

    // The mesh's vertices where its bones draw them, when they stand apart from the bind pose;
    // the save binds the skin in the pose the bones stand in.
    const aiVector3D* Pose(const aiMesh& mesh) {
        const std::vector<aiMatrix4x4> poses = BonePoses(context_, node_, mesh);
        if (poses.empty()) return mesh.mVertices;
        // By bone as in bones_; a bone the mesh names twice has its weights summed, and moves once.
        std::vector<const aiMatrix4x4*> poseOf(bones_.size(), nullptr);
        std::vector<aiMatrix3x3> normalPoseOf(bones_.size());
        for (unsigned b = 0; b < mesh.mNumBones; ++b) {
            const size_t at = BoneIndex(mesh.mBones[b]->mName.C_Str());
            if (at == bones_.size() || poseOf[at]) continue;
            poseOf[at] = &poses[b];
            normalPoseOf[at] = aiMatrix3x3(poses[b]).Inverse().Transpose();
        }
        const std::vector<std::vector<float>>& byBone = weights_.at(&mesh);
        PosedMesh& posed = posed_[&mesh];
        posed.positions.assign(mesh.mVertices, mesh.mVertices + mesh.mNumVertices);
        if (mesh.HasNormals())
            posed.normals.assign(mesh.mNormals, mesh.mNormals + mesh.mNumVertices);
        for (uint32_t v = 0; v < mesh.mNumVertices; ++v) {
            aiVector3D position, normal;
            bool moved = false;
            for (size_t b = 0; b < bones_.size(); ++b) {
                if (!poseOf[b] || byBone[b].empty() || byBone[b][v] == 0.0f) continue;
                const float weight = byBone[b][v];
                position += weight * (*poseOf[b] * mesh.mVertices[v]);
                if (mesh.HasNormals()) normal += weight * (normalPoseOf[b] * mesh.mNormals[v]);
                moved = true;
            }
            if (!moved) continue;
            posed.positions[v] = position;
            if (mesh.HasNormals()) posed.normals[v] = normal.NormalizeSafe();
        }
        return posed.positions.data();
    }

    size_t BoneIndex(const char* name) const {
        return size_t(std::find(bones_.begin(), bones_.end(), name) - bones_.begin());
    }

    // glTF readers expect a vertex's weights to add up to one, and the save writes them as the
    // scene holds them: so they are made to here, the largest taking up what the floats lose.
    static void NormaliseWeights(std::vector<std::vector<float>>& byBone, uint32_t vertex) {
        double sum = 0.0;
        std::vector<float>* largest = nullptr;
        for (std::vector<float>& weights : byBone)
            if (!weights.empty() && weights[vertex] > 0.0f) {
                sum += weights[vertex];
                if (!largest || weights[vertex] > (*largest)[vertex]) largest = &weights;
            }
        if (!largest) return;
        double others = 0.0;
        for (std::vector<float>& weights : byBone)
            if (!weights.empty() && weights[vertex] > 0.0f) {
                weights[vertex] = float(weights[vertex] / sum);
                if (&weights != largest) others += weights[vertex];
            }
        (*largest)[vertex] = float(1.0 - others);
    }

    uint32_t PolygonStart(size_t polygon) const { return polygon ? polygonEnds_[polygon - 1] : 0; }

    // The maps any of the meshes has values for, in the order the host should list them.
    std::vector<MapSpec> Maps() const {
        std::vector<MapSpec> maps;
        auto any = [&](const std::function<bool(const aiMesh&)>& has) {
            for (const aiMesh* mesh : meshes_)
                if (has(*mesh)) return true;
            return false;
        };
        if (any([](const aiMesh& m) { return m.HasNormals(); }))
            maps.push_back({"NORM", "Normals", 3, [this](const Source& s, float* out) {
                                if (!s.mesh->HasNormals()) return false;
                                auto posed = posed_.find(s.mesh);
                                const aiVector3D& n = posed == posed_.end()
                                                          ? s.mesh->mNormals[s.vertex]
                                                          : posed->second.normals[s.vertex];
                                out[0] = n.x, out[1] = n.y, out[2] = n.z;
                                return true;
                            }});
        for (unsigned set = 0; set < AI_MAX_NUMBER_OF_TEXTURECOORDS; ++set)
            if (any([set](const aiMesh& m) { return m.HasTextureCoords(set); }))
                maps.push_back(
                    {"TXUV", context_.uvMapNames.at(set), 2, [set](const Source& s, float* out) {
                         if (!s.mesh->HasTextureCoords(set)) return false;
                         const aiVector3D& uv = s.mesh->mTextureCoords[set][s.vertex];
                         out[0] = uv.x, out[1] = uv.y;
                         return true;
                     }});
        for (unsigned set = 0; set < AI_MAX_NUMBER_OF_COLOR_SETS; ++set)
            if (any([set](const aiMesh& m) { return m.HasVertexColors(set); }))
                maps.push_back(
                    {"RGBA", "Color" + std::to_string(set), 4, [set](const Source& s, float* out) {
                         if (!s.mesh->HasVertexColors(set)) return false;
                         const aiColor4D& c = s.mesh->mColors[set][s.vertex];
                         out[0] = UnitRange(c.r), out[1] = UnitRange(c.g);
                         out[2] = UnitRange(c.b), out[3] = UnitRange(c.a);
                         return true;
                     }});
        // A weight map for each bone, named after it: a vertex the bone does not reach has none.
        for (size_t b = 0; b < bones_.size(); ++b)
            maps.push_back({"WGHT", bones_[b], 1,
                            [this, b](const Source& s, float* out) {
                                auto mesh = weights_.find(s.mesh);
                                if (mesh == weights_.end() || mesh->second[b].empty()) return false;
                                out[0] = mesh->second[b][s.vertex];
                                return out[0] != 0.0f;
                            },
                            true});
        return maps;
    }

    // The point values (the first corner's at each point), then each polygon whose corners
    // differ from them, with null where a corner agrees.
    void WriteMap(const MapSpec& map) {
        const size_t width = size_t(map.width);
        std::vector<float> pointValues(points_.size() * width);
        std::vector<char> hasValue(points_.size(), 0), taken(points_.size(), 0);
        float value[4];
        for (size_t c = 0; c < cornerPoints_.size(); ++c) {
            uint32_t point = cornerPoints_[c];
            if (taken[point]) continue;
            if (map.fromFirstCorner) taken[point] = 1;
            if (!map.read(cornerSources_[c], value)) continue;
            taken[point] = 1;
            std::memcpy(&pointValues[point * width], value, width * sizeof(float));
            hasValue[point] = 1;
        }
        JsonOut& json = context_.json;
        json.StartObject();
        Key(json, "type");
        json.String(map.type);
        Key(json, "name");
        json.String(map.name.c_str());
        Key(json, "values");
        json.StartArray();
        for (size_t point = 0; point < points_.size(); ++point) {
            if (hasValue[point])
                Row(json, &pointValues[point * width], map.width);
            else
                json.Null();
        }
        json.EndArray();
        Key(json, "polygonValues");
        json.StartArray();
        for (size_t p = 0; p < polygonEnds_.size(); ++p)
            WriteOwnValues(map, uint32_t(p), pointValues, hasValue);
        json.EndArray();
        json.EndObject();
    }

    void WriteOwnValues(const MapSpec& map, uint32_t index, const std::vector<float>& pointValues,
                        const std::vector<char>& hasValue) {
        const uint32_t first = PolygonStart(index), count = polygonEnds_[index] - first;
        const size_t width = size_t(map.width);
        values_.resize(count * width);
        own_.assign(count, 0);
        bool any = false;
        for (uint32_t c = 0; c < count; ++c) {
            float* value = &values_[c * width];
            if (!map.read(cornerSources_[first + c], value)) continue;
            uint32_t point = cornerPoints_[first + c];
            own_[c] = !hasValue[point] ||
                      std::memcmp(value, &pointValues[point * width], width * sizeof(float)) != 0;
            any = any || own_[c];
        }
        if (!any) return;
        JsonOut& json = context_.json;
        json.StartObject();
        Key(json, "polygon");
        json.Uint(index);
        Key(json, "values");
        json.StartArray();
        for (uint32_t c = 0; c < count; ++c) {
            if (own_[c])
                Row(json, &values_[c * width], map.width);
            else
                json.Null();
        }
        json.EndArray();
        json.EndObject();
    }

    void Warn(const std::string& nodeName) {
        if (degenerate_ > 0)
            context_.warnings.push_back(
                "'" + nodeName + "': " +
                CountOf(degenerate_, "polygon with two corners", "polygons with two corners") +
                " at one place; left out");
    }

    struct PosedMesh {
        std::vector<aiVector3D> positions, normals;
    };

    ImportContext& context_;
    const aiNode& node_;
    std::vector<std::string> bones_;
    std::unordered_map<const aiMesh*, PosedMesh> posed_;
    // By mesh, then by bone as in bones_ (empty where the mesh has no such bone), then by vertex.
    std::unordered_map<const aiMesh*, std::vector<std::vector<float>>> weights_;
    std::vector<Position> points_;
    std::unordered_map<Position, uint32_t, PositionHash, PositionEqual> pointIndex_;
    // The polygons, flat: their corners' points and sources, where each ends, its material.
    std::vector<uint32_t> cornerPoints_;
    std::vector<Source> cornerSources_;
    std::vector<uint32_t> polygonEnds_;
    std::vector<const std::string*> polygonMaterials_;
    std::vector<float> values_; // one polygon's values of one map, reused
    std::vector<char> own_;
    std::vector<const aiMesh*> meshes_;
    size_t degenerate_ = 0;
};

} // namespace

bool NodeHasPolygons(const ImportContext& context, const aiNode& node) {
    for (unsigned i = 0; i < MeshCountOf(context, node); ++i)
        if (context.model.mMeshes[node.mMeshes[i]]->mPrimitiveTypes &
            (aiPrimitiveType_TRIANGLE | aiPrimitiveType_POLYGON))
            return true;
    return false;
}

void WriteNodeMesh(ImportContext& context, const aiNode& node) {
    MeshBuilder builder(context, node);
    for (unsigned i = 0; i < MeshCountOf(context, node); ++i)
        builder.Add(*context.model.mMeshes[node.mMeshes[i]]);
    builder.Write(node.mName.C_Str());
}

} // namespace scenehost::import
