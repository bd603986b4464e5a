// Skin deformers of one mesh: the group path (deform groups and their group deformer) and the
// graph path (deformers linked to the mesh item, each with a weight map). Runs after every node
// exists, since joints are found among the finished nodes by name.
#include "saver/GltfSaver.h"

#include "document/GltfDocument.h"
#include "host/QvItemQuery.h"

#include <algorithm>

namespace {

// Deliberate: the wording ("more then") stays as it has always read in users' logs.
const char* skinOverflowWarning =
    "Warning - Skin: %s Node: %s has more then four joints affecting at least one vertex. This "
    "skin may not properly display animation for some vertices.";

const char* nodeNameOf(const GltfMesh* mesh) {
    return mesh->node ? mesh->node->name.c_str() : "";
}

// The locator that moves a deformer: null when the host names none.
CQvUser_Item locatorOfDeformer(IQvDeformerService* service, IQvItem* deformer) {
    CQvUser_Item locator;
    if (!service || QvFailed(service->DeformerLocator(deformer, locator.out()))) locator.clear();
    return locator;
}

uint32_t jointCountOf(CQvUser_GroupDeformer& deformer) {
    uint32_t count = 0;
    if (!deformer || QvFailed(deformer->JointCount(&count))) return 0;
    return count;
}

// The joint's bind pose: the inverse of the world matrix the scan stored under the joint's name.
// A joint the scan did not see adds no matrix, and the lists then run out of step (deliberate,
// and silent).
void appendInverseBind(GltfSkin& skin, const GltfNode& joint,
                       const InsertionOrderedMap<std::string, Matrix4>& worldByName) {
    const auto world = worldByName.find(joint.name);
    if (world == worldByName.end()) return;
    Matrix4 inverse = world->second;
    Invert(inverse); // a singular matrix stays as it is
    skin.inverseBindMatrices.push_back(inverse);
}

// Adds the joint's influences; false when a point already had four and one was dropped. A point
// number beyond the mesh's count has no row to go to, and is passed over.
bool addInfluences(GltfSkin& skin, const std::vector<uint32_t>& points,
                   const std::vector<float>& weights, uint32_t jointNumber) {
    bool allKept = true;
    for (size_t i = 0; i < points.size(); ++i)
        if (points[i] < skin.influenceCounts.size() &&
            !skin.AddInfluence(points[i], weights[i], jointNumber))
            allKept = false;
    return allKept;
}

} // namespace

QvResult WeightVisitor::Evaluate() {
    QvPointId id = nullptr;
    uint32_t index = 0;
    float weight = 0.0f;
    if (QvFailed(point->Id(&id)) || QvFailed(point->Select(id)) || QvFailed(point->Index(&index)))
        return qvOk; // the host's enumeration goes on; this point adds nothing
    if (QvFailed(point->MapEvaluate(map, &weight))) weight = 0.0f;
    points.push_back(index);
    weights.push_back(weight);
    ++count;
    return qvOk;
}

void GltfSaver::CreateDeformers(GltfMesh* mesh, CQvUser_Item& item) {
    SetItem(item.get());
    log.LogInfo("Creating deformers for mesh:%s", ItemNameOrEmpty(item.get()));
    CQvUser_<IQvUnknown> object;
    CQvUser_Mesh meshObject;
    if (!ChannelObject(qvChanMesh, object.out()) || !meshObject.bind(object.get())) {
        log.LogError("Failed to get mesh for item:%s", ItemNameOrEmpty(item.get()));
        return;
    }

    // The groups that list this mesh, compared by the host's stable ident pointer. Deliberate: a
    // group that lists the mesh twice is entered twice, and one `meshIndex`, the mesh's place in
    // the last match, serves every group.
    const char* ident = ItemIdentOf(item.get());
    std::vector<uint32_t> groups;
    uint32_t meshIndex = 0;
    for (uint32_t g = 0; g < deformGroups.size() && deformerService; ++g) {
        IQvItem* group = deformGroups[g];
        uint32_t meshCount = 0;
        if (QvFailed(deformerService->GroupMeshCount(group, &meshCount))) meshCount = 0;
        for (uint32_t m = 0; m < meshCount; ++m) {
            CQvUser_Item member;
            if (QvFailed(deformerService->GroupMeshByIndex(group, m, member.out())) || !member ||
                ItemIdentOf(member.get()) != ident)
                continue;
            meshIndex = m;
            CQvUser_GroupDeformer deformer;
            if (QvSucceeded(
                    deformerService->GroupDeformerOf(group, baseChannels.get(), deformer.out())) &&
                jointCountOf(deformer) != 0)
                groups.push_back(g);
        }
    }
    // The group path wins outright: a grouped mesh's own "deformers" links are not looked at.
    if (!groups.empty())
        CreateGroupSkins(mesh, meshObject, groups, meshIndex);
    else
        CreateGraphSkin(mesh, item, meshObject);
}

// One skin for each group, all of the same name.
void GltfSaver::CreateGroupSkins(GltfMesh* mesh, CQvUser_Mesh& meshObject,
                                 const std::vector<uint32_t>& groups, uint32_t meshIndex) {
    const std::string skinName =
        (groups.size() == 1 ? std::string(ItemNameOrEmpty(deformGroups[groups[0]]))
                            : std::string(nodeNameOf(mesh))) +
        "_Skin";
    for (const uint32_t g : groups) {
        auto skin = std::make_unique<GltfSkin>();
        skin->name = skinName;
        CQvUser_GroupDeformer deformer;
        if (QvFailed(deformerService->GroupDeformerOf(deformGroups[g], baseChannels.get(),
                                                      deformer.out())))
            deformer.clear();
        const uint32_t jointCount = jointCountOf(deformer);
        std::vector<JointInfluences> jointLists =
            GatherGroupInfluences(meshObject, deformer, meshIndex, jointCount, *skin);
        bool dropped = false;
        for (uint32_t j = 0; j < jointCount; ++j) {
            CQvUser_Item jointItem;
            if (QvFailed(deformer->JointItem(j, jointItem.out())) || !jointItem) continue;
            CQvUser_Item locator = locatorOfDeformer(deformerService.get(), jointItem.get());
            // Deliberate: the joint is passed over, and the skin's joint numbers stop following
            // the group's.
            if (!locator) continue;
            const char* locatorName = ItemNameOrEmpty(locator.get());
            const char* deformerIdent = ItemIdentOf(jointItem.get());
            log.LogInfo("   deformer:%s ident:%s weights:%ld", locatorName,
                        deformerIdent ? deformerIdent : "", long(jointLists[j].weights.size()));
            GltfNode* node = rootNode->FindNode(locatorName);
            if (!node) {
                log.LogError("Failed to find node:%s", locatorName);
                break; // the skin keeps the joints found so far
            }
            skin->joints.push_back(node);
            const uint32_t number = uint32_t(skin->joints.size() - 1);
            appendInverseBind(*skin, *node, locatorWorldByName);
            if (!addInfluences(*skin, jointLists[j].points, jointLists[j].weights, number))
                dropped = true;
        }
        mesh->skins.push_back(std::move(skin));
        if (dropped) log.LogWarning(skinOverflowWarning, skinName.c_str(), nodeNameOf(mesh));
    }
}

// The group's influences, point by point, regrouped by joint; sizes the skin's rows. The joints
// come in group order for every point, so a point keeps its four lowest-numbered joints.
std::vector<JointInfluences> GltfSaver::GatherGroupInfluences(CQvUser_Mesh& meshObject,
                                                              CQvUser_GroupDeformer& deformer,
                                                              uint32_t meshIndex,
                                                              uint32_t jointCount, GltfSkin& skin) {
    std::vector<JointInfluences> jointLists(jointCount);
    CQvUser_Point point;
    uint32_t pointCount = 0;
    // A failed count would be -1 to the host, a size no table can take: it counts as no points,
    // and the mesh writer then refuses the mesh for its missing rows, with an error.
    if (QvFailed(meshObject->PointAccessor(point.out())) || !point ||
        QvFailed(meshObject->PointCount(&pointCount)))
        pointCount = 0;
    skin.Resize(pointCount);
    if (!deformer || jointCount == 0) return jointLists;
    std::vector<uint32_t> jointBuffer(pointCount);
    std::vector<float> weightBuffer(pointCount);
    for (uint32_t p = 0; p < pointCount; ++p) {
        QvPointId id = nullptr;
        uint32_t count = 0;
        if (QvFailed(point->SelectByIndex(p)) || QvFailed(point->Id(&id)) ||
            QvFailed(deformer->PointInfluences(meshIndex, id, jointBuffer.data(),
                                               weightBuffer.data(), &count, pointCount)))
            count = 0;
        // The host tells how many influences the point has, which may exceed what it wrote.
        count = std::min(count, pointCount);
        for (uint32_t k = 0; k < count; ++k) {
            if (jointBuffer[k] >= jointCount) continue; // no such joint: nothing to bind it to
            jointLists[jointBuffer[k]].points.push_back(p);
            jointLists[jointBuffer[k]].weights.push_back(weightBuffer[k]);
        }
    }
    return jointLists;
}

// One skin for the mesh, a joint for each deformer of a distinct name. Any missing deformer or
// joint node gives no skin at all.
void GltfSaver::CreateGraphSkin(GltfMesh* mesh, CQvUser_Item& item, CQvUser_Mesh& meshObject) {
    SetItem(item.get());
    CQvUser_ItemGraph graph;
    uint32_t count = 0;
    if (!sceneWrap ||
        QvFailed(sceneWrap->GraphLookup(qvGraphDeformers, IQvItemGraph::iid, graph.outVoid())) ||
        !graph || QvFailed(graph->LinkCount(item.get(), &count)) || count == 0)
        return;

    InsertionOrderedMap<std::string, GraphDeformer> deformerTable;
    for (uint32_t i = 0; i < count; ++i) {
        CQvUser_Item deformer;
        if (QvFailed(graph->LinkByIndex(item.get(), i, deformer.out())) || !deformer) {
            log.LogError("Failed to obtain deformer:%d for mesh", int(i));
            return;
        }
        const std::string deformerName = ItemNameOrEmpty(deformer.get());
        CQvUser_Item locator = locatorOfDeformer(deformerService.get(), deformer.get());
        if (!locator) continue;
        const char* locatorName = ItemNameOrEmpty(locator.get());
        GltfNode* node = rootNode->FindNode(locatorName);
        if (!node) {
            log.LogError("Failed to find node:%s (for skin deformer)", locatorName);
            return;
        }
        deformerTable.emplace(deformerName, GraphDeformer{node, WeightMapNameOf(deformer.get())});
    }

    const std::string skinName = std::string(ItemNameOrEmpty(item.get())) + "_Skin";
    mesh->skins.push_back(std::make_unique<GltfSkin>());
    GltfSkin& skin = *mesh->skins.back();
    skin.name = skinName;
    log.LogInfo("   deformers:%d", int(deformerTable.size()));
    CQvUser_MeshMap maps;
    CQvUser_Point point;
    uint32_t pointCount = 0;
    if (QvFailed(meshObject->MapAccessor(maps.out()))) maps.clear();
    if (QvFailed(meshObject->PointAccessor(point.out()))) point.clear();
    if (QvFailed(meshObject->PointCount(&pointCount))) pointCount = 0;
    skin.Resize(pointCount); // the rows AddInfluence fills

    for (const auto& [deformerName, deformer] : deformerTable) {
        std::vector<uint32_t> points;
        std::vector<float> weights;
        QvMapId mapId = nullptr;
        if (maps) {
            // Deliberate: the result is not looked at; a failed selection leaves the map that was
            // selected before, and its weights are taken.
            maps->SelectByName(qvMapWeight, deformer.mapName.c_str());
            if (QvFailed(maps->Id(&mapId))) mapId = nullptr;
            WeightVisitor visitor(point, mapId, points, weights);
            if (point) maps->EnumerateContent(&visitor, point.get());
        }
        log.LogInfo("   name:\"%s\" loc:%s map:\"%s\" count:%ld", deformerName.c_str(),
                    deformer.node->name.c_str(), deformer.mapName.c_str(), long(weights.size()));
        skin.joints.push_back(deformer.node);
        const uint32_t number = uint32_t(skin.joints.size() - 1);
        appendInverseBind(skin, *deformer.node, locatorWorldByName);
        // Deliberate: once for each deformer that loses an influence, where the group path warns
        // once per skin.
        if (!addInfluences(skin, points, weights, number))
            log.LogWarning(skinOverflowWarning, skinName.c_str(), nodeNameOf(mesh));
    }
}

// The name of the deformer's weight map: its "name" channel when its "type" channel says 1.
std::string GltfSaver::WeightMapNameOf(IQvItem* deformer) {
    if (ReadEditInt(deformer, qvChanType, 0) != qvInfluenceWeightMap) return std::string();
    return ReadChannelString(editChannels.get(), deformer, qvChanName);
}
