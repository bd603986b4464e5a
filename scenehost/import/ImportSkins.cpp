// Skins as the host keeps them: a weight map on the mesh for each bone, an influence item that
// the bone's node moves and that names the map, and a deform group that binds the mesh to its
// influences. The save binds a skin in the pose the joints stand in, so the bones' nodes must
// hold their bind pose; a model whose nodes stand elsewhere is warned about.
#include "ImportContext.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string>
#include <unordered_map>

namespace scenehost::import {

namespace {

aiMatrix4x4 GlobalTransform(const ImportContext& context, const aiNode* node) {
    aiMatrix4x4 global = node->mTransformation;
    for (const aiNode* parent = ParentOf(context, node); parent; parent = ParentOf(context, parent))
        global = parent->mTransformation * global;
    return global;
}

bool NearlyEqual(const aiMatrix4x4& a, const aiMatrix4x4& b) {
    double largest = 1.0;
    for (unsigned r = 0; r < 4; ++r)
        for (unsigned c = 0; c < 4; ++c)
            largest = std::max(largest, std::fabs(double(b[r][c])));
    for (unsigned r = 0; r < 4; ++r)
        for (unsigned c = 0; c < 4; ++c)
            if (std::fabs(double(a[r][c]) - b[r][c]) > 1e-3 * largest) return false;
    return true;
}

class SkinWriter {
public:
    SkinWriter(ImportContext& context, const std::vector<NodeItem>& nodes)
        : context_(context), json_(context.json) {
        for (size_t i = 0; i < nodes.size(); ++i)
            written_.emplace(nodes[i].node, Written{i, nodes[i].id});
    }

    void Write(const NodeItem& mesh) {
        // The joints in the order of the hierarchy, parents first.
        std::vector<std::pair<const aiNode*, std::string>> bones;
        for (const std::string& bone : BoneNamesOf(context_, *mesh.node))
            bones.emplace_back(context_.model.mRootNode->FindNode(bone.c_str()), bone);
        std::sort(bones.begin(), bones.end(), [this](const auto& a, const auto& b) {
            return written_.at(a.first).order < written_.at(b.first).order;
        });
        std::vector<std::string> joints;
        if (!bones.empty()) {
            std::vector<const aiNode*> nodes;
            for (const auto& bone : bones)
                nodes.push_back(bone.first);
            // Where the bones have no common root among them, their common parent joins as a
            // joint without weights.
            const aiNode* root = CommonRoot(nodes);
            if (root != nodes.front()) joints.push_back(written_.at(root).id);
        }
        for (const auto& [node, bone] : bones)
            joints.push_back(InfluenceFor(node, bone));
        CheckBindPose(*mesh.node);
        WriteGroup(mesh.id, joints);
    }

    void Warn() const {
        if (posed_ > 0)
            context_.warnings.push_back(
                CountOf(posed_, "skinned mesh", "skinned meshes") +
                " posed as the bones stand and bound there, not in the bind pose");
    }

private:
    struct Written {
        size_t order;
        std::string id;
    };

    bool IsAncestorOrSelf(const aiNode* ancestor, const aiNode* node) const {
        for (; node; node = ParentOf(context_, node))
            if (node == ancestor) return true;
        return false;
    }

    // The lowest node above or at the first joint that every joint hangs from: the skeleton's
    // root, which glTF readers expect to be the skin's first joint.
    const aiNode* CommonRoot(const std::vector<const aiNode*>& joints) const {
        for (const aiNode* root = joints.front();; root = ParentOf(context_, root))
            if (std::all_of(joints.begin(), joints.end(),
                            [&](const aiNode* joint) { return IsAncestorOrSelf(root, joint); }))
                return root;
    }

    std::string InfluenceFor(const aiNode* node, const std::string& bone) {
        auto known = influences_.find(bone);
        if (known != influences_.end()) return known->second;
        const std::string id = "influence" + std::to_string(influences_.size());
        influences_.emplace(bone, id);
        json_.StartObject();
        Key(json_, "id");
        json_.String(id.c_str());
        Key(json_, "type");
        json_.String("influence");
        Key(json_, "name");
        json_.String(bone.c_str());
        Key(json_, "locator");
        json_.String(written_.at(node).id.c_str());
        Key(json_, "channels");
        json_.StartObject();
        Key(json_, "name");
        json_.String(bone.c_str());
        json_.EndObject();
        json_.EndObject();
        return id;
    }

    void CheckBindPose(const aiNode& meshNode) {
        for (unsigned i = 0; i < MeshCountOf(context_, meshNode); ++i)
            if (!BonePoses(context_, meshNode, *context_.model.mMeshes[meshNode.mMeshes[i]])
                     .empty()) {
                ++posed_;
                return;
            }
    }

    void WriteGroup(const std::string& meshId, const std::vector<std::string>& joints) {
        json_.StartObject();
        Key(json_, "id");
        json_.String(("skin_" + meshId).c_str());
        Key(json_, "type");
        json_.String("deformGroup");
        Key(json_, "meshes");
        json_.StartArray();
        json_.String(meshId.c_str());
        json_.EndArray();
        Key(json_, "joints");
        json_.StartArray();
        for (const std::string& joint : joints)
            json_.String(joint.c_str());
        json_.EndArray();
        json_.EndObject();
    }

    ImportContext& context_;
    JsonOut& json_;
    std::unordered_map<const aiNode*, Written> written_;
    std::map<std::string, std::string> influences_; // bone name -> influence id
    size_t posed_ = 0; // skinned meshes whose bones stand apart from their bind pose
};

} // namespace

// assimp's offset matrix takes the mesh into the bone's space as the skin was bound: where the
// bone's node stands, that and the node's transform take the mesh to where it is drawn.
std::vector<aiMatrix4x4> BonePoses(const ImportContext& context, const aiNode& meshNode,
                                   const aiMesh& mesh) {
    const aiMatrix4x4 meshGlobal = GlobalTransform(context, &meshNode);
    aiMatrix4x4 toMesh = meshGlobal;
    toMesh.Inverse();
    std::vector<aiMatrix4x4> poses;
    bool bound = true;
    for (unsigned b = 0; b < mesh.mNumBones; ++b) {
        const aiBone& bone = *mesh.mBones[b];
        const aiNode* node = context.model.mRootNode->FindNode(bone.mName);
        const aiMatrix4x4 drawn =
            node ? GlobalTransform(context, node) * bone.mOffsetMatrix : meshGlobal;
        if (!NearlyEqual(drawn, meshGlobal)) bound = false;
        poses.push_back(toMesh * drawn);
    }
    if (bound) poses.clear();
    return poses;
}

std::vector<std::string> BoneNamesOf(const ImportContext& context, const aiNode& node,
                                     std::set<std::string>* missing) {
    std::vector<std::string> names;
    for (unsigned i = 0; i < MeshCountOf(context, node); ++i) {
        const aiMesh& mesh = *context.model.mMeshes[node.mMeshes[i]];
        for (unsigned b = 0; b < mesh.mNumBones; ++b) {
            const aiString& name = mesh.mBones[b]->mName;
            if (!context.model.mRootNode->FindNode(name)) {
                if (missing) missing->insert(name.C_Str());
            } else if (std::find(names.begin(), names.end(), name.C_Str()) == names.end()) {
                names.push_back(name.C_Str());
            }
        }
    }
    return names;
}

void WriteSkins(ImportContext& context, const std::vector<NodeItem>& nodes,
                const std::vector<NodeItem>& skinned) {
    SkinWriter writer(context, nodes);
    for (const NodeItem& mesh : skinned)
        writer.Write(mesh);
    writer.Warn();
}

} // namespace scenehost::import
