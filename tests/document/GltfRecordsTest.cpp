// The record operations the exporting code relies on: skins that keep four influences a point,
// and the map that keeps materials and primitives in the order they were first met.
#include "DocumentTestSupport.h"

using namespace doctests;

TEST(GltfRecords, FifthInfluenceOfAPointIsDropped) {
    GltfSkin skin;
    skin.Resize(2);
    for (uint32_t joint = 0; joint < 4; ++joint)
        EXPECT_TRUE(skin.AddInfluence(1, 0.25f * (joint + 1), joint + 10));
    EXPECT_FALSE(skin.AddInfluence(1, 0.9f, 99));

    EXPECT_EQ(skin.influenceCounts, (std::vector<uint32_t>{0, 4}));
    EXPECT_EQ(skin.jointIndices[1], (GltfVec4{10, 11, 12, 13}));
    EXPECT_EQ(skin.weights[1], (GltfVec4{0.25, 0.5, 0.75, 1.0})); // not renormalised
    EXPECT_EQ(skin.weights[0], (GltfVec4{}));
    skin.Resize(1);
    EXPECT_EQ(skin.weights.size(), 3u);
}

TEST(GltfRecords, InsertionOrderedMapKeepsOrderAndReferences) {
    InsertionOrderedMap<std::string, GltfPrimitive> map;
    GltfPrimitive& first = map["zeta"];
    first.triangles.push_back(7);
    for (int i = 0; i < 1000; ++i)
        map["material" + std::to_string(i)];
    map["alpha"];
    EXPECT_FALSE(map.emplace("zeta", GltfPrimitive{{1, 2}}).second);

    EXPECT_EQ(&map.at("zeta"), &first) << "a value stays where it was while keys are added";
    EXPECT_EQ(first.triangles, (std::vector<uint32_t>{7}));
    std::vector<std::string> keys;
    for (const auto& entry : map)
        keys.push_back(entry.first);
    ASSERT_EQ(keys.size(), 1002u);
    EXPECT_EQ(keys.front(), "zeta");
    EXPECT_EQ(keys[1], "material0");
    EXPECT_EQ(keys.back(), "alpha");
    EXPECT_EQ(map.find("beta"), map.end());
    EXPECT_THROW(map.at("beta"), std::out_of_range);
}
