// The commands of qvhost. Each returns the process's exit status and reports on standard error.
#pragma once

#include "Arguments.h"

#include <string>

namespace scenehost {
class SceneHost;
}

namespace qvhost {

int RunSave(const Arguments& args);
int RunServers(const Arguments& args);
int RunOptions(const Arguments& args);

// The plug-in to load: --plugin, else $QVHOST_PLUGIN, else gltfio.qv beside the executable.
std::string PluginPath(const std::string& fromArguments);

// A --set value: a decimal integer that fits in 32 bits is an integer user value; anything else
// is stored as text, which a plug-in reads as an unreadable integer.
void SetUserValue(scenehost::SceneHost& host, const std::string& name, const std::string& value);

} // namespace qvhost
