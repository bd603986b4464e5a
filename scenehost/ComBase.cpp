#include "ComBase.h"

namespace scenehost {

namespace {
// Atomic although the host is single-threaded: a plug-in may release a reader on its own thread.
std::atomic<int> liveTransients{0};
} // namespace

int LiveTransientObjects() {
    return liveTransients.load();
}
void CountTransient(int delta) {
    liveTransients += delta;
}

} // namespace scenehost
