// The node hierarchy as items: a node with polygons becomes a mesh item, a node that a camera
// names a camera item, any other a locator; each with its local transform as the host's own
// position, rotation (degrees, X then Y then Z) and scale. The skins follow, once every node
// has its item.
#include "ImportContext.h"

#include <assimp/camera.h>

#include <cmath>
#include <string>

namespace scenehost::import {

namespace {

constexpr double kDegrees = 180.0 / 3.14159265358979323846;
// The film back the host's cameras default to; the field of view sets the focal length on it.
constexpr double kApertureX = 0.036;

// Angles of the rotation, for a rotation about X first, then Y, then Z (column vectors:
// Rz * Ry * Rx), in degrees.
aiVector3D EulerXYZ(const aiMatrix3x3& r) {
    double x, y, z;
    if (std::fabs(r.c1) < 0.9999999) {
        y = std::asin(-double(r.c1));
        x = std::atan2(double(r.c2), double(r.c3));
        z = std::atan2(double(r.b1), double(r.a1));
    } else { // looking straight along Y: X and Z turn about the same axis
        y = r.c1 < 0 ? 3.14159265358979323846 / 2 : -3.14159265358979323846 / 2;
        x = 0;
        z = std::atan2(-double(r.a2), double(r.b2));
    }
    return aiVector3D(float(x * kDegrees), float(y * kDegrees), float(z * kDegrees));
}

const aiCamera* CameraOf(const aiScene& model, const aiNode& node) {
    for (unsigned i = 0; i < model.mNumCameras; ++i)
        if (model.mCameras[i]->mName == node.mName) return model.mCameras[i];
    return nullptr;
}

class NodeWriter {
public:
    explicit NodeWriter(ImportContext& context) : context_(context), json_(context.json) {}

    void Write(const aiNode& node, const std::string& parent) {
        const std::string id = "node" + std::to_string(next_++);
        const aiCamera* camera = CameraOf(context_.model, node);
        const bool mesh = NodeHasPolygons(context_, node);
        for (unsigned i = 0; i < MeshCountOf(context_, node); ++i)
            if (!(context_.model.mMeshes[node.mMeshes[i]]->mPrimitiveTypes &
                  (aiPrimitiveType_TRIANGLE | aiPrimitiveType_POLYGON)))
                ++linesAndPoints_;
        json_.StartObject();
        Key(json_, "id");
        json_.String(id.c_str());
        Key(json_, "type");
        json_.String(mesh ? "mesh" : camera ? "camera" : "locator");
        Key(json_, "name");
        json_.String(node.mName.length ? node.mName.C_Str() : id.c_str());
        if (!parent.empty()) {
            Key(json_, "parent");
            json_.String(parent.c_str());
        }
        WriteTransform(node.mTransformation);
        if (mesh) {
            Key(json_, "mesh");
            WriteNodeMesh(context_, node);
        } else if (camera) {
            WriteCamera(*camera);
        }
        json_.EndObject();
        if (mesh && camera) ++camerasOnMeshes_;
        nodes_.push_back({&node, id});
        if (mesh && !BoneNamesOf(context_, node, &missingBones_).empty())
            skinned_.push_back(nodes_.back());
        for (unsigned c = 0; c < node.mNumChildren; ++c)
            Write(*node.mChildren[c], id);
    }

    void WriteSkinItems() { WriteSkins(context_, nodes_, skinned_); }

    void Warn() const {
        if (linesAndPoints_ > 0)
            context_.warnings.push_back(
                CountOf(linesAndPoints_, "mesh of lines or points", "meshes of lines or points") +
                " left out");
        if (!missingBones_.empty())
            context_.warnings.push_back(
                std::to_string(missingBones_.size()) +
                (missingBones_.size() == 1 ? " bone names" : " bones name") +
                " no node of the model; left out, with their weights");
        if (camerasOnMeshes_ > 0)
            context_.warnings.push_back(CountOf(camerasOnMeshes_, "camera on a node with meshes",
                                                "cameras on nodes with meshes") +
                                        " left out");
    }

private:
    void WriteTransform(const aiMatrix4x4& local) {
        if (local.IsIdentity()) return;
        aiVector3D scale, position;
        aiQuaternion rotation;
        local.Decompose(scale, rotation, position);
        const aiVector3D angles = EulerXYZ(rotation.GetMatrix());
        Key(json_, "transform");
        json_.StartObject();
        Triple(json_, "position", position.x, position.y, position.z);
        Triple(json_, "rotation", angles.x, angles.y, angles.z);
        Triple(json_, "scale", scale.x, scale.y, scale.z);
        json_.EndObject();
    }

    void WriteCamera(const aiCamera& camera) {
        const double fov = camera.mHorizontalFOV > 0 ? camera.mHorizontalFOV : 0.8575;
        const double aspect = camera.mAspect > 0 ? camera.mAspect : 1.5;
        Key(json_, "channels");
        json_.StartObject();
        Key(json_, "focalLen");
        json_.Double(kApertureX / (2.0 * std::tan(fov / 2.0)));
        Key(json_, "apertureX");
        json_.Double(kApertureX);
        Key(json_, "apertureY");
        json_.Double(kApertureX / aspect);
        json_.EndObject();
    }

    ImportContext& context_;
    JsonOut& json_;
    size_t next_ = 0;
    size_t linesAndPoints_ = 0;
    size_t camerasOnMeshes_ = 0;
    std::vector<NodeItem> nodes_;
    std::vector<NodeItem> skinned_;
    std::set<std::string> missingBones_;
};

void NoteParents(ImportContext& context, const aiNode& node) {
    for (unsigned c = 0; c < node.mNumChildren; ++c) {
        context.parents[node.mChildren[c]] = &node;
        NoteParents(context, *node.mChildren[c]);
    }
}

} // namespace

const aiNode* ParentOf(const ImportContext& context, const aiNode* node) {
    auto parent = context.parents.find(node);
    return parent == context.parents.end() ? nullptr : parent->second;
}

void WriteNodes(ImportContext& context) {
    if (context.model.mRootNode) NoteParents(context, *context.model.mRootNode);
    NodeWriter writer(context);
    if (context.model.mRootNode) writer.Write(*context.model.mRootNode, "");
    writer.WriteSkinItems();
    writer.Warn();
}

} // namespace scenehost::import
