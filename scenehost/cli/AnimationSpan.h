// The animation a save would sample, counted before the save runs. The saver samples the
// animated items at the scene's rate from the start to the end of the scene's current range,
// widened to take in every key; a time that is wrong by orders of magnitude (a range to 1e12 s)
// turns that into a loop that runs for days and fills memory. qvhost refuses such a scene
// instead, naming the range.
#pragma once

#include <string>

namespace scenehost {
class SceneHost;
}

namespace qvhost {

// More samples than this per animation refuses the save: 24 hours at 60 frames a second, twice.
constexpr double kMaxAnimationSamples = 2.0 * 24 * 3600 * 60;

// Empty when the animation option is off or the samples stay within the bound; else the refusal.
std::string FindRunawayAnimation(scenehost::SceneHost& host);

} // namespace qvhost
