// Animation export: what can move an item, over which time, and the sampling of transforms.
//
// Everything that leaves the host as animation is sampled: the scene is evaluated at each step
// of the time range and every sampled item's world matrix becomes translation, rotation and
// scale keys. Keyframes are looked at only for a time range that is then not used.
//
// The steps, all members of GltfSaver:
//   analysis   AnalyseXform, during node building: what can move an item (GltfXformAnalysis.cpp)
//   actor      CollectActor, during the scan: the actor's items and clips (GltfActor.cpp)
//   ways       CreateAnimations: the scene as it plays, every clip, or the active clip; the tag
//              text of a clip (GltfAnimations.cpp, GltfExportTags.cpp)
//   sampling   which items get records, the time loop, one key set per record (GltfSampling.cpp)
#pragma once

#include "document/GltfDocument.h"

#include <array>
#include <cstdint>

struct GltfAnimationSampler;
struct GltfAnimation;
struct GltfNode;
class IQvItem;

// What can move one item: the classification of its transform stack (positions in the item's
// "xfrmCore" links, -1 when absent) and the number of channel links that drive it.
struct XformAnalysis {
    static constexpr uint32_t none = 0xFFFFFFFFu;

    uint32_t translationIndex = none;
    uint32_t rotationIndex = none;
    uint32_t scaleIndex = none;
    uint32_t rotationOffsetIndex = none;
    uint32_t rotationPivotIndex = none;
    uint32_t postRotationIndex = none;
    uint32_t preRotationIndex = none;
    uint32_t rotationPivotCompIndex = none;
    uint32_t scalingOffsetIndex = none;
    uint32_t scalingPivotIndex = none;
    uint32_t scalingPivotCompIndex = none;
    uint32_t wposLinks = 0, wrotLinks = 0, wsclLinks = 0, worldLinks = 0, localLinks = 0,
             parentLinks = 0;
    uint32_t drivenCount = 0;      // channels of the item itself with a driving link
    uint32_t xformDrivenCount = 0; // channels of its transform items with a driving link
};

// One of translation, rotation and scale in a SampleRecord. `recent`, `lastTime` and `count` are
// kept with every key and read by nothing.
struct SampleSlot {
    GltfAnimationSampler* sampler = nullptr; // made when the sampling starts
    std::array<GltfVec4, 3> recent{};        // a ring of the last keys, at count modulo 3
    double lastTime = 0.0;
    int32_t count = -1; // keys less one
};

// What is sampled of one item. Only records of kind kSampleTransform get keys; a record that
// stays kSampleNotSet is entered all the same and does nothing.
constexpr int32_t kSampleTransform = 1;
constexpr int32_t kSampleNotSet = -1;

struct SampleRecord {
    SampleSlot translation, rotation, scale;
    bool sampleTranslation = false, sampleRotation = false, sampleScale = false;
    GltfNode* node = nullptr;
    GltfAnimation* animation = nullptr; // made when the sampling starts
    IQvItem* item = nullptr;            // the locator; also the record's key
    int32_t kind = kSampleNotSet;

    // Makes the record a transform record with nothing chosen yet; one that is one already is
    // left as it is.
    void SetUp();
};

// The rotation part of a sampled matrix as a quaternion x, y, z, w, from the transpose of its
// upper-left 3x3 as it stands: the matrix is not orthonormalised and the sign is not kept
// continuous from key to key.
GltfVec4 QuaternionOfMatrix(const GltfMatrix& m);
