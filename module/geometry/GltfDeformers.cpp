// Skin deformers of one mesh.
#include "saver/GltfSaver.h"

// Skins reach the document with the deformer work; until then a mesh has none.
void GltfSaver::CreateDeformers(GltfMesh*, CQvUser_Item&) {}
