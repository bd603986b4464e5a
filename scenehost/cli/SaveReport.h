// What a save wrote, counted from the written file itself: one summary line after every save,
// and with --report the same as JSON, with a row per mesh and the save's warnings.
#pragma once

#include "SaveWarnings.h"
#include "gltfio_json.h"

#include <cstdint>
#include <string>
#include <vector>

namespace qvhost {

struct MeshRow {
    std::string name;
    uint64_t primitives = 0, triangles = 0, vertices = 0;
    std::vector<std::string> materials; // by the primitives' materials, in their order
};

struct SaveCounts {
    uint64_t nodes = 0, meshes = 0, primitives = 0, triangles = 0, vertices = 0;
    uint64_t materials = 0, textures = 0, images = 0, animations = 0;
    uint64_t bytes = 0; // of every file the save wrote
    uint64_t warnings = 0, errors = 0;
    double seconds = 0;
    std::vector<MeshRow> meshRows;
};

// The counts of a glTF document: triangles from each triangle primitive's indices (or its
// positions when it has none), vertices from its positions.
SaveCounts CountDocument(const rapidjson::Document& json);

// The name of each mesh of the document: that of the first node that shows it (meshes are not
// named themselves); "" for a mesh no node shows.
std::vector<std::string> MeshNames(const rapidjson::Value& json);

// "SAVER saved OUTPUT: 3 nodes, 1 mesh, ..., 0 errors, 0.02 s"
std::string SummaryLine(const std::string& saver, const std::string& output,
                        const SaveCounts& counts);

// The report as JSON text.
std::string ReportJson(const std::string& saver, const std::string& output,
                       const SaveCounts& counts, const std::vector<SaveWarning>& warnings);

// Seconds since qvhost started.
double SecondsSinceStart();

} // namespace qvhost
