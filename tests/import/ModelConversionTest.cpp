// Real models of many formats, converted by qvhost and checked twice: by the glTF validator, and
// against assimp's own reading of the source, which must see the same triangles, materials and
// bounds in the .glb as in the model.
#include "support/TestFiles.h"

#include <assimp/Importer.hpp>
#include <assimp/config.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>
#include <sys/wait.h>

namespace {

using namespace testsupport;
namespace fs = std::filesystem;

const char* const kModels = "/usr/share/assimp/models/";

// What a reader takes from a file: its triangles, the materials they use and their bounds, after
// every node's transform.
struct Reading {
    size_t triangles = 0;
    size_t materials = 0;
    // Those that weigh on a vertex, when read unplaced, four at most on a vertex as in glTF.
    std::set<std::string> bones;
    aiVector3D min{FLT_MAX, FLT_MAX, FLT_MAX}, max{-FLT_MAX, -FLT_MAX, -FLT_MAX};
};

// With `placed`, every node's transform applies; without, the points are read as they stand,
// which is where a viewer draws a skinned mesh whose joints stand in their bind pose.
Reading Read(const std::string& path, bool placed = true) {
    Assimp::Importer importer;
    // Triangles with two corners at one place are left out on both sides: the host takes a
    // polygon's points once each, so an import drops such polygons (with a warning).
    importer.SetPropertyBool(AI_CONFIG_PP_FD_REMOVE, true);
    importer.SetPropertyBool(AI_CONFIG_PP_FD_CHECKAREA, false);
    const aiScene* scene =
        importer.ReadFile(path, aiProcess_Triangulate | aiProcess_SortByPType |
                                    aiProcess_FindDegenerates | aiProcess_LimitBoneWeights |
                                    (placed ? unsigned(aiProcess_PreTransformVertices) : 0u));
    Reading reading;
    if (!scene) {
        ADD_FAILURE() << path << ": " << importer.GetErrorString();
        return reading;
    }
    std::set<unsigned> materials;
    for (unsigned m = 0; m < scene->mNumMeshes; ++m) {
        const aiMesh& mesh = *scene->mMeshes[m];
        if (!(mesh.mPrimitiveTypes & aiPrimitiveType_TRIANGLE)) continue;
        for (unsigned f = 0; f < mesh.mNumFaces; ++f)
            reading.triangles += mesh.mFaces[f].mNumIndices == 3;
        materials.insert(mesh.mMaterialIndex);
        for (unsigned b = 0; b < mesh.mNumBones; ++b) {
            const aiBone& bone = *mesh.mBones[b];
            for (unsigned w = 0; w < bone.mNumWeights; ++w)
                if (bone.mWeights[w].mWeight > 0) reading.bones.insert(bone.mName.C_Str());
        }
        for (unsigned v = 0; v < mesh.mNumVertices; ++v)
            for (int axis = 0; axis < 3; ++axis) {
                reading.min[axis] = std::min(reading.min[axis], mesh.mVertices[v][axis]);
                reading.max[axis] = std::max(reading.max[axis], mesh.mVertices[v][axis]);
            }
    }
    reading.materials = materials.size();
    return reading;
}

int Exit(const std::string& command) {
    int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(ModelConversion, RealModelsOfTenFormatsConvertToValidFilesThatAssimpReadsTheSame) {
    if (!fs::is_directory(kModels)) GTEST_SKIP() << "assimp's test models are not installed";
    struct Case {
        const char* model;
        const char* options = "";
        // For a skinned model, what three.js draws of assimp's own export of it: assimp's
        // post-processing does not pose a mesh by its bones.
        aiVector3D drawnSize = {};
    };
    const Case cases[] = {
        {"OBJ/spider.obj"},                          // textured, several materials, groups
        {"OBJ/box.obj"},                             // quads
        {"OBJ/regr01.obj"},                          // a material named in Latin-1
        {"Collada/duck.dae", "--set materials=0"},   // polygons of five corners; its TGA image
                                                     // would leave the .glb's image without type
        {"Collada/teapots.DAE"},                     // several materials, an image
        {"Collada/cube_with_2UVs.DAE"},              // two UV sets
        {"BLEND/CubeHierarchy_248.blend"},           // a hierarchy of transformed children
        {"FBX/spider.fbx"},                          // a hierarchy
        {"glTF2/BoxTextured-glTF/BoxTextured.gltf"}, // a PNG texture
        {"3DS/fels.3ds"},
        {"PLY/cube.ply"},
        {"OFF/Wuson.off"},
        {"STL/Spider_ascii.stl"}, // polygons with two corners at one place
        {"X/test.x"},
        // Skinned, three meshes; the bones stand apart from the bind pose.
        {"X/BCN_Epileptic.X", "", {0.58597f, 1.81441f, 0.37799f}},
        // Skinned, bones of two roots, vertices of more than four bones, a scaled mesh node.
        {"FBX/animation_with_skeleton.fbx", "", {7121.15f, 644.459f, 183.337f}},
    };
    ScratchDir scratch;
    const std::string qvhost = std::string(GLTFIO_QVHOST_PATH) + " --plugin " + GLTFIO_PLUGIN_PATH;
    std::string outputs;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.model);
        const std::string model = std::string(kModels) + c.model;
        const fs::path output = scratch.Path(fs::path(c.model).stem().string() + ".glb");
        ASSERT_EQ(Exit(std::string(GLTFIO_QVHOST_PATH) + " convert " + model + " " +
                       output.string() + " " + c.options + " --plugin " + GLTFIO_PLUGIN_PATH +
                       " > /dev/null 2> " + scratch.Path("log.txt").string()),
                  0)
            << ReadBytes(scratch.Path("log.txt"));
        outputs += " " + output.string();
        const bool skinned = c.drawnSize.SquareLength() > 0;
        const Reading source = Read(model), saved = Read(output.string(), !skinned);
        EXPECT_GT(source.triangles, 0u);
        EXPECT_EQ(saved.triangles, source.triangles);
        if (std::string(c.options).empty()) {
            EXPECT_EQ(saved.materials, source.materials);
        }
        EXPECT_EQ(saved.bones, Read(model, false).bones);
        if (skinned) {
            for (int axis = 0; axis < 3; ++axis)
                EXPECT_NEAR(saved.max[axis] - saved.min[axis], c.drawnSize[axis],
                            1e-4f * c.drawnSize.Length())
                    << "axis " << axis;
            continue;
        }
        const float size = (source.max - source.min).Length();
        for (int axis = 0; axis < 3; ++axis) {
            EXPECT_NEAR(saved.min[axis], source.min[axis], 1e-5f * size) << "axis " << axis;
            EXPECT_NEAR(saved.max[axis], source.max[axis], 1e-5f * size) << "axis " << axis;
        }
    }
    const std::string validate = std::string("node ") + GLTFIO_SOURCE_DIR +
                                 "/tools/validate/validate.js --allow " + GLTFIO_SOURCE_DIR +
                                 "/tools/validate/allow-list.json";
    EXPECT_EQ(Exit(validate + outputs + " > " + scratch.Path("validator.txt").string()), 0)
        << ReadBytes(scratch.Path("validator.txt"));
}

} // namespace
