// The check of a written output before it may replace anything: the plug-in ends its JSON text
// early, with a successful save, when a number cannot be written (a NaN or an infinity that a
// float overflowed into), so qvhost reads every output back.
#pragma once

#include "gltfio_json.h"

#include <string>

namespace qvhost {

// Empty when the file at `path` is whole: a .glb (told by its magic) with a header and chunk
// lengths that match the file and a complete JSON chunk, or a complete .gltf whose .bin (beside
// it, by its "uri") has the length the buffer states. Otherwise what is wrong, as a phrase
// ("its JSON text ends early ...").
// `json`, when given, receives the document of a whole file.
std::string FindOutputDefect(const std::string& path, rapidjson::Document* json = nullptr);

// What usually makes a plug-in cut its JSON text short; said after a defect.
constexpr const char* kLikelyDefectCause =
    "a number in the scene is probably too large for the file's floats, e.g. a scale of 1e300";

} // namespace qvhost
