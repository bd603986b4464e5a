// The command line of qvhost, parsed into one record per command.
//
//   qvhost save SCENE OUTPUT [--saver NAME] [--set NAME=VALUE]... [--log FILE] [--monitor]
//                            [--plugin PATH] [--max-scene-size BYTES]
//   qvhost servers [--plugin PATH]
//   qvhost options [--config FILE] [NAME=VALUE]... [--stream FILE] [--read-stream FILE]
#pragma once

#include "SceneFile.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace qvhost {

enum ExitCode { kExitSaved = 0, kExitSaveFailed = 1, kExitBadInput = 2 };

enum class Command { Save, Servers, Options, Help };

struct Arguments {
    Command command = Command::Help;
    std::string scene;
    std::string output;
    std::string saver;
    std::vector<std::pair<std::string, std::string>> userValues; // --set, in order
    std::string logFile;
    bool monitor = false;
    std::string plugin; // --plugin; empty: QVHOST_PLUGIN, then gltfio.qv beside qvhost
    uint64_t maxSceneSize = scenehost::kDefaultMaxSceneSize; // --max-scene-size, in bytes
    std::string config;
    std::vector<std::string> optionSettings;
    std::string streamOut; // --stream: the load options' stream form written here
    std::string streamIn;  // --read-stream: a stream form read back and shown
};

// Parses argv[1..]; false with a message when the line is not one of the forms above.
bool ParseArguments(const std::vector<std::string>& args, Arguments* out, std::string* error);

const char* Usage();

} // namespace qvhost
