// Node building: the item hierarchy below each root becomes GltfNode records.
#include "saver/GltfSaver.h"

// The walk over rootItems arrives with the geometry work; until then no node is made.
QvResult GltfSaver::BuildNodes() {
    if (rootItems.empty()) return qvOk;
    return qvOk;
}
