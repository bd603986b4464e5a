// Animation export: what can move an item, over which time, and the sampling of transforms.
// So far: the transform analysis that node building records for every item with a locator.
#pragma once

#include <cstdint>

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
