// qvhost: runs a plug-in's savers on a scene file, as the application would, from the command
// line. See docs/cli.md.
#include "Arguments.h"
#include "Commands.h"
#include "SignalGuard.h"

#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    qvhost::InstallSignalGuard();
    std::vector<std::string> args(argv + 1, argv + argc);
    qvhost::Arguments parsed;
    std::string error;
    if (!qvhost::ParseArguments(args, &parsed, &error)) {
        std::cerr << "qvhost: " << error << "\n" << qvhost::Usage();
        return qvhost::kExitBadInput;
    }
    switch (parsed.command) {
    case qvhost::Command::Import:
        return qvhost::RunImport(parsed);
    case qvhost::Command::Convert:
        return qvhost::RunConvert(parsed);
    case qvhost::Command::Save:
        return qvhost::RunSave(parsed);
    case qvhost::Command::Servers:
        return qvhost::RunServers(parsed);
    case qvhost::Command::Options:
        return qvhost::RunOptions(parsed);
    case qvhost::Command::Help:
        break;
    }
    std::cout << qvhost::CommandHelp(parsed.helpFor);
    return std::cout.flush() ? 0 : qvhost::kExitSaveFailed;
}
