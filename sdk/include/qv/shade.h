// The texture face of a texture layer item.
#pragma once

#include "qv/core.h"

class IQvItem;

class IQvTexture : public IQvUnknown {
public:
    QV_INTERFACE_ID({0x5fb8f23e, 0x291f, 0x56fb, {0xba, 0x7f, 0x28, 0x7e, 0x5e, 0x5c, 0x4e, 0xa8}});
    // The image file in host form (backslash separators); fails when the layer has no image.
    // The text stays valid until the next ImageFile call on the same layer: copy it to keep it.
    virtual QvResult ImageFile(const char** path) = 0;
    // The texture locator that places the layer; fails when the layer has none.
    virtual QvResult Locator(IQvItem** locator) = 0;
};
