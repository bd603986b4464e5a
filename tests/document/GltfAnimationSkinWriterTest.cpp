// Animations and skins in the file, from records filled by hand: member orders, keys narrowed
// and normalised, the time range, and the indices that name nodes written before them.
#include "DocumentTestSupport.h"

#include <cmath>

using namespace doctests;

namespace {

using Floats = std::vector<double>;

struct AnimatedScene : SceneBuilder {
    AnimatedScene() {
        body = Add("body", scene);
        arm = Add("arm", body);
        unwritten = scene->CreateNode("unwritten"); // created, never attached
    }
    GltfAnimationSampler* Sampler(GltfAnimation* animation, GltfAnimationPath path,
                                  std::vector<GltfAnimationKey> keys) {
        GltfAnimationSampler* sampler = animation->AddSampler(path);
        sampler->keys = std::move(keys);
        return sampler;
    }
    const rapidjson::Value& Accessor(const rapidjson::Value& index) const {
        return glb->json["accessors"][index.GetUint()];
    }

    GltfNode *body, *arm, *unwritten;
    std::unique_ptr<GlbReader> glb;
};

} // namespace

// Deliberate property of the format: translation and scale keys leave as unit vectors.
TEST(GltfAnimationWriter, KeysAreNarrowedAndNormalisedByPath) {
    AnimatedScene s;
    GltfAnimation* walk = s.scene->CreateAnimation();
    walk->name = "Walk";
    auto* move = s.Sampler(walk, GltfAnimationPath::Translation,
                           {{0.25, {3, 0, 4, 9}}, {0.0, {0, 0, 0, 0}}, {1 / 3.0, {2, 2, 2, 0}}});
    auto* turn =
        s.Sampler(walk, GltfAnimationPath::Rotation, {{0, {0, 0, 0, 0}}, {1, {0, 3, 0, 4}}});
    auto* grow = s.Sampler(walk, GltfAnimationPath::Scale, {{0, {2, 2, 2, 0}}});
    auto* blend = s.Sampler(walk, GltfAnimationPath::Weights, {{0, {0.1, 7, 7, 7}}});
    walk->AddChannel(s.arm, move, GltfAnimationPath::Translation);
    walk->AddChannel(s.body, turn, GltfAnimationPath::Rotation);
    walk->AddChannel(s.body, grow, static_cast<GltfAnimationPath>(9));
    walk->AddChannel(s.unwritten, blend, GltfAnimationPath::Weights); // names no node: left out
    s.glb = WriteAndRead(s.document);

    const auto& animation = s.glb->json["animations"][0];
    EXPECT_EQ(MemberNames(animation), (std::vector<std::string>{"channels", "samplers", "name"}));
    EXPECT_EQ(ToText(animation["channels"]),
              R"([{"sampler":0,"target":{"node":1,"path":"translation"}},)"
              R"({"sampler":1,"target":{"node":0,"path":"rotation"}},)"
              R"({"sampler":2,"target":{"node":0,"path":""}}])");
    const auto& samplers = animation["samplers"];
    EXPECT_EQ(ToText(samplers[0]), R"({"input":0,"output":1,"interpolation":"LINEAR"})");
    const double third = 2.f / std::sqrt(12.f); // (2, 2, 2) normalised in floats
    EXPECT_EQ(s.glb->Values(samplers[0]["output"].GetUint()),
              (Floats{ThroughFloat(.6), 0, ThroughFloat(.8), 1, 0, 0, third, third, third}));
    EXPECT_EQ(s.glb->Values(samplers[1]["output"].GetUint()),
              (Floats{0, 0, 0, 1, 0, ThroughFloat(.6), 0, ThroughFloat(.8)}));
    EXPECT_EQ(s.glb->Values(samplers[3]["output"].GetUint()), (Floats{ThroughFloat(.1)}));
    EXPECT_STREQ(s.Accessor(samplers[1]["output"])["type"].GetString(), "VEC4");
    EXPECT_STREQ(s.Accessor(samplers[3]["output"])["type"].GetString(), "SCALAR");
    // Times: the first key opens the range, later keys widen it.
    const auto& times = s.Accessor(samplers[0]["input"]);
    EXPECT_EQ(times["min"][0].GetDouble(), 0.0);
    EXPECT_EQ(times["max"][0].GetDouble(), double(ThroughFloat(1 / 3.0)));
    EXPECT_EQ(s.glb->Values(samplers[0]["input"].GetUint()),
              (Floats{.25, 0, ThroughFloat(1 / 3.0)}));
    EXPECT_FALSE(s.Accessor(samplers[0]["output"]).HasMember("min"));
}

TEST(GltfAnimationWriter, EmptyAnimationsAndSamplers) {
    AnimatedScene s;
    s.scene->CreateAnimation(); // nothing in it: not written
    GltfAnimation* still = s.scene->CreateAnimation();
    s.Sampler(still, GltfAnimationPath::Translation, {});
    s.glb = WriteAndRead(s.document);

    ASSERT_EQ(s.glb->json["animations"].Size(), 1u);
    const auto& animation = s.glb->json["animations"][0];
    EXPECT_EQ(ToText(animation["channels"]), "[]");
    EXPECT_FALSE(animation.HasMember("name"));
    EXPECT_EQ(ToText(s.glb->json["accessors"]),
              R"([{"bufferView":0,"type":"SCALAR","componentType":5126,"count":0,"min":[0.0],)"
              R"("max":[0.0]},{"bufferView":1,"type":"VEC3","componentType":5126,"count":0}])");
    EXPECT_EQ(ToText(s.glb->json["bufferViews"]),
              R"([{"buffer":0,"byteLength":0},{"buffer":0,"byteLength":0}])");
}

// Skins come after the animations of every scene; "skin" closes the mesh node's members, behind
// "children". Joints that were not written are left out of "joints" (and of "skeleton").
TEST(GltfSkinWriter, SkinsNameWrittenJointsAndMarkTheirMeshNode) {
    AnimatedScene s;
    GltfAnimation* wave = s.scene->CreateAnimation();
    wave->AddChannel(s.arm, s.Sampler(wave, GltfAnimationPath::Scale, {{0, {1, 1, 1, 0}}}),
                     GltfAnimationPath::Scale);
    GltfMesh* mesh = s.scene->CreateMesh();
    mesh->node = s.body; // as the mesh writer sets it
    auto addSkin = [&](std::vector<GltfNode*> joints, std::vector<GltfMatrix> matrices) {
        s.document.skins.push_back(mesh->skins.emplace_back(new GltfSkin).get());
        s.document.skins.back()->joints = std::move(joints);
        s.document.skins.back()->inverseBindMatrices = std::move(matrices);
        s.document.skins.back()->meshNode = s.body;
    };
    GltfMatrix bind = kGltfIdentityMatrix;
    bind[13] = 0.1;
    addSkin({s.arm, s.body}, {bind, kGltfIdentityMatrix});
    addSkin({}, {});
    addSkin({s.unwritten, s.arm}, {});
    // BuildJsonText clears the write state: fill the skin list as WriteMesh would, during it.
    std::vector<GltfSkin*> filled = s.document.skins;
    s.document.BeginJson("");
    s.document.skins = filled;
    s.document.WriteScenes();
    s.document.FinishJson();
    const std::string json = ToText(s.document.json->root);

    EXPECT_NE(json.find(R"("skins":[{"inverseBindMatrices":2,"skeleton":1,"joints":[1,0],)"
                        R"("name":""},{"inverseBindMatrices":3,"name":""},)"
                        R"({"inverseBindMatrices":4,"joints":[1],"name":""}])"),
              std::string::npos)
        << json;
    EXPECT_NE(json.find(R"({"name":"body","children":[1],"skin":0,"skin":1,"skin":2})"),
              std::string::npos)
        << json;
    EXPECT_NE(json.find(R"({"bufferView":2,"type":"MAT4","componentType":5126,"count":2},)"
                        R"({"bufferView":3,"type":"MAT4","componentType":5126,"count":0})"),
              std::string::npos)
        << json;
    GltfStringStream stream;
    s.document.WriteChunks(stream, false, "");
    GlbReader glb(json, stream.Bytes());
    EXPECT_EQ(glb.Values(2)[13], double(ThroughFloat(0.1)));
}
