#include "geometry/ReplicatorData.h"

#include "host/CQvGlobals.h"
#include "host/QvItemQuery.h"

namespace {

// Looked up once for the whole process; 0 when the host has no such type.
QvTypeCode replicatorType() {
    static const QvTypeCode code = [] {
        CQvUser_SceneService service;
        return CQvGlobals::LookupService(service) ? LookupTypeCode(service.get(), "replicator")
                                                  : QvTypeCode(0);
    }();
    return code;
}

} // namespace

bool ReplicatorData::Set(IQvItem* item) {
    clear();
    particles.clear();
    if (!bind(item)) return false;
    if (IsReplicator()) return true;
    clear();
    return false;
}

// A replicator needs a prototype (a link from it) and a source (a link to it) in "particle".
bool ReplicatorData::IsReplicator() {
    if (!ItemIsA(get(), replicatorType())) return false;
    CQvUser_Scene scene;
    CQvUser_ItemGraph graph;
    uint32_t prototypes = 0, sources = 0;
    return QvSucceeded(get()->Context(scene.out())) && scene &&
           QvSucceeded(scene->GraphLookup(qvGraphParticle, IQvItemGraph::iid, graph.outVoid())) &&
           graph && QvSucceeded(graph->LinkCount(get(), &prototypes)) &&
           QvSucceeded(graph->RevLinkCount(get(), &sources)) && prototypes > 0 && sources > 0;
}

QvResult ReplicatorData::Enumerate(IQvChannelRead* channels, int32_t flag) {
    if (!test() || !IsReplicator()) return qvFailed;
    CQvUser_SceneService service;
    CQvUser_ReplicatorEnumerator enumerator;
    if (!CQvGlobals::LookupService(service) ||
        QvFailed(service->ReplicatorEnumerator(get(), enumerator.out())) || !enumerator)
        return qvFailed;
    particles.clear();
    Evaluator evaluator(enumerator, particles);
    return enumerator->Enumerate(&evaluator, channels, flag != 0 ? 1 : 0);
}

// A query that fails leaves its field as it started.
QvResult ReplicatorData::Evaluator::Evaluate() {
    ReplicatorParticle particle;
    CQvUser_Item item, source;
    enumerator->Item(item.out());
    enumerator->SourceItem(source.out());
    enumerator->Weight(&particle.value);
    enumerator->Position(particle.position.data());
    enumerator->Orientation(particle.orientation.data());
    enumerator->Size(&particle.scalar);
    // The host keeps its items for the scene's life; the records only point at them.
    particle.item = item.get();
    particle.sourceItem = source.get();
    particle.index = index++;
    particles.push_back(particle);
    return qvOk;
}
