// The record operations that the exporting code calls while it fills the document.
#include "document/GltfDocument.h"

#include <cassert>
#include <cmath>
#include <cstring>

// ---- Nodes and scenes --------------------------------------------------------------------------

void GltfNode::AddChild(GltfNode* child) {
    children.push_back(child);
    child->parent = this;
}

void GltfNode::SetMesh(GltfMesh* newMesh) {
    mesh = newMesh;
    newMesh->node = this;
}

void GltfNode::SetCamera(std::unique_ptr<GltfCamera> newCamera) {
    camera = std::move(newCamera);
    camera->node = this;
}

namespace {

// The quaternion of a 3x3 matrix a (a[r][c], column-vector convention). Deliberately not
// normalised: a scaled node writes a quaternion that is not of unit length.
GltfVec4 quaternionOf(const double a[3][3]) {
    GltfVec4 q{}; // x, y, z, w
    const double t = 1.0 + a[0][0] + a[1][1] + a[2][2];
    if (t > 0.0) {
        const double s = std::sqrt(t);
        const double k = 0.5 / s;
        q[3] = 0.5 * s;
        q[0] = (a[2][1] - a[1][2]) * k;
        q[1] = (a[0][2] - a[2][0]) * k;
        q[2] = (a[1][0] - a[0][1]) * k;
        return q;
    }
    // Near a half turn: start from the largest diagonal element, for precision.
    int i = a[0][0] < a[1][1] ? 1 : 0;
    if (a[2][2] > a[i][i]) i = 2;
    const int j = (i + 1) % 3;
    const int k = (j + 1) % 3;
    double s = std::sqrt(1.0 + a[i][i] - a[j][j] - a[k][k]);
    q[i] = 0.5 * s;
    if (s > 0.0) s = 0.5 / s;
    q[3] = (a[k][j] - a[j][k]) * s;
    q[j] = (a[j][i] + a[i][j]) * s;
    q[k] = (a[k][i] + a[i][k]) * s;
    return q;
}

double lengthOf(double x, double y, double z) {
    return std::sqrt(x * x + y * y + z * z);
}

} // namespace

void GltfNode::DecomposeMatrix() {
    const GltfMatrix& m = matrix;
    translation = {m[12], m[13], m[14]};
    // Deliberate: lengths are never negative, so a mirrored node loses its sign here.
    scale = {lengthOf(m[0], m[1], m[2]), lengthOf(m[4], m[5], m[6]), lengthOf(m[8], m[9], m[10])};
    double a[3][3];
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            a[r][c] = m[4 * c + r];
    rotation = quaternionOf(a);
}

GltfNode* GltfScene::CreateNode(const std::string& nodeName) {
    nodes.push_back(std::make_unique<GltfNode>(nodeName));
    GltfNode* node = nodes.back().get();
    nodesByName.emplace(nodeName, node); // deliberate: a taken name keeps its first node
    return node;
}

GltfNode* GltfScene::FindNode(const std::string& nodeName) const {
    auto found = nodesByName.find(nodeName);
    return found == nodesByName.end() ? nullptr : found->second;
}

GltfMesh* GltfScene::CreateMesh() {
    meshes.push_back(std::make_unique<GltfMesh>());
    return meshes.back().get();
}

GltfMaterial* GltfScene::CreateMaterial(const std::string& materialName) {
    materials.push_back(std::make_unique<GltfMaterial>(materialName));
    return materials.back().get();
}

GltfAnimation* GltfScene::CreateAnimation() {
    animations.push_back(std::make_unique<GltfAnimation>());
    return animations.back().get();
}

GltfScene* GltfDocument::CreateScene() {
    scenes.push_back(std::make_unique<GltfScene>());
    return scenes.back().get();
}

// ---- Meshes, skins, animations -----------------------------------------------------------------

GltfColorMap* GltfMesh::AddColorMap() {
    colorMaps.push_back(std::make_unique<GltfColorMap>());
    return colorMaps.back().get();
}

GltfUvMap* GltfMesh::AddUvMap() {
    uvMaps.push_back(std::make_unique<GltfUvMap>());
    return uvMaps.back().get();
}

GltfTangentMap* GltfMesh::AddTangentMap() {
    tangentMaps.push_back(std::make_unique<GltfTangentMap>());
    return tangentMaps.back().get();
}

void GltfSkin::Resize(uint32_t count) {
    jointIndices.resize(jointIndices.size() + count, GltfVec4{});
    weights.resize(weights.size() + count, GltfVec4{});
    influenceCounts.resize(influenceCounts.size() + count, 0);
}

bool GltfSkin::AddInfluence(uint32_t pointIndex, float weight, uint32_t jointNumber) {
    assert(pointIndex < influenceCounts.size() && "AddInfluence before Resize");
    if (pointIndex >= influenceCounts.size()) return false;
    uint32_t& used = influenceCounts[pointIndex];
    if (used >= 4) return false;
    jointIndices[pointIndex][used] = jointNumber;
    weights[pointIndex][used] = weight;
    ++used;
    return true;
}

GltfAnimationSampler* GltfAnimation::AddSampler(GltfAnimationPath path) {
    samplers.push_back(std::make_unique<GltfAnimationSampler>());
    samplers.back()->path = path;
    return samplers.back().get();
}

GltfAnimationChannel* GltfAnimation::AddChannel(GltfNode* node, GltfAnimationSampler* sampler,
                                                GltfAnimationPath path) {
    channels.push_back(std::make_unique<GltfAnimationChannel>());
    GltfAnimationChannel* channel = channels.back().get();
    channel->node = node;
    channel->sampler = sampler;
    channel->path = path;
    return channel;
}

// ---- Buffer chunks -----------------------------------------------------------------------------

GltfBufferChunk GltfBufferChunk::Zeroed(GltfChunkKind kind, uint32_t count) {
    GltfBufferChunk chunk;
    const size_t size = size_t{count} * (kind == GltfChunkKind::Uint16 ? 2 : 4);
    chunk.data.resize(size);
    chunk.elementCount = count;
    chunk.padBytes = static_cast<uint32_t>(0u - size) & 3u;
    chunk.byteLength = static_cast<uint32_t>(size) + chunk.padBytes;
    chunk.kind = kind;
    return chunk;
}

namespace {

template <typename T>
GltfBufferChunk makeNumberChunk(const std::vector<T>& numbers, GltfChunkKind kind) {
    GltfBufferChunk chunk = GltfBufferChunk::Zeroed(kind, static_cast<uint32_t>(numbers.size()));
    if (!numbers.empty()) std::memcpy(chunk.data.data(), numbers.data(), chunk.data.size());
    return chunk;
}

} // namespace

GltfBufferChunk GltfBufferChunk::FromUint16(const std::vector<uint16_t>& numbers) {
    return makeNumberChunk(numbers, GltfChunkKind::Uint16);
}

GltfBufferChunk GltfBufferChunk::FromUint32(const std::vector<uint32_t>& numbers) {
    return makeNumberChunk(numbers, GltfChunkKind::Uint32);
}

GltfBufferChunk GltfBufferChunk::FromFloats(const std::vector<float>& numbers) {
    return makeNumberChunk(numbers, GltfChunkKind::Float);
}

GltfBufferChunk GltfBufferChunk::ForImage(std::string path, uint32_t byteLength,
                                          uint32_t padBytes) {
    GltfBufferChunk chunk;
    chunk.imagePath = std::move(path);
    chunk.byteLength = byteLength;
    chunk.padBytes = padBytes;
    chunk.kind = GltfChunkKind::ImageFile;
    return chunk;
}
