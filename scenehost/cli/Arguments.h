// The command line of qvhost, parsed into one record per command.
//
//   qvhost import MODEL SCENE
//   qvhost convert MODEL OUTPUT [save options]
//   qvhost save SCENE OUTPUT [--saver NAME] [--set NAME=VALUE]... [--log FILE] [--monitor]
//                            [--report FILE] [--strict] [--plugin PATH] [--max-scene-size BYTES]
//   qvhost servers [--plugin PATH]
//   qvhost options [--config FILE] [NAME=VALUE]... [--stream FILE] [--read-stream FILE]
//   qvhost help, and --help after any command
#pragma once

#include "SceneFile.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace qvhost {

// 3: saved, but with warnings, and --strict asked for them to count.
enum ExitCode { kExitSaved = 0, kExitSaveFailed = 1, kExitBadInput = 2, kExitWarnings = 3 };

enum class Command { Import, Convert, Save, Servers, Options, Help };

struct Arguments {
    Command command = Command::Help;
    Command helpFor = Command::Help; // `qvhost COMMAND --help`: that command's help
    std::string model;               // import and convert: the model file that assimp reads
    std::string scene;
    std::string output;
    std::string saver;
    std::vector<std::pair<std::string, std::string>> userValues; // --set, in order, full names
    std::string logFile;
    bool monitor = false;
    std::string reportFile; // --report: the save's counts as JSON
    bool strict = false;    // --strict: warnings end the run with kExitWarnings
    std::string plugin;     // --plugin; empty: QVHOST_PLUGIN, then gltfio.qv beside qvhost
    uint64_t maxSceneSize = scenehost::kDefaultMaxSceneSize; // --max-scene-size, in bytes
    std::string config;
    std::vector<std::string> optionSettings;
    std::string streamOut; // --stream: the load options' stream form written here
    std::string streamIn;  // --read-stream: a stream form read back and shown
};

// Parses argv[1..]; false with a message when the line is not one of the forms above.
bool ParseArguments(const std::vector<std::string>& args, Arguments* out, std::string* error);

const char* Usage();
// The help of one command: its usage line and what it does (for save and convert, the options).
std::string CommandHelp(Command command);

} // namespace qvhost
