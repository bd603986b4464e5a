// The module's servers, in the order the host lists them, with the tags by which the host finds
// a saver for a file type.
#include "host/CQvIfc.h"
#include "host/CQvThisModule.h"
#include "options/LoadOptionsCmd.h"
#include "saver/GltfSaver.h"

namespace {

const QvTagRow glbTags[] = {
    {nullptr, "saver.outClass", "scene2"},
    {nullptr, "saver.dosType", "glb"},
    {nullptr, "server.username", "glTF v2 .glb"},
    {nullptr, "server.logsubsystem", "io-status"},
    {nullptr, nullptr, nullptr},
};

const QvTagRow gltfTags[] = {
    {nullptr, "saver.outClass", "scene2"},
    {nullptr, "saver.dosType", "gltf"},
    {nullptr, "server.username", "glTF v2 .gltf"},
    {nullptr, "server.logsubsystem", "io-status"},
    {nullptr, nullptr, nullptr},
};

template <class Saver> CQvPolymorphBase* MakeSaverFactory(const QvTagRow* tags) {
    auto* factory = new CQvPolymorph<Saver>();
    factory->template AddInterface<CQvIfc_Saver<Saver>>();
    factory->template AddInterface<CQvIfc_TagDescription<Saver>>(tags);
    return factory;
}

} // namespace

void CQvRegisterServers() {
    AddServer("loaderOptions.gltf", MakeLoadOptionsFactory());
    AddServer("gltf.bin", MakeSaverFactory<GltfSaver>(glbTags));
    AddServer("gltf.gltf", MakeSaverFactory<GltfSaverGLTF>(gltfTags));
}
