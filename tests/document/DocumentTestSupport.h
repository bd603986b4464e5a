// Shared helpers of the document tests: the JSON of a document built in memory.
#pragma once

#include "document/GltfDocument.h"
#include "document/GltfJson.h"
#include "support/TestFiles.h"

#include <gtest/gtest.h>

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

inline std::string ToText(const rapidjson::Value& value) {
    return gltfjson::serializeJson(value);
}

} // namespace doctests
