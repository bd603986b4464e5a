// Paths as the host speaks them. Vorn is a Windows application and hands out host paths with
// backslash separators; the plug-in maps them back to the platform's own form. Every path that
// the scene host gives a plug-in (output files, image files) goes through this one function.
#pragma once

#include <string>

namespace scenehost {

// Slashes become backslashes; nothing else changes (no drive letter is made up, a relative path
// stays relative).
std::string ToHostPath(const std::string& path);

} // namespace scenehost
