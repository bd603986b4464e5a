// The module's servers, in the order the host lists them, with the tags by which the host finds
// a saver for a file type.
#include "host/CQvIfc.h"
#include "host/CQvThisModule.h"
#include "options/LoadOptionsCmd.h"
#include "saver/GltfSaver.h"

namespace {

const QvTagRow glbTags[] = {
    {nullptr, qvTagSaverOutClass, qvSaverClassScene},
    {nullptr, qvTagSaverDosType, "glb"},
    {nullptr, qvTagServerUserName, "glTF v2 .glb"},
    {nullptr, qvTagServerLogSubsystem, qvLogIoStatus},
    {nullptr, nullptr, nullptr},
};

const QvTagRow gltfTags[] = {
    {nullptr, qvTagSaverOutClass, qvSaverClassScene},
    {nullptr, qvTagSaverDosType, "gltf"},
    {nullptr, qvTagServerUserName, "glTF v2 .gltf"},
    {nullptr, qvTagServerLogSubsystem, qvLogIoStatus},
    {nullptr, nullptr, nullptr},
};

template <class Saver> std::unique_ptr<CQvPolymorphBase> MakeSaverFactory(const QvTagRow* tags) {
    return CQvMakeFactory<Saver>([tags](CQvPolymorph<Saver>& factory) {
        factory.template AddInterface<CQvIfc_Saver<Saver>>();
        factory.template AddInterface<CQvIfc_TagDescription<Saver>>(tags);
    });
}

} // namespace

QvResult CQvRegisterServers() {
    if (QvResult r = AddServer("loaderOptions.gltf", MakeLoadOptionsFactory()); QvFailed(r))
        return r;
    if (QvResult r = AddServer("gltf.bin", MakeSaverFactory<GltfSaver>(glbTags)); QvFailed(r))
        return r;
    return AddServer("gltf.gltf", MakeSaverFactory<GltfSaverGLTF>(gltfTags));
}
