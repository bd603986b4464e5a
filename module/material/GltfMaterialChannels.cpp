// The factors of a material: the glTF shader layer holds them under glTF's own names, so almost
// nothing is converted; the host material below it adds transparency and double-sidedness. All
// reads go through the edit action at time 0: materials are not animated.
#include "saver/GltfSaver.h"

#include "document/GltfDocument.h"
#include "host/QvItemQuery.h"

#include <algorithm>

int32_t GltfSaver::ReadEditInt(IQvItem* item, const char* channel, int32_t fallback) {
    return ReadChannelInt(editChannels.get(), item, channel, fallback);
}

double GltfSaver::ReadEditDouble(IQvItem* item, const char* channel, double fallback) {
    return ReadChannelDouble(editChannels.get(), item, channel, fallback);
}

std::string GltfSaver::ReadEditString(IQvItem* item, const char* channel) {
    return ReadChannelString(editChannels.get(), item, channel);
}

// A channel the layer does not have leaves the field at its default.
void GltfSaver::ReadGltfShader(GltfMaterial* m, IQvItem* item) {
    SetItem(item);
    m->baseColorFactor[0] = ReadEditDouble(item, qvChanBaseColorR, m->baseColorFactor[0]);
    m->baseColorFactor[1] = ReadEditDouble(item, qvChanBaseColorG, m->baseColorFactor[1]);
    m->baseColorFactor[2] = ReadEditDouble(item, qvChanBaseColorB, m->baseColorFactor[2]);
    m->unlit = ReadEditInt(item, qvChanShadeModel, m->unlit);
    if (m->unlit == kGltfShadeUnlit) {
        m->metallicFactor = 0.0f;
        m->emissiveFactor = {0, 0, 0};
        m->roughnessFactor = 1.0f;
        log.LogWarning(
            "Material '%s' uses glTF Unlit shader extension. At the point of making this "
            "warning Unlit extension is not fully ratified and could change at any point.",
            m->name.c_str());
        return;
    }
    m->metallicFactor = float(ReadEditDouble(item, qvChanMetallic, m->metallicFactor));
    m->roughnessFactor = float(ReadEditDouble(item, qvChanRoughness, m->roughnessFactor));
    m->emissiveFactor[0] = ReadEditDouble(item, qvChanEmissiveR, m->emissiveFactor[0]);
    m->emissiveFactor[1] = ReadEditDouble(item, qvChanEmissiveG, m->emissiveFactor[1]);
    m->emissiveFactor[2] = ReadEditDouble(item, qvChanEmissiveB, m->emissiveFactor[2]);
    if (ChannelIndexOf(item, qvChanEmissiveLevel) >= 0) {
        double level = ReadEditDouble(item, qvChanEmissiveLevel, 1.0); // no clamping: > 1 stays > 1
        for (double& component : m->emissiveFactor)
            component *= level;
    }
    m->normalScale = ReadEditDouble(item, qvChanNormalScale, m->normalScale);
    m->occlusionStrength = ReadEditDouble(item, qvChanAoScale, m->occlusionStrength);
}

void GltfSaver::ReadHostMaterial(GltfMaterial* m, IQvItem* item) {
    SetItem(item);
    if (ChannelIndexOf(item, qvChanDissAmt) >= 0) {
        double opacity = std::clamp(1.0 - ReadEditDouble(item, qvChanDissAmt, 0.0), 0.0, 1.0);
        m->baseColorFactor[3] = opacity;
        if (opacity != 1.0) m->alphaMode = GltfAlphaMode::Blend;
    }
    if (ChannelIndexOf(item, qvChanDblSided) >= 0)
        m->doubleSided = ReadEditInt(item, qvChanDblSided, 0) != 0;
}
