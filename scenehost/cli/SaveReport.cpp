#include "SaveReport.h"

#include "LogOutput.h"
#include "Utf8.h"

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <chrono>
#include <cstdio>

namespace qvhost {

using scenehost::ValidUtf8;

namespace {

const auto kStart = std::chrono::steady_clock::now();

constexpr int kTriangles = 4; // a primitive's "mode" when it has none

const rapidjson::Value* ArrayOf(const rapidjson::Value& json, const char* name) {
    auto member = json.FindMember(name);
    return member != json.MemberEnd() && member->value.IsArray() ? &member->value : nullptr;
}

uint64_t LengthOf(const rapidjson::Value& json, const char* name) {
    const rapidjson::Value* array = ArrayOf(json, name);
    return array ? array->Size() : 0;
}

// The "count" of accessor `index`, 0 when there is none.
uint64_t AccessorCount(const rapidjson::Value& json, const rapidjson::Value& index) {
    const rapidjson::Value* accessors = ArrayOf(json, "accessors");
    if (!accessors || !index.IsUint() || index.GetUint() >= accessors->Size()) return 0;
    const rapidjson::Value& accessor = (*accessors)[index.GetUint()];
    auto count = accessor.FindMember("count");
    return count != accessor.MemberEnd() && count->value.IsUint64() ? count->value.GetUint64() : 0;
}

std::string MaterialName(const rapidjson::Value& json, const rapidjson::Value& primitive) {
    auto material = primitive.FindMember("material");
    const rapidjson::Value* materials = ArrayOf(json, "materials");
    if (material == primitive.MemberEnd() || !material->value.IsUint() || !materials ||
        material->value.GetUint() >= materials->Size())
        return std::string();
    const rapidjson::Value& object = (*materials)[material->value.GetUint()];
    auto name = object.FindMember("name");
    return name != object.MemberEnd() && name->value.IsString() ? name->value.GetString() : "";
}

MeshRow CountMesh(const rapidjson::Value& json, const rapidjson::Value& mesh) {
    MeshRow row;
    const rapidjson::Value* primitives = ArrayOf(mesh, "primitives");
    if (!primitives) return row;
    for (const rapidjson::Value& primitive : primitives->GetArray()) {
        ++row.primitives;
        row.materials.push_back(MaterialName(json, primitive));
        uint64_t positions = 0;
        auto attributes = primitive.FindMember("attributes");
        if (attributes != primitive.MemberEnd() && attributes->value.IsObject()) {
            auto position = attributes->value.FindMember("POSITION");
            if (position != attributes->value.MemberEnd())
                positions = AccessorCount(json, position->value);
        }
        row.vertices += positions;
        auto mode = primitive.FindMember("mode");
        if (mode != primitive.MemberEnd() &&
            !(mode->value.IsInt() && mode->value.GetInt() == kTriangles))
            continue;
        auto indices = primitive.FindMember("indices");
        row.triangles +=
            (indices != primitive.MemberEnd() ? AccessorCount(json, indices->value) : positions) /
            3;
    }
    return row;
}

std::string Counted(uint64_t n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
}

} // namespace

std::vector<std::string> MeshNames(const rapidjson::Value& json) {
    std::vector<std::string> names(LengthOf(json, "meshes"));
    const rapidjson::Value* nodes = ArrayOf(json, "nodes");
    if (!nodes) return names;
    for (auto node = nodes->End(); node != nodes->Begin();) {
        --node; // the first node of a mesh names it
        if (!node->IsObject()) continue;
        auto mesh = node->FindMember("mesh"), name = node->FindMember("name");
        if (mesh != node->MemberEnd() && mesh->value.IsUint() &&
            mesh->value.GetUint() < names.size() && name != node->MemberEnd() &&
            name->value.IsString())
            names[mesh->value.GetUint()] = name->value.GetString();
    }
    return names;
}

double SecondsSinceStart() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - kStart).count();
}

SaveCounts CountDocument(const rapidjson::Document& json) {
    SaveCounts counts;
    if (!json.IsObject()) return counts;
    counts.nodes = LengthOf(json, "nodes");
    counts.materials = LengthOf(json, "materials");
    counts.textures = LengthOf(json, "textures");
    counts.images = LengthOf(json, "images");
    counts.animations = LengthOf(json, "animations");
    const std::vector<std::string> names = MeshNames(json);
    if (const rapidjson::Value* meshes = ArrayOf(json, "meshes"))
        for (const rapidjson::Value& mesh : meshes->GetArray()) {
            MeshRow row = CountMesh(json, mesh);
            row.name = names[counts.meshRows.size()];
            counts.primitives += row.primitives;
            counts.triangles += row.triangles;
            counts.vertices += row.vertices;
            counts.meshRows.push_back(std::move(row));
        }
    counts.meshes = counts.meshRows.size();
    return counts;
}

std::string SummaryLine(const std::string& saver, const std::string& output, const SaveCounts& c) {
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%.2f s", c.seconds);
    return saver + " saved " + output + ": " + Counted(c.nodes, "node", "nodes") + ", " +
           Counted(c.meshes, "mesh", "meshes") + ", " +
           Counted(c.primitives, "primitive", "primitives") + ", " +
           Counted(c.triangles, "triangle", "triangles") + ", " +
           Counted(c.vertices, "vertex", "vertices") + ", " +
           Counted(c.materials, "material", "materials") + ", " +
           Counted(c.textures, "texture", "textures") + ", " +
           Counted(c.images, "image", "images") + ", " +
           Counted(c.animations, "animation", "animations") + ", " +
           Counted(c.bytes, "byte", "bytes") + ", " + Counted(c.warnings, "warning", "warnings") +
           ", " + Counted(c.errors, "error", "errors") + ", " + seconds;
}

std::string ReportJson(const std::string& saver, const std::string& output, const SaveCounts& c,
                       const std::vector<SaveWarning>& warnings) {
    rapidjson::StringBuffer text;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> json(text);
    json.StartObject();
    json.Key("output");
    json.String(ValidUtf8(output).c_str());
    json.Key("saver");
    json.String(saver.c_str());
    json.Key("seconds");
    json.Double(c.seconds);
    const std::pair<const char*, uint64_t> counts[] = {
        {"nodes", c.nodes},         {"meshes", c.meshes},     {"primitives", c.primitives},
        {"triangles", c.triangles}, {"vertices", c.vertices}, {"materials", c.materials},
        {"textures", c.textures},   {"images", c.images},     {"animations", c.animations},
        {"bytes", c.bytes},         {"warnings", c.warnings}, {"errors", c.errors}};
    json.Key("counts");
    json.StartObject();
    for (const auto& [name, value] : counts) {
        json.Key(name);
        json.Uint64(value);
    }
    json.EndObject();
    json.Key("meshes");
    json.StartArray();
    for (const MeshRow& row : c.meshRows) {
        json.StartObject();
        json.Key("name");
        json.String(ValidUtf8(row.name).c_str());
        json.Key("primitives");
        json.Uint64(row.primitives);
        json.Key("triangles");
        json.Uint64(row.triangles);
        json.Key("vertices");
        json.Uint64(row.vertices);
        json.Key("materials");
        json.StartArray();
        for (const std::string& material : row.materials)
            json.String(ValidUtf8(material).c_str());
        json.EndArray();
        json.EndObject();
    }
    json.EndArray();
    json.Key("warnings");
    json.StartArray();
    for (const SaveWarning& warning : warnings) {
        json.StartObject();
        json.Key("kind");
        json.String(warning.kind.c_str());
        json.Key("item");
        json.String(ValidUtf8(warning.item).c_str());
        json.Key("text");
        json.String(ValidUtf8(warning.text).c_str());
        json.EndObject();
    }
    json.EndArray();
    json.EndObject();
    return std::string(text.GetString(), text.GetSize()) + "\n";
}

} // namespace qvhost
