// The glTF document: the in-memory records of one export and their serialisation.
//
// The records are a staging model. The saver and the geometry, material and animation code fill
// them in the host's terms (double-precision matrices, per-corner index tables, material names);
// GltfDocument::Write then turns them, in one pass, into a JSON tree and a list of binary chunks,
// and writes either one .glb file or a .gltf file with a .bin file and image copies beside it.
// Accessors, buffer views, buffers, images and samplers have no record: they get their glTF
// index while Write runs, as objects appended to the JSON arrays.
//
// Phases, in the order a save runs them:
//   1. Fill      the saver creates the document and a scene; the exporting code fills records.
//   2. Write     JSON in memory: nodes depth first, each with its mesh and camera; binary data
//                collects in `chunks`.
//   3. Output    bytes to the .glb, or to the .gltf and .bin (GltfOutput.h holds the streams).
//   4. Reset     the records are freed.
//
// Ownership runs downward: document -> scenes -> nodes, meshes, materials, animations; node ->
// camera; mesh -> maps and skins; animation -> channels and samplers. Textures are shared by the
// materials that use them. Every other pointer in the records is a plain reference.
//
// Paths are host paths, backslash-separated; HostPath.h maps them to the platform on open.
#pragma once

#include "document/InsertionOrderedMap.h"

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

class GltfLogMsg;
class GltfOutputStream;
struct GltfJsonState;

// RapidJSON appears in a few signatures only. Declaring its value type here keeps the library
// out of every file that fills records; GltfJson.h checks that the alias is rapidjson::Value.
// (rapidjson/fwd.h cannot be included here: it would fix RapidJSON's configuration before
// gltfio_json.h sets it.)
namespace rapidjson {
class CrtAllocator;
template <typename BaseAllocator> class MemoryPoolAllocator;
template <typename CharType> struct UTF8;
template <typename Encoding, typename Allocator> class GenericValue;
} // namespace rapidjson
using GltfJsonValue =
    rapidjson::GenericValue<rapidjson::UTF8<char>,
                            rapidjson::MemoryPoolAllocator<rapidjson::CrtAllocator>>;

// ---- Shared values ---------------------------------------------------------------------------

// Result of a write operation that wrote nothing: the caller leaves the member out.
constexpr uint32_t kGltfNoIndex = 0xFFFFFFFFu;

// glTF component types in use.
constexpr uint32_t kGltfUnsignedShort = 5123;
constexpr uint32_t kGltfUnsignedInt = 5125;
constexpr uint32_t kGltfFloat = 5126;

// Which files Write produces (GltfDocument::outputKind). Any value but kGltfOutputGlb writes
// the .gltf pair.
enum GltfOutputKind : uint32_t {
    kGltfOutputGlb = 0,  // one .glb at the host's path
    kGltfOutputGltf = 1, // a .gltf, a .bin beside it, and copies of the images
};

// A 4x4 transform, rows of four, translation in elements 12 to 14 (row-vector convention). Its
// storage order is exactly glTF's column-major "matrix".
using GltfMatrix = std::array<double, 16>;
using GltfVec3 = std::array<double, 3>;
using GltfVec4 = std::array<double, 4>;

inline constexpr GltfMatrix kGltfIdentityMatrix = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

// The enums keep the numbers the records store; the writer maps each to glTF in one switch.
// A stored value outside the named ones is legal and has a documented fallback there.
enum class GltfWrapMode : uint32_t { Repeat = 1, MirroredRepeat = 2, ClampToEdge = 3 };
enum class GltfAlphaMode : uint32_t { Opaque = 0, Mask = 1, Blend = 2 };
enum class GltfAnimationPath : uint32_t { Translation = 1, Rotation = 2, Scale = 3, Weights = 4 };
enum class GltfChunkKind : uint32_t { Uint16 = 1, Uint32 = 2, Float = 3, ImageFile = 4 };
enum class GltfAccessorType : uint32_t { Scalar, Vec2, Vec3, Vec4, Mat2, Mat3, Mat4 };

struct GltfNode;

// ---- Records, phase 1 --------------------------------------------------------------------------

struct GltfCamera {
    explicit GltfCamera(std::string cameraName) : name(std::move(cameraName)) {}
    std::string name;
    GltfNode* node = nullptr; // set by GltfNode::SetCamera
};

// A per-corner table (entry 3t + c for corner c of triangle t) into unique values.
//
// The mesh writer welds corners into vertices by comparing these indices, never the values:
// two corners are one vertex when they name the same entry of every table. So `values` must hold
// each value once (a repeated value only costs duplicate vertices in the file, but the cost is
// real: every seam doubles), and `index` must have one entry per corner of the mesh, like
// GltfMesh::pointIndex.
template <typename T> struct GltfMeshMap {
    std::vector<uint32_t> index;
    std::vector<T> values;
};
using GltfColorMap = GltfMeshMap<std::array<float, 4>>;   // RGBA
using GltfUvMap = GltfMeshMap<std::array<float, 2>>;      // u, v as the host has them
using GltfTangentMap = GltfMeshMap<std::array<float, 6>>; // tangent xyz, bitangent xyz

// The triangles of one material; the material name is the key in GltfMesh::primitives.
struct GltfPrimitive {
    std::vector<uint32_t> triangles;
};

struct GltfSkin {
    // Appends count rows, all zero, to jointIndices, weights and influenceCounts.
    void Resize(uint32_t count);
    // Puts the influence in the point's next free slot; false (and no change) when the point
    // already has four, so later influences are dropped in arrival order. Weights are not
    // renormalised.
    bool AddInfluence(uint32_t pointIndex, float weight, uint32_t jointNumber);

    std::string name;
    std::vector<GltfNode*> joints;               // an influence names a joint by position here
    std::vector<GltfMatrix> inverseBindMatrices; // one per joint
    GltfNode* meshNode = nullptr;                // set by the writer
    std::vector<GltfVec4> jointIndices;          // per point; written as unsigned 16-bit
    std::vector<GltfVec4> weights;               // per point
    std::vector<uint32_t> influenceCounts;       // per point: slots in use, at most 4
};

struct GltfMaterial;

// What the mesh writer relies on. The first three are checked by WriteMesh, in every build,
// before anything is read; a mesh that fails them is logged as an error and not written.
// - pointIndex, normalIndex and every written map's index (every colour and UV map, the first
//   tangent map) have 3 * triangleCount entries, each naming an entry of its own table.
// - Every triangle number in `primitives` is below triangleCount.
// - Every skin has a row in jointIndices and weights for every point (GltfSkin::Resize).
// - Normals are not optional: "NORMAL" is written for every primitive.
// - Tables are unique by value (see GltfMeshMap); normals too. Unchecked: a repeated value only
//   costs duplicate vertices.
// The writer finds a corner's vertex through its point, so its speed follows the coherence of
// the point numbers: the host's own point order (neighbouring triangles, near numbers) is the
// fast case; a shuffled order is about three times slower. Besides the output it needs, while a
// mesh is written, 4 bytes per point and (3 + maps) * 4 bytes per vertex of one primitive, where
// maps counts the colour and UV maps and the first tangent map.
struct GltfMesh {
    void AddPosition(double x, double y, double z) { positions.push_back({x, y, z}); }
    GltfColorMap* AddColorMap();
    GltfUvMap* AddUvMap();
    GltfTangentMap* AddTangentMap();

    uint32_t triangleCount = 0;       // kept by the geometry code; not written
    std::vector<uint32_t> pointIndex; // per corner, into positions
    std::vector<std::unique_ptr<GltfColorMap>> colorMaps;
    std::vector<std::unique_ptr<GltfTangentMap>> tangentMaps; // only the first is written
    std::vector<uint32_t> normalIndex;                        // per corner, into normals
    std::vector<GltfVec3> normals;
    std::vector<std::unique_ptr<GltfUvMap>> uvMaps;
    // The four name-keyed tables iterate in insertion order, so that the output is the same on
    // every run; `primitives` gives one glTF primitive per entry, in that order.
    InsertionOrderedMap<std::string, uint32_t> uvSets; // UV map name -> n of TEXCOORD_n
    InsertionOrderedMap<std::string, GltfPrimitive> primitives;
    InsertionOrderedMap<std::string, GltfPrimitive> parts; // not written
    GltfNode* node = nullptr; // set by GltfNode::SetMesh; the last node set wins
    InsertionOrderedMap<std::string, GltfMaterial*> materials; // unknown name -> material 0
    std::vector<std::unique_ptr<GltfSkin>> skins;
    std::vector<GltfVec3> positions;
};
using GltfPrimitiveEntry = InsertionOrderedMap<std::string, GltfPrimitive>::value_type;

struct GltfNode {
    explicit GltfNode(std::string nodeName) : name(std::move(nodeName)) {}

    void AddChild(GltfNode* child);
    void SetMesh(GltfMesh* newMesh);
    void SetCamera(std::unique_ptr<GltfCamera> newCamera);
    GltfNode* Parent() const { return parent; }
    std::string Name() const { return name; }
    // Fills rotation, translation and scale from matrix. The 3x3 part is turned into a
    // quaternion as it stands: scale is not divided out and the result is not normalised.
    void DecomposeMatrix();

    std::string name; // written always, also when empty
    std::vector<GltfNode*> children;
    // Identity until the filler sets it, so that a node whose item has no locator carries no
    // transform member at all.
    GltfMatrix matrix = kGltfIdentityMatrix;
    bool useMatrix = false; // true: "matrix"; false: "rotation", "translation", "scale"
    GltfVec4 rotation{};    // x, y, z, w; the decomposed form, computed by the writer
    GltfVec3 translation{};
    GltfVec3 scale{};
    GltfNode* parent = nullptr; // the scene for a top-level node
    GltfMesh* mesh = nullptr;
    std::unique_ptr<GltfCamera> camera;
};

struct GltfTexture {
    explicit GltfTexture(std::string textureName) : name(std::move(textureName)) {}
    std::string name;
    std::string imagePath; // on disk, with directory, backslash-separated
    std::string uvMapName; // looked up in GltfMesh::uvSets for "texCoord"
    GltfWrapMode wrapU = GltfWrapMode::Repeat;
    GltfWrapMode wrapV = GltfWrapMode::Repeat;
    double repeatU = 1.0; // kept by the texture code; not written
    double repeatV = 1.0;
};

// GltfMaterial::unlit holds the glTF layer's "shadeModel" as it stands. Only kGltfShadeUnlit
// makes the material unlit; any value but kGltfShadeLit drops every texture but the base
// colour (deliberate: an unknown shading model exports as plain colour).
constexpr int32_t kGltfShadeLit = 0;
constexpr int32_t kGltfShadeUnlit = 1;

struct GltfMaterial {
    explicit GltfMaterial(std::string materialName) : name(std::move(materialName)) {}
    std::string name;
    int32_t unlit = kGltfShadeLit;
    GltfVec4 baseColorFactor = {1, 1, 1, 1};
    // Textures are shared: one record can stand in several fields and materials.
    std::shared_ptr<GltfTexture> baseColorTexture;
    float metallicFactor = 1.0f;
    float roughnessFactor = 1.0f;
    std::shared_ptr<GltfTexture> metallicRoughnessTexture;
    GltfVec3 emissiveFactor = {0, 0, 0};
    GltfAlphaMode alphaMode = GltfAlphaMode::Opaque;
    float alphaCutoff = 0.5f; // kept, never written
    bool doubleSided = false;
    std::shared_ptr<GltfTexture> normalTexture;
    double normalScale = 1.0;
    double occlusionStrength = 1.0;
    std::shared_ptr<GltfTexture> occlusionTexture;
    std::shared_ptr<GltfTexture> emissiveTexture;
};

struct GltfAnimationKey {
    double time = 0.0; // seconds
    GltfVec4 value{};  // xyz (translation, scale), xyzw (rotation), or the weight first
};

struct GltfAnimationSampler {
    std::vector<GltfAnimationKey> keys;
    GltfAnimationPath path = GltfAnimationPath::Translation;
};

struct GltfAnimationChannel {
    GltfNode* node = nullptr;
    GltfAnimationSampler* sampler = nullptr;
    GltfAnimationPath path = GltfAnimationPath::Translation;
};

struct GltfAnimation {
    GltfAnimationSampler* AddSampler(GltfAnimationPath path);
    GltfAnimationChannel* AddChannel(GltfNode* node, GltfAnimationSampler* sampler,
                                     GltfAnimationPath path);

    std::string name; // written when not empty
    std::vector<std::unique_ptr<GltfAnimationChannel>> channels;
    std::vector<std::unique_ptr<GltfAnimationSampler>> samplers;
};

// The invisible root: its children are the scene's top-level nodes. It owns every node,
// mesh, material and animation made through it.
struct GltfScene : GltfNode {
    GltfScene() : GltfNode(std::string()) {}

    // A new, unattached node. It is entered in nodesByName unless the name is taken; it is
    // returned, and owned by the scene, either way.
    GltfNode* CreateNode(const std::string& nodeName);
    GltfNode* FindNode(const std::string& nodeName) const; // the first node of that name
    GltfMesh* CreateMesh();
    GltfMaterial* CreateMaterial(const std::string& materialName);
    GltfAnimation* CreateAnimation();

    std::map<std::string, GltfNode*> nodesByName; // never walked for output
    std::vector<std::unique_ptr<GltfNode>> nodes; // owns every created node, in creation order
    std::vector<std::unique_ptr<GltfMesh>> meshes;
    std::vector<std::unique_ptr<GltfMaterial>> materials;
    std::vector<std::unique_ptr<GltfAnimation>> animations;
};

// A piece of the one binary buffer, in file order. Numbers are held as their bytes in the
// machine's (little-endian) order; an image chunk holds only its file path.
struct GltfBufferChunk {
    // count numbers of the kind (2 bytes for Uint16, else 4), all zero, with the pad that keeps
    // the next block on the 4-byte grid. The writers fill `data` in place: no second copy.
    static GltfBufferChunk Zeroed(GltfChunkKind kind, uint32_t count);
    static GltfBufferChunk FromUint16(const std::vector<uint16_t>& numbers); // padded to 4
    static GltfBufferChunk FromUint32(const std::vector<uint32_t>& numbers);
    static GltfBufferChunk FromFloats(const std::vector<float>& numbers);
    static GltfBufferChunk ForImage(std::string path, uint32_t byteLength, uint32_t padBytes);

    std::vector<unsigned char> data;
    std::string imagePath;
    uint32_t elementCount = 0;
    uint32_t byteLength = 0; // what the chunk adds to the buffer, pad included
    GltfChunkKind kind = GltfChunkKind::Float;
    uint32_t padBytes = 0; // zero bytes written after the content
};

// An image while its texture is written: no stored record.
// The image kinds the writer tells apart by the file name's extension.
enum class GltfImageKind : uint32_t { Unknown = 0, Png = 1, Jpeg = 2 };

struct GltfImage {
    std::string path;
    GltfImageKind mimeKind = GltfImageKind::Unknown; // Unknown: no "mimeType"
};

// ---- The document ------------------------------------------------------------------------------

class GltfDocument {
public:
    GltfDocument();
    ~GltfDocument();
    GltfDocument(const GltfDocument&) = delete;
    GltfDocument& operator=(const GltfDocument&) = delete;

    // -- Settings: set by the saver right after construction.
    uint32_t outputKind = kGltfOutputGlb; // see GltfOutputKind
    uint32_t useUint32Indices = 1;        // 0: indices as unsigned 16-bit
    uint32_t skinnedMeshInWorldSpace = 1; // only 1 counts
    GltfLogMsg* log = nullptr;            // the saver's; messages of the mesh and image writers

    // -- Records.
    std::vector<std::unique_ptr<GltfScene>> scenes; // index = glTF scene index
    GltfScene* CreateScene();

    // -- Write state, valid during Write. Write starts by clearing it, so it may run again.
    std::unique_ptr<GltfJsonState> json; // JSON root, its allocator, the 13 top-level arrays
    bool usesUnlit = false;
    std::vector<GltfBufferChunk> chunks;
    std::unordered_map<const GltfMaterial*, uint32_t> materialIds;
    std::unordered_map<const GltfTexture*, uint32_t> textureIds;
    std::map<std::string, int32_t> imageIds; // source path, byte for byte
    std::unordered_map<const GltfNode*, uint32_t> nodeIds;
    std::vector<GltfSkin*> skins; // in the order their meshes were written

    // -- Phase 2, Write: the driver and its steps.
    // Builds the JSON and writes the files; false when an output file could not be written
    // whole. Throws std::out_of_range when a .gltf path leaves no room for the image directory
    // (see ImageDirectoryFor); the saver's catch-all turns that into a failed save.
    bool Write(const std::string& path);
    void BeginJson(const std::string& bufferUri); // root, "asset", arrays, material 0, buffer 0
    // For each scene: its node trees, its object, its animations; then every skin.
    void WriteScenes();
    void FinishJson(); // "extensionsUsed", then the arrays in order
    uint32_t WriteNode(GltfNode* node);
    // kGltfNoIndex when the mesh has nothing to write, or when its tables fail the check (an
    // error in the log then).
    uint32_t WriteMesh(GltfMesh* mesh);
    uint32_t WriteCamera(GltfCamera* camera);
    // Defined with the animation serialisation. WriteAnimation gives kGltfNoIndex for an
    // animation without channels and samplers; the other two give the index inside it.
    uint32_t WriteAnimation(GltfAnimation* animation);
    uint32_t WriteAnimationSampler(GltfAnimationSampler* sampler, GltfJsonValue& samplers);
    uint32_t WriteAnimationChannel(GltfAnimationChannel* channel, GltfJsonValue& channels,
                                   uint32_t nodeIndex, uint32_t samplerIndex);
    // Defined with the skin serialisation; runs after every node is written.
    uint32_t WriteSkin(GltfSkin* skin);
    // Defined with the material serialisation.
    uint32_t WriteMaterial(GltfMaterial* material, GltfMesh* mesh);
    uint32_t WriteTexture(GltfTexture* texture); // kGltfNoIndex when the image is missing
    int32_t WriteImage(GltfImage& image);        // -1 when the file cannot be read
    int32_t WriteSampler(uint32_t wrapS, uint32_t wrapT);

    // -- Phase 2, buffers, views, accessors. Every caller uses buffer 0.
    uint32_t AddBuffer(uint32_t byteLength, const std::string& uri);
    uint32_t GrowBuffer(uint32_t bufferIndex, uint32_t size); // returns the old byteLength
    uint32_t AddBufferView(uint32_t bufferIndex, uint32_t byteLength, uint32_t byteOffset,
                           uint32_t byteStride, uint32_t target);
    // min and max are moved into the accessor when not empty, and left as empty arrays.
    uint32_t AddAccessor(uint32_t bufferView, GltfAccessorType type, uint32_t componentType,
                         uint32_t count, uint32_t byteOffset, GltfJsonValue& min,
                         GltfJsonValue& max);
    void AddChunk(GltfBufferChunk chunk);
    // The common sequence for one block: AddChunk, GrowBuffer(0), AddBufferView. Returns the
    // view's index.
    uint32_t AddChunkView(GltfBufferChunk chunk);

    // -- Phase 3, output. The producers write to a stream; only the *File functions open files.
    bool WriteGltfFiles(const std::string& path, const GltfJsonValue& root) const;
    bool WriteGlbFile(const std::string& path, const GltfJsonValue& root) const;
    void WriteGlb(const GltfJsonValue& root, GltfOutputStream& out) const;
    // copyImages: image chunks are copied into directory (.gltf) instead of being streamed.
    void WriteChunks(GltfOutputStream& stream, bool copyImages, const std::string& directory) const;

    // -- Phase 4.
    void Reset(); // frees the records and the write state

private:
    GltfJsonValue WriteNodeList(const std::vector<GltfNode*>& list);
    // One primitive of a mesh that WriteMesh has checked.
    void WritePrimitive(GltfMesh* mesh, const GltfPrimitiveEntry& entry, GltfJsonValue& primitives);
    void ClearWriteState();

    // Welding scratch: for each point of the mesh being written, the newest vertex of the
    // current primitive at that point. Sized once per mesh, so that a mesh with many materials
    // does not clear a table of all its points for each of them.
    std::vector<uint32_t> weldHeads;
};
