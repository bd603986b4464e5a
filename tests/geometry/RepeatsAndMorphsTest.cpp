// What the export leaves out on purpose: instances and replicators stay single empty nodes, and
// morph maps never reach the file. And the replicator reader that no save calls.
#include "geometry/ReplicatorData.h"
#include "support/MeshBuilders.h"
#include "support/SaveFixture.h"

using namespace testsupport;
using scenehost::Item;

namespace {

class Repeats : public SaveFixture {
protected:
    void SetUp() override {
        SaveFixture::SetUp();
        ExportType(0);
    }
    // A replicator placing `prototype` at `count` particles of a new source.
    Item& Replicator(Item& prototype, int count) {
        auto& s = host.Scene();
        Item& source = s.AddItem("locator", "Cloud");
        for (int i = 0; i < count; ++i) {
            scenehost::Particle particle;
            particle.position = {double(i), 0, 0};
            particle.weight = 0.5f;
            particle.size = float(i);
            source.AddParticle(particle);
        }
        Item& replicator = s.AddItem("replicator", "Scatter");
        s.Link(qvGraphParticle, replicator, prototype);
        s.Link(qvGraphParticle, source, replicator);
        return replicator;
    }
};

} // namespace

TEST_F(Repeats, InstancesAndReplicatorsAreEmptyNodes) {
    auto& s = host.Scene();
    Item& crate = s.AddItem("mesh", "Crate");
    BuildCube(crate.Mesh());
    for (const char* name : {"A", "B", "C"})
        s.AddItem("meshInst", name).Position(2, 0, 0).Link(qvGraphSource, crate);
    GlbReader before = SaveAndRead("before.glb");
    EXPECT_EQ(JsonText(before.json["nodes"]),
              R"([{"name":"Crate","mesh":0},{"name":"A","matrix":[1.0,0.0,0.0,0.0,0.0,1.0,0.0,)"
              R"(0.0,0.0,0.0,1.0,0.0,2.0,0.0,0.0,1.0]},{"name":"B","matrix":[1.0,0.0,0.0,0.0,)"
              R"(0.0,1.0,0.0,0.0,0.0,0.0,1.0,0.0,2.0,0.0,0.0,1.0]},{"name":"C","matrix":[1.0,)"
              R"(0.0,0.0,0.0,0.0,1.0,0.0,0.0,0.0,0.0,1.0,0.0,2.0,0.0,0.0,1.0]}])");
    EXPECT_EQ(before.json["meshes"].Size(), 1u);

    // A thousand particles add the replicator's node and its source's, and nothing else.
    Replicator(crate, 1000);
    GlbReader after = SaveAndRead("after.glb");
    EXPECT_EQ(NodeNames(after.json),
              (std::vector<std::string>{"Crate", "A", "B", "C", "Cloud", "Scatter"}));
    EXPECT_EQ(JsonText(after.json["meshes"]), JsonText(before.json["meshes"]));
    EXPECT_EQ(after.bin, before.bin);
}

TEST_F(Repeats, ReplicatorDataReadsEveryParticle) {
    auto& s = host.Scene();
    Item& pebble = s.AddItem("locator", "Pebble");
    Item& replicator = Replicator(pebble, 3);
    Item& lonely = s.AddItem("replicator", "Lonely"); // no prototype, no source
    SaveAndRead();                                    // a save does not enumerate particles
    EXPECT_EQ(host.Count("ReplicatorEnumerator"), 0);

    ReplicatorData data;
    EXPECT_FALSE(data.Set(&pebble));
    EXPECT_FALSE(data.Set(&lonely));
    EXPECT_EQ(data.Enumerate(nullptr, 0), qvFailed);
    ASSERT_TRUE(data.Set(&replicator));
    ASSERT_EQ(data.Enumerate(nullptr, 0), qvOk);
    ASSERT_EQ(data.particles.size(), 3u);
    const ReplicatorParticle& last = data.particles[2];
    EXPECT_EQ(last.index, 2u);
    EXPECT_EQ(last.item, static_cast<IQvItem*>(&pebble));
    EXPECT_EQ(last.sourceItem, static_cast<IQvItem*>(replicator.ReverseLinks(qvGraphParticle)[0]));
    EXPECT_EQ(last.position, (std::array<double, 3>{2, 0, 0}));
    EXPECT_EQ(last.orientation, (std::array<double, 9>{1, 0, 0, 0, 1, 0, 0, 0, 1}));
    EXPECT_EQ(last.value, 0.5f);
    EXPECT_EQ(last.scalar, 2.0f);

    // A disabled replicator places nothing, unless the flag asks for its particles anyway.
    replicator.Set("enable", 0);
    ASSERT_EQ(data.Enumerate(nullptr, 0), qvOk);
    EXPECT_TRUE(data.particles.empty());
    ASSERT_EQ(data.Enumerate(nullptr, 1), qvOk);
    EXPECT_EQ(data.particles.size(), 3u);
}

// Morph maps and morph deformers change nothing in the file, whatever morphMaps says.
TEST_F(Repeats, MorphMapsNeverReachTheFile) {
    auto& s = host.Scene();
    Item& sheet = s.AddItem("mesh", "Sheet");
    BuildCube(sheet.Mesh());
    GlbReader plain = SaveAndRead("plain.glb");

    auto& bump = sheet.Mesh().AddMap("MORF", "Bump");
    for (uint32_t p = 0; p < 8; ++p)
        bump.SetPointValue(p, {0, float(p), 0});
    s.AddItem("morphDeform", "Bump Morph").Set("mapName", "Bump").Link("deformers", sheet);
    for (int morphMaps : {1, 0}) {
        host.SetUserInt("sceneio.gltf.save.morphMaps", morphMaps);
        GlbReader morphed = SaveAndRead("morphed.glb");
        EXPECT_EQ(JsonText(morphed.json), JsonText(plain.json)) << morphMaps;
        EXPECT_EQ(morphed.bin, plain.bin);
    }
}
