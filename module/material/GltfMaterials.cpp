// The shader tree becomes glTF materials.
#include "saver/GltfSaver.h"

int GltfSaver::CreateMaterials() {
    if (materials == 0) return 0;
    // Primitives keep the default material until the shader tree walk lands.
    return 0;
}
