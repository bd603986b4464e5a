#include "AnimationSpan.h"

#include "Envelopes.h"
#include "Item.h"
#include "Scene.h"
#include "SceneHost.h"

#include <qv/scene.h>

#include <algorithm>
#include <cmath>
#include <sstream>

namespace qvhost {

namespace {

using scenehost::Item;
using scenehost::Scene;

// A number channel of the scene item as the setup action holds it; 0 when it holds none.
double SceneChannel(const Item& sceneItem, const char* channel) {
    int32_t index = sceneItem.Type().Channel(channel);
    if (index < 0) return 0.0;
    double value = 0.0;
    sceneItem.SetupValue(static_cast<uint32_t>(index)).AsDouble(&value);
    return value;
}

// Widens [first, last] to every key of every action of every item: a superset of the range the
// saver samples, which is all a bound needs.
void WidenToKeys(const Scene& scene, double* first, double* last) {
    for (const Item* item : scene.Items())
        for (uint32_t action = 0; action < scene.ActionCount(); ++action)
            for (uint32_t c = 0; c < item->Type().channels.size(); ++c) {
                const scenehost::ChannelSlot* slot = item->Slot(action, c);
                if (!slot || !slot->keys || slot->keys->Keys().empty()) continue;
                *first = std::min(*first, slot->keys->Keys().front().time);
                *last = std::max(*last, slot->keys->Keys().back().time);
            }
}

} // namespace

std::string FindRunawayAnimation(scenehost::SceneHost& host) {
    if (host.UserInt("sceneio.gltf.save.animation", 1) == 0) return std::string();
    Scene& scene = host.Scene();
    const Item& sceneItem = scene.SceneItem();
    double first = SceneChannel(sceneItem, qvChanCurrentStart);
    double last = SceneChannel(sceneItem, qvChanCurrentEnd);
    WidenToKeys(scene, &first, &last);
    double rate = std::fabs(SceneChannel(sceneItem, qvChanFps));
    if (host.UserInt("sceneio.gltf.save.sampleAnimFpsMultiplier", 0) == 1) rate *= 2.0;
    const double samples = (last - first) * rate;
    if (!(samples > kMaxAnimationSamples)) return std::string();
    std::ostringstream out;
    out << "the animation runs from " << first << " s to " << last << " s at " << rate
        << " samples a second, " << samples << " samples; more than " << kMaxAnimationSamples
        << " are refused, as a time in the scene is most likely wrong";
    return out.str();
}

} // namespace qvhost
