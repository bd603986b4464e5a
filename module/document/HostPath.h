// Host paths on this platform. The host hands the plug-in Windows-style paths with backslash
// separators, and every path rule of the document (extension cut, base names, the image
// directory) works on that form. Only at the moment a file is opened is the host path turned
// into a path of the platform we run on, here and nowhere else.
#pragma once

#include <cstdio>
#include <string>

// The platform form of a host path: unchanged on Windows, backslashes turned into slashes
// elsewhere.
std::string HostPathToPlatform(const std::string& hostPath);

// fopen on the platform form of hostPath; null when the file cannot be opened.
FILE* OpenHostFile(const std::string& hostPath, const char* mode);
