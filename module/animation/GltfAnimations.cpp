// Which animation a save makes: the scene as it plays, every clip of the actor one by one, or
// only its active clip; all sampled over the scene's current time range.
#include "saver/GltfSaver.h"

#include "document/GltfDocument.h"
#include "host/QvItemQuery.h"

#include <algorithm>

namespace {

bool clipIsActive(IQvItem* item) {
    CQvUser_ActionClip clip;
    int32_t active = 0;
    return clip.bind(item) && QvSucceeded(clip->Active(&active)) && active != 0;
}

void setClipActive(IQvItem* item, int32_t active) {
    CQvUser_ActionClip clip;
    if (clip.bind(item)) clip->SetActive(active);
}

} // namespace

int GltfSaver::CreateAnimations() {
    if (animation == 0) return 0;
    ReadTimeRange();
    if (exportActionType == ActionExport::SceneAsItPlays) {
        // One animation at most, without a name: whatever the host shows as active is sampled.
        sampledItems.clear();
        sampleRecords.clear();
        CollectSampledItems();
        SampleAnimation(sampleRate);
        return 0;
    }
    ExportActorActions();
    return 0;
}

// The scene's current range ("currentS" to "currentE"), not its whole range, and its rate; a
// missing channel reads 0. Only a multiplier of exactly 1 doubles the rate.
void GltfSaver::ReadTimeRange() {
    CQvUser_Item scene; // the first item of the type "scene" (code 0 when that look-up failed)
    if (!sceneWrap || QvFailed(sceneWrap->ItemOfType(types.scene, scene.out()))) scene.clear();
    timeStart = ReadChannelDouble(setupChannels.get(), scene.get(), qvChanCurrentStart, 0.0);
    timeEnd = ReadChannelDouble(setupChannels.get(), scene.get(), qvChanCurrentEnd, 0.0);
    const double fps = ReadChannelDouble(setupChannels.get(), scene.get(), qvChanFps, 0.0);
    sampleRate = sampleAnimFpsMultiplier == optionOn ? fps * 2.0 : fps;
}

// Every clip, or the active one, each as one animation; then the clip that was active is made
// active again. Without clips there is no animation: the scene-wide way is no fallback.
void GltfSaver::ExportActorActions() {
    const char* actorName = actorGroup ? ItemNameOf(actorGroup.get()) : nullptr;
    log.LogInfo("Actor:%s items:%d channels:%d actions:%d", actorName ? actorName : "(null)",
                int(actorItems.size()), int(actorChannelCount), int(actorActions.size()));
    if (actorActions.empty()) return;
    const auto active = std::find_if(actorActions.begin(), actorActions.end(), clipIsActive);
    const int32_t activeIndex =
        active == actorActions.end() ? -1 : int32_t(active - actorActions.begin());

    if (exportActionType == ActionExport::EveryActorAction) {
        for (uint32_t i = 0; i < actorActions.size(); ++i)
            ExportAction(i, sampleRate);
    } else if (exportActionType == ActionExport::ActiveActorAction && activeIndex >= 0) {
        ExportAction(uint32_t(activeIndex), sampleRate);
    }

    // Deliberate: each export leaves its clip active and none is deactivated in between, so this
    // is all the tidying there is: the clip active at the start is set active again, or, when
    // there was none, the first clip now active is set inactive, and the others stay as left.
    if (activeIndex >= 0) {
        setClipActive(actorActions[size_t(activeIndex)], 1);
    } else {
        const auto now = std::find_if(actorActions.begin(), actorActions.end(), clipIsActive);
        if (now != actorActions.end()) setClipActive(*now, 0);
    }
}

// One clip as one animation, named by the clip's tag text and then its name.
QvResult GltfSaver::ExportAction(uint32_t actionIndex, double rate) {
    sampledItems.clear();
    sampleRecords.clear();
    CQvUser_ActionClip clip;
    if (actionIndex >= actorActions.size() || !clip.bind(actorActions[actionIndex]))
        return qvFailed;
    const std::string clipName =
        ExportTagsOfClip(clip) + ItemNameOrEmpty(actorActions[actionIndex]);
    clip->SetActive(1);
    CollectSampledItems();

    // Deliberate: the range is gathered for its warning only; every clip is sampled over the
    // scene's current range, whatever its own keys span.
    log.LogHeader("Getting animation time range for actor: %s", clipName.c_str());
    double minimum = 0.0, maximum = 0.0;
    for (ItemRef item : actorItems)
        WarnOrWidenTimeRange(item, minimum, maximum);

    SampleAnimation(rate);
    for (auto& [item, record] : sampleRecords)
        if (record.animation) record.animation->name = clipName;
    return qvOk;
}

// An actor item without a node cannot be sampled: it is named when it has animated channels.
// Any other widens the range by the keys of its transform items and of its own channels.
void GltfSaver::WarnOrWidenTimeRange(IQvItem* item, double& minimum, double& maximum) {
    const char* name = ItemNameOrEmpty(item);
    if (itemNodes.find(item) == itemNodes.end() && animatedMeshNodes.count(item) == 0) {
        QvTypeCode type = 0;
        const char* typeName = nullptr;
        IQvSceneService* service = SceneService();
        if (QvFailed(item->ItemType(&type))) type = 0;
        if (!service || QvFailed(service->ItemTypeName(type, &typeName))) typeName = nullptr;
        const uint32_t channels = ItemChannelCount(item);
        int32_t animated = 0;
        for (uint32_t c = 0; c < channels; ++c)
            if (ChannelIsAnimated(setupChannels.get(), item, int32_t(c))) ++animated;
        if (channels != 0 && animated != 0)
            log.LogWarning(
                "Unable to get time range for item:%s, type:%s (%d) with %d animated channels",
                name, typeName ? typeName : "", int(type), animated);
        return;
    }
    for (const CQvUser_Item& transform : OwnTransformItems(item)) {
        if (!transform) continue;
        for (const int32_t channel : {chanX, chanY, chanZ})
            UpdateTimeRange(editChannels.get(), transform.get(), channel, minimum, maximum);
    }
    for (uint32_t c = 0, count = ItemChannelCount(item); c < count; ++c)
        UpdateTimeRange(editChannels.get(), item, int32_t(c), minimum, maximum);
}

// Widens [minimum, maximum] by the first and last keys of one channel's envelope.
bool GltfSaver::UpdateTimeRange(IQvChannelRead* channels, IQvItem* item, int32_t channel,
                                double& minimum, double& maximum) {
    if (!ChannelIsAnimated(channels, item, channel)) return false;
    CQvUser_Envelope envelope;
    CQvUser_Keyframe keys;
    double first = 0.0, last = 0.0;
    if (QvFailed(channels->Envelope(item, uint32_t(channel), envelope.out())) || !envelope ||
        QvFailed(envelope->Keyframes(keys.out())) || !keys || QvFailed(keys->First()) ||
        QvFailed(keys->Time(&first)) || QvFailed(keys->Last()) || QvFailed(keys->Time(&last)))
        return false;
    minimum = std::min(minimum, first);
    maximum = std::max(maximum, last);
    return true;
}

// Every node, in the order the nodes were made; then the items with several nodes.
void GltfSaver::CollectSampledItems() {
    for (auto& [item, node] : itemNodes)
        AddSampledItem(item, node, editChannels.get());
    for (auto& [item, node] : animatedMeshNodes)
        AddSampledItem(item, node, editChannels.get());
}
