// The commands of qvhost. Each returns the process's exit status and reports on standard error.
#pragma once

#include "Arguments.h"

#include <string>

namespace scenehost {
class SceneHost;
}

namespace qvhost {

int RunImport(const Arguments& args);
int RunConvert(const Arguments& args);
int RunSave(const Arguments& args);

// The save of a scene that is already in `host`: the --set values, the checks before the save,
// the save into a staging folder, the checks after it and the move into place. `source` names
// where the scene came from (the scene file, the model) in messages.
int SaveLoadedScene(scenehost::SceneHost& host, const Arguments& args, const std::string& source);
int RunServers(const Arguments& args);
int RunOptions(const Arguments& args);

// The plug-in to load: --plugin, else $QVHOST_PLUGIN, else gltfio.qv beside the executable.
std::string PluginPath(const std::string& fromArguments);

// A --set value: a decimal integer that fits in 32 bits is an integer user value; anything else
// is stored as text, which a plug-in reads as an unreadable integer.
void SetUserValue(scenehost::SceneHost& host, const std::string& name, const std::string& value);

} // namespace qvhost
