// AnalyseXform: what can move an item. Reads the host, writes nothing to it.
#include "saver/GltfSaver.h"

#include "host/QvItemQuery.h"

#include <cstring>

namespace {

// Name words that mark the helper items of a transform stack, in the order they are tried:
// a name holding words of two lists goes to the first.
const char* const rotationOffsetWords[] = {"RotationOffset", "RotOff", nullptr};
const char* const rotationPivotWords[] = {"RotationPivot", "RotPvt", nullptr};
const char* const scalingOffsetWords[] = {"ScalingOffset", "ScaleOffset", "SclOff", nullptr};
const char* const scalingPivotWords[] = {"ScalingPivot", "ScalePivot", "SclPvt", nullptr};

bool NameHolds(const char* name, const char* const* words) {
    for (; name && *words; ++words)
        if (std::strstr(name, *words)) return true;
    return false;
}

} // namespace

uint32_t GltfSaver::DrivenChannelCount(IQvItem* item) {
    uint32_t channels = 0, driven = 0;
    if (!chanLinksGraph || !item || QvFailed(item->ChannelCount(&channels))) return 0;
    for (uint32_t c = 0; c < channels; ++c) {
        uint32_t links = 0;
        if (QvSucceeded(chanLinksGraph->DriverCount(item, c, &links)) && links > 0) ++driven;
    }
    return driven;
}

uint32_t GltfSaver::ChannelDriverCount(IQvItem* item, int32_t channel) {
    uint32_t links = 0;
    if (!chanLinksGraph || channel < 0 ||
        QvFailed(chanLinksGraph->DriverCount(item, uint32_t(channel), &links)))
        return 0;
    return links;
}

// Sorts one link of the stack into the record by its type and name.
void GltfSaver::ClassifyTransformLink(IQvItem* link, uint32_t position, const OwnTransforms& own,
                                      XformAnalysis& out) {
    const char* name = ItemNameOf(link);
    if (link == own.translation) {
        out.translationIndex = position;
    } else if (link == own.rotation) {
        out.rotationIndex = position;
    } else if (link == own.scale) {
        out.scaleIndex = position;
    } else if (ItemIsA(link, types.translation)) {
        if (NameHolds(name, rotationOffsetWords))
            out.rotationOffsetIndex = position;
        else if (NameHolds(name, rotationPivotWords))
            out.rotationPivotIndex = position;
        else if (NameHolds(name, scalingOffsetWords))
            out.scalingOffsetIndex = position;
        else if (NameHolds(name, scalingPivotWords))
            out.scalingPivotIndex = position;
    } else if (ItemIsA(link, types.rotation)) {
        if (out.rotationIndex == XformAnalysis::none)
            out.preRotationIndex = position;
        else
            out.postRotationIndex = position;
    } else if (ItemIsA(link, types.transform)) {
        if (NameHolds(name, rotationPivotWords))
            out.rotationPivotCompIndex = position;
        else if (NameHolds(name, scalingPivotWords))
            out.scalingPivotCompIndex = position;
    }
}

QvResult GltfSaver::AnalyseXform(IQvItem* item, XformAnalysis& out) {
    CQvUser_Locator locator;
    if (!locator.bind(item)) {
        log.LogInfo("   !!! No locator !!!");
        return qvNoLocator;
    }
    out = XformAnalysis();
    CQvUser_Item translation, rotation, scale;
    locator->TransformItem(qvXfrmTranslation, translation.out());
    locator->TransformItem(qvXfrmRotation, rotation.out());
    locator->TransformItem(qvXfrmScale, scale.out());
    OwnTransforms own{translation.get(), rotation.get(), scale.get()};

    uint32_t links = 0;
    if (xfrmCoreGraph && QvFailed(xfrmCoreGraph->LinkCount(item, &links))) links = 0;
    for (uint32_t i = 0; i < links; ++i) {
        CQvUser_Item link;
        if (QvFailed(xfrmCoreGraph->LinkByIndex(item, i, link.out())) || !link) continue;
        ClassifyTransformLink(link.get(), i, own, out);
        out.xformDrivenCount += DrivenChannelCount(link.get());
    }
    out.wposLinks = ChannelDriverCount(item, chanWposMatrix);
    out.wrotLinks = ChannelDriverCount(item, chanWrotMatrix);
    out.wsclLinks = ChannelDriverCount(item, chanWsclMatrix);
    out.worldLinks = ChannelDriverCount(item, chanWorldMatrix);
    out.localLinks = ChannelDriverCount(item, chanLocalMatrix);
    out.parentLinks = ChannelDriverCount(item, chanParentMatrix);
    out.drivenCount = DrivenChannelCount(item);
    return qvOk;
}
