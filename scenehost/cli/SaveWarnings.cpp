#include "SaveWarnings.h"

#include "SaveReport.h"

#include "Item.h"
#include "MeshData.h"
#include "Scene.h"
#include "SceneHost.h"

#include <cstdint>
#include <fstream>
#include <set>

namespace qvhost {

namespace {

using scenehost::SceneHost;

const char* const kMeshRefused = "goes over the maximum of unsigned short data type";

// The names of the meshes the save made, from its log ("Creating mesh:NAME type:TYPE ...").
std::set<std::string> CreatedMeshes(SceneHost& host) {
    std::set<std::string> names;
    const std::string lead = "Creating mesh:";
    for (const scenehost::LogRecord& record : host.Log()) {
        if (record.text.compare(0, lead.size(), lead) != 0) continue;
        const size_t type = record.text.rfind(" type:");
        if (type != std::string::npos && type >= lead.size())
            names.insert(record.text.substr(lead.size(), type - lead.size()));
    }
    return names;
}

void NothingSelected(SceneHost& host, std::vector<SaveWarning>& out) {
    const int32_t scope = host.UserInt("sceneio.gltf.save.exportType", 1);
    if (scope == 0) return;
    if ((scope == 1 || scope == 2) && !host.Selection().empty()) return;
    out.push_back({"nothing-selected", "scene",
                   scope == 1 || scope == 2
                       ? "nothing is selected and the export scope is the selected items "
                         "(exportType " +
                             std::to_string(scope) + (scope == 1 ? ", the default" : "") +
                             "), so the file holds no nodes; --set exportType=0 exports the "
                             "whole scene"
                       : "exportType " + std::to_string(scope) +
                             " exports nothing; --set exportType=0 exports the whole scene"});
}

void UntaggedPolygons(SceneHost& host, std::vector<SaveWarning>& out) {
    const std::set<std::string> created = CreatedMeshes(host);
    const uint32_t material = scenehost::FourCCFromText("MATR");
    for (const scenehost::Item* item : host.Scene().Items()) {
        const scenehost::MeshData* mesh = item->MeshOf();
        if (!mesh || !created.count(item->Name())) continue;
        uint32_t untagged = 0;
        for (uint32_t p = 0; p < mesh->PolygonCount(); ++p)
            untagged += mesh->Tag(p, material) == nullptr;
        if (untagged == 0) continue;
        out.push_back({"untagged-polygons", item->Name(),
                       "'" + item->Name() + "' has " + std::to_string(untagged) +
                           (untagged == 1 ? " polygon" : " polygons") +
                           " without a material tag, which the save leaves out; give each "
                           "polygon a material"});
    }
}

// "   Creating mesh:NAME type:T nPoints:N polyInds:C failed! ..." for each refused mesh.
void RefusedMeshes(SceneHost& host, std::vector<SaveWarning>& out) {
    const std::string lead = "Creating mesh:";
    for (const scenehost::LogRecord& record : host.Log()) {
        if (record.text.find(kMeshRefused) == std::string::npos) continue;
        const size_t start = record.text.find(lead), type = record.text.rfind(" type:");
        const size_t points = record.text.rfind("nPoints:"),
                     corners = record.text.rfind("polyInds:");
        if (start == std::string::npos || type == std::string::npos ||
            points == std::string::npos || corners == std::string::npos ||
            type < start + lead.size())
            continue;
        const std::string name =
            record.text.substr(start + lead.size(), type - start - lead.size());
        auto number = [&](size_t at, const char* key) {
            const size_t from = at + std::char_traits<char>::length(key);
            return record.text.substr(from, record.text.find(' ', from) - from);
        };
        out.push_back({"index-limit", name,
                       "'" + name + "' was left out: its polygons make " +
                           number(corners, "polyInds:") + " triangle corners (it has " +
                           number(points, "nPoints:") +
                           " points), more than the 65,535 that 16-bit indices count; "
                           "--set indicesExport=1 writes 32-bit indices"});
    }
}

bool IsPngOrJpeg(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    unsigned char head[4] = {0, 0, 0, 0};
    in.read(reinterpret_cast<char*>(head), sizeof head);
    const bool png = head[0] == 0x89 && head[1] == 'P' && head[2] == 'N' && head[3] == 'G';
    const bool jpeg = head[0] == 0xFF && head[1] == 0xD8 && head[2] == 0xFF;
    return png || jpeg;
}

// In a .glb an image is typed by its bytes; one of another kind gets no type at all.
void UntypedImages(SceneHost& host, const rapidjson::Document& json,
                   std::vector<SaveWarning>& out) {
    auto images = json.FindMember("images");
    if (images == json.MemberEnd() || !images->value.IsArray()) return;
    bool untyped = false;
    for (const rapidjson::Value& image : images->value.GetArray())
        untyped = untyped || (image.IsObject() && !image.HasMember("mimeType"));
    if (!untyped) return;
    std::set<std::string> seen;
    for (const scenehost::Item* item : host.Scene().Items()) {
        const std::string& path = item->Image();
        if (path.empty() || !seen.insert(path).second || IsPngOrJpeg(path)) continue;
        std::ifstream exists(path, std::ios::binary);
        if (!exists) continue; // the plug-in logs a missing image itself
        out.push_back({"image-type", item->Name(),
                       "the image " + path + " of '" + item->Name() +
                           "' is neither PNG nor JPEG, so the .glb gives it no type and viewers "
                           "reject the file; convert the image to PNG or JPEG"});
    }
}

// A mesh item of that name with an "RGB " map.
bool HasRgbMap(SceneHost& host, const std::string& name) {
    const uint32_t rgb = scenehost::FourCCFromText("RGB ");
    for (const scenehost::Item* item : host.Scene().Items()) {
        const scenehost::MeshData* mesh = item->MeshOf();
        if (!mesh || item->Name() != name) continue;
        for (uint32_t m = 0; m < mesh->MapCount(); ++m)
            if (mesh->Map(m).Type() == rgb) return true;
    }
    return false;
}

bool Blends(const rapidjson::Document& json, const rapidjson::Value& primitive) {
    auto material = primitive.FindMember("material");
    auto materials = json.FindMember("materials");
    if (material == primitive.MemberEnd() || !material->value.IsUint() ||
        materials == json.MemberEnd() || !materials->value.IsArray() ||
        material->value.GetUint() >= materials->value.Size())
        return false;
    const rapidjson::Value& object = materials->value[material->value.GetUint()];
    auto mode = object.FindMember("alphaMode");
    return mode != object.MemberEnd() && mode->value.IsString() &&
           std::string(mode->value.GetString()) == "BLEND";
}

// An RGB map's colours are written with alpha 0: under a blended material the mesh vanishes.
void RgbColoursBlended(SceneHost& host, const rapidjson::Document& json,
                       std::vector<SaveWarning>& out) {
    auto meshes = json.FindMember("meshes");
    if (meshes == json.MemberEnd() || !meshes->value.IsArray()) return;
    const std::vector<std::string> names = MeshNames(json);
    for (rapidjson::SizeType m = 0; m < meshes->value.Size(); ++m) {
        const rapidjson::Value& mesh = meshes->value[m];
        auto primitives = mesh.FindMember("primitives");
        if (primitives == mesh.MemberEnd() || !primitives->value.IsArray()) continue;
        bool blendedColours = false;
        for (const rapidjson::Value& primitive : primitives->value.GetArray()) {
            auto attributes = primitive.FindMember("attributes");
            blendedColours = blendedColours ||
                             (attributes != primitive.MemberEnd() && attributes->value.IsObject() &&
                              attributes->value.HasMember("COLOR_0") && Blends(json, primitive));
        }
        const std::string& meshName = names[m];
        if (!blendedColours || !HasRgbMap(host, meshName)) continue;
        out.push_back({"rgb-alpha", meshName,
                       "'" + meshName +
                           "' has an RGB colour map, written with alpha 0, and a "
                           "blended material, so viewers show it fully transparent; "
                           "use an RGBA map with alpha 1"});
    }
}

void EscapedUris(const rapidjson::Document& json, std::vector<SaveWarning>& out) {
    auto images = json.FindMember("images");
    if (images == json.MemberEnd() || !images->value.IsArray()) return;
    for (const rapidjson::Value& image : images->value.GetArray()) {
        auto uri = image.IsObject() ? image.FindMember("uri") : image.MemberEnd();
        if (!image.IsObject() || uri == image.MemberEnd() || !uri->value.IsString()) continue;
        const std::string name = uri->value.GetString();
        if (name.find_first_of("%#?") == std::string::npos) continue;
        out.push_back({"uri-escape", name,
                       "the image copy " + name +
                           " has a '%', '#' or '?' in its name, which the .gltf's URI does not "
                           "escape, so viewers look for another file; rename the image"});
    }
}

} // namespace

std::vector<SaveWarning> FindSaveWarnings(SceneHost& host, const rapidjson::Document& json,
                                          bool glb) {
    std::vector<SaveWarning> warnings;
    NothingSelected(host, warnings);
    UntaggedPolygons(host, warnings);
    RefusedMeshes(host, warnings);
    if (glb) UntypedImages(host, json, warnings);
    RgbColoursBlended(host, json, warnings);
    if (!glb) EscapedUris(json, warnings);
    return warnings;
}

} // namespace qvhost
