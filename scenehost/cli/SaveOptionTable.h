// The save options a user sets with --set: the host user values the plug-in reads when it saves,
// by their full names ("sceneio.gltf.save.exportType") and by the last word of each
// ("exportType"), with what they do, their values and their defaults. `qvhost save --help`
// prints this table, and docs/cli.md shows it.
#pragma once

#include <string>
#include <vector>

namespace qvhost {

struct SaveOption {
    const char* shortName; // "exportType"
    int defaultValue;      // what the plug-in takes when the scene and the command line are silent
    const char* values;    // "0 whole scene, 1 selected items, ..."
    const char* description; // what it does
};

const std::vector<SaveOption>& SaveOptions();

// "sceneio.gltf.save." and the short name.
std::string FullOptionName(const SaveOption& option);

// The full name of a --set NAME: a short name of the table becomes its full name; any other
// name is a user value of its own and stays as it is.
std::string ExpandOptionName(const std::string& name);

// The table as `save --help` prints it.
std::string SaveOptionsHelp();

} // namespace qvhost
