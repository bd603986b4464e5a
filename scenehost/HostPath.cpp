#include "HostPath.h"

#include <algorithm>

namespace scenehost {

std::string ToHostPath(const std::string& path) {
    std::string host = path;
    std::replace(host.begin(), host.end(), '/', '\\');
    return host;
}

} // namespace scenehost
