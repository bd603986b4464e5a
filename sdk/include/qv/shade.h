// The texture face of a texture layer item.
#pragma once

#include "qv/core.h"

class IQvItem;

// ---- Channels of the shader tree ----------------------------------------------------------
// Texture layers: what the layer drives (an effect name). Their "enable" is qvChanEnable.
constexpr const char* qvChanEffect = "effect";
// Masks: the polygon tag that selects the polygons, and the kind of tag it is.
constexpr const char* qvChanPtag = "ptag";
constexpr const char* qvChanPtyp = "ptyp";
// Materials.
constexpr const char* qvChanDissAmt = "dissAmt";   // dissolve, 0 opaque to 1 gone
constexpr const char* qvChanDblSided = "dblSided"; // nonzero: both sides render
// Image maps: "swizzling" on makes "rgba" pick the image channel that drives the effect.
constexpr const char* qvChanSwizzling = "swizzling";
constexpr const char* qvChanRgba = "rgba";
// The glTF shader layer: glTF's own factors under glTF's names.
constexpr const char* qvChanBaseColorR = "baseColor.R";
constexpr const char* qvChanBaseColorG = "baseColor.G";
constexpr const char* qvChanBaseColorB = "baseColor.B";
constexpr const char* qvChanShadeModel = "shadeModel"; // 1: unlit
constexpr const char* qvChanMetallic = "metallic";
constexpr const char* qvChanRoughness = "roughness";
constexpr const char* qvChanEmissiveR = "emissive.R";
constexpr const char* qvChanEmissiveG = "emissive.G";
constexpr const char* qvChanEmissiveB = "emissive.B";
constexpr const char* qvChanEmissiveLevel = "emissivelevel";
constexpr const char* qvChanNormalScale = "normalscale";
constexpr const char* qvChanAoScale = "aoscale";
// Texture locators: the projection (6: a UV map), the UV map's name, tiling and repeats.
constexpr const char* qvChanProjType = "projType";
constexpr const char* qvChanUvMap = "uvMap";
constexpr const char* qvChanTileU = "tileU";
constexpr const char* qvChanTileV = "tileV";
constexpr const char* qvChanWrapU = "wrapU";
constexpr const char* qvChanWrapV = "wrapV";
// The render item: the output's size in pixels.
constexpr const char* qvChanResX = "resX";
constexpr const char* qvChanResY = "resY";

class IQvTexture : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x5fb8f23e, 0x291f, 0x56fb, {0xba, 0x7f, 0x28, 0x7e, 0x5e, 0x5c, 0x4e, 0xa8}});
    // The image file in host form (backslash separators); fails when the layer has no image.
    // The text stays valid until the next ImageFile call on the same layer: copy it to keep it.
    virtual QvResult ImageFile(const char** path) = 0;
    // The texture locator that places the layer; fails when the layer has none.
    virtual QvResult Locator(IQvItem** locator) = 0;
};
