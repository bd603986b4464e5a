#include "document/HostPath.h"

#include <algorithm>

std::string HostPathToPlatform(const std::string& hostPath) {
#if defined(_WIN32)
    return hostPath;
#else
    std::string platformPath = hostPath;
    std::replace(platformPath.begin(), platformPath.end(), '\\', '/');
    return platformPath;
#endif
}

FILE* OpenHostFile(const std::string& hostPath, const char* mode) {
    return std::fopen(HostPathToPlatform(hostPath).c_str(), mode);
}
