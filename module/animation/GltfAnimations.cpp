// Animation export: time range, actors, sampling.
#include "saver/GltfSaver.h"

int GltfSaver::CreateAnimations() {
    if (animation == 0) return 0;
    // Sampled animations arrive with the animation work.
    return 0;
}
