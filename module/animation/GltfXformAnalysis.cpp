// AnalyseXform: what can move an item. Reads the host, writes nothing to it.
#include "saver/GltfSaver.h"

#include "host/QvItemQuery.h"

#include <cstring>
#include <vector>

namespace {

// Name words that mark the helper items of a transform stack, matched as substrings. The lists
// are tried in this order, and a name holding words of two lists goes to the first. Deliberate:
// "Rotation Pivot", with a blank, is none of them.
const char* const rotationOffsetWords[] = {"RotationOffset", "RotationOff", "RotOffset", "RotOff",
                                           nullptr};
const char* const rotationPivotWords[] = {"RotationPivot", "RotationPiv", "RotationPvt", "RotPivot",
                                          "RotPiv",        "RotPvt",      nullptr};
const char* const scalingOffsetWords[] = {"ScalingOffset", "ScalingOff", "ScaleOffset", "ScaleOff",
                                          "SclOffset",     "SclOff",     nullptr};
const char* const scalingPivotWords[] = {"ScalingPivot", "ScalingPiv", "ScalingPvt", "ScalePivot",
                                         "ScalePiv",     "ScalePvt",   "SclPivot",   "SclPiv",
                                         "SclPvt",       nullptr};

bool NameHolds(const char* name, const char* const* words) {
    for (; name && *words; ++words)
        if (std::strstr(name, *words)) return true;
    return false;
}

const char* channelNameOf(IQvItem* item, uint32_t channel) {
    const char* name = nullptr;
    if (!item || QvFailed(item->ChannelName(channel, &name)) || !name) return "";
    return name;
}

} // namespace

uint32_t GltfSaver::ChannelDriverCount(IQvItem* item, int32_t channel) {
    uint32_t links = 0;
    if (!chanLinksGraph || channel < 0 ||
        QvFailed(chanLinksGraph->DriverCount(item, uint32_t(channel), &links)))
        return 0;
    return links;
}

// Counts and names the item's own channels that links drive.
uint32_t GltfSaver::DrivenChannelCount(IQvItem* item) {
    uint32_t driven = 0;
    for (uint32_t c = 0, channels = ItemChannelCount(item); c < channels; ++c) {
        if (ChannelDriverCount(item, int32_t(c)) == 0) continue;
        ++driven;
        log.LogInfo("   Driven channel:%s", channelNameOf(item, c));
    }
    return driven;
}

// Counts the channels of one transform item that links drive. Deliberate: the line names the
// channel by asking the locator with the transform's channel number, so it often shows another
// channel's name.
uint32_t GltfSaver::DrivenTransformChannelCount(IQvItem* locator, IQvItem* transform) {
    uint32_t driven = 0;
    for (uint32_t c = 0, channels = ItemChannelCount(transform); c < channels; ++c) {
        if (ChannelDriverCount(transform, int32_t(c)) == 0) continue;
        ++driven;
        log.LogInfo("   Driven xform channel:%s.%s", ItemNameOrEmpty(transform),
                    channelNameOf(locator, c));
    }
    return driven;
}

// Sorts one link of the stack into the record by its type, tested in the order scale, rotation,
// translation, plain transform, and then by its name.
void GltfSaver::ClassifyTransformLink(IQvItem* link, uint32_t position, const OwnTransforms& own,
                                      XformAnalysis& out) {
    const char* name = ItemNameOf(link);
    if (ItemIsA(link, types.scale)) {
        if (link == own.scale) out.scaleIndex = position;
    } else if (ItemIsA(link, types.rotation)) {
        if (!own.rotation) return;
        if (link == own.rotation)
            out.rotationIndex = position;
        else if (out.rotationIndex == XformAnalysis::none)
            out.preRotationIndex = position;
        else if (out.rotationIndex != position)
            out.postRotationIndex = position;
    } else if (ItemIsA(link, types.translation)) {
        if (link == own.translation) out.translationIndex = position;
        if (NameHolds(name, rotationOffsetWords))
            out.rotationOffsetIndex = position;
        else if (NameHolds(name, rotationPivotWords))
            out.rotationPivotIndex = position;
        else if (NameHolds(name, scalingOffsetWords))
            out.scalingOffsetIndex = position;
        else if (NameHolds(name, scalingPivotWords))
            out.scalingPivotIndex = position;
    } else if (ItemIsA(link, types.transform)) {
        if (NameHolds(name, rotationPivotWords))
            out.rotationPivotCompIndex = position;
        else if (NameHolds(name, scalingPivotWords))
            out.scalingPivotCompIndex = position;
    }
}

QvResult GltfSaver::AnalyseXform(IQvItem* item, XformAnalysis& out) {
    out = XformAnalysis();
    CQvUser_Locator locator;
    if (!locator.bind(item)) {
        log.LogInfo("   !!! No locator !!!");
        return qvNoLocator;
    }
    const std::array<CQvUser_Item, 3> transforms = OwnTransformItems(item);
    const OwnTransforms own{transforms[0].get(), transforms[1].get(), transforms[2].get()};

    out.wposLinks = ChannelDriverCount(item, chanWposMatrix);
    out.wrotLinks = ChannelDriverCount(item, chanWrotMatrix);
    out.wsclLinks = ChannelDriverCount(item, chanWsclMatrix);
    out.worldLinks = ChannelDriverCount(item, chanWorldMatrix);
    out.localLinks = ChannelDriverCount(item, chanLocalMatrix);
    out.parentLinks = ChannelDriverCount(item, chanParentMatrix);
    out.drivenCount = DrivenChannelCount(item);

    uint32_t links = 0;
    if (!xfrmCoreGraph || QvFailed(xfrmCoreGraph->LinkCount(item, &links))) links = 0;
    std::vector<CQvUser_Item> stack(links);
    for (uint32_t i = 0; i < links; ++i) {
        if (QvFailed(xfrmCoreGraph->LinkByIndex(item, i, stack[i].out()))) stack[i].clear();
        out.xformDrivenCount += DrivenTransformChannelCount(item, stack[i].get());
    }
    for (uint32_t i = 0; i < links; ++i)
        if (stack[i]) ClassifyTransformLink(stack[i].get(), i, own, out);
    return qvOk;
}
