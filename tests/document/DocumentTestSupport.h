// Shared helpers of the document tests: the JSON of a document built in memory.
#pragma once

#include "document/GltfDocument.h"
#include "document/GltfJson.h"
#include "document/GltfOutput.h"
#include "support/GlbReader.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace doctests {

using namespace testsupport;

// The document's JSON text as Write would produce it, without touching files.
inline std::string BuildJsonText(GltfDocument& document, const std::string& bufferUri = "") {
    document.BeginJson(bufferUri);
    document.WriteScenes();
    document.FinishJson();
    return gltfjson::serializeJson(document.json->root);
}

// The JSON and the buffer that Write would produce, read back.
inline std::unique_ptr<GlbReader> WriteAndRead(GltfDocument& document) {
    std::string jsonText = BuildJsonText(document);
    GltfStringStream stream;
    document.WriteChunks(stream, false, "");
    return std::make_unique<GlbReader>(jsonText, stream.Bytes());
}

// A document with one scene, and nodes hung into it by name.
struct SceneBuilder {
    SceneBuilder() : scene(document.CreateScene()) {}

    GltfNode* Add(const char* name, GltfNode* parent) {
        GltfNode* node = scene->CreateNode(name);
        parent->AddChild(node);
        return node;
    }
    GltfDocument document;
    GltfScene* scene;
};

inline bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}
// A number as the file holds it: through a 32-bit float.
inline double ThroughFloat(double value) {
    return static_cast<float>(value);
}

inline std::string ToText(const rapidjson::Value& value) {
    return gltfjson::serializeJson(value);
}

} // namespace doctests
