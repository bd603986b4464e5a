// The "mesh" member of a mesh item in a scene file (docs/scene-format.md, "mesh"). A part of the
// scene file reader, kept apart because mesh data has rules of its own.
#pragma once

namespace scenehost {

class MeshData;
struct JsonNode;

// Reads the member's value into `mesh`; a fault throws JsonError at the offending value.
void ReadMeshMember(MeshData& mesh, const JsonNode& node);

} // namespace scenehost
