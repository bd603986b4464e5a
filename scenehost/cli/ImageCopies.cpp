#include "ImageCopies.h"

#include "Scene.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace qvhost {

namespace {

// The plug-in sees host paths, in which '/' and '\' both separate.
std::string CopyNameOf(const std::string& path) {
    const std::size_t separator = path.find_last_of("/\\");
    return separator == std::string::npos ? path : path.substr(separator + 1);
}

std::string FoldCase(std::string text) {
    for (char& c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

bool ReadWhole(const std::string& path, std::string* bytes) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    bytes->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

std::string ListPaths(const std::vector<std::string>& paths) {
    std::string text;
    for (std::size_t i = 0; i < paths.size(); ++i)
        text += (i == 0 ? "" : i + 1 == paths.size() ? " and " : ", ") + paths[i];
    return text;
}

} // namespace

std::vector<ImageCopy> ListImageCopies(const scenehost::Scene& scene) {
    std::vector<ImageCopy> copies;
    for (const scenehost::Item* item : scene.Items()) {
        const std::string& path = item->Image();
        if (path.empty()) continue;
        const std::string name = CopyNameOf(path);
        auto same = std::find_if(copies.begin(), copies.end(),
                                 [&](const ImageCopy& copy) { return copy.name == name; });
        if (same == copies.end())
            copies.push_back({name, {path}});
        else if (std::find(same->sources.begin(), same->sources.end(), path) == same->sources.end())
            same->sources.push_back(path);
    }
    return copies;
}

std::string FindImageAtOutput(const scenehost::Scene& scene, const std::string& output) {
    std::error_code error;
    for (const scenehost::Item* item : scene.Items()) {
        const std::string& path = item->Image();
        if (!path.empty() && std::filesystem::equivalent(path, output, error))
            return "image '" + path + "' of item '" + item->Name() +
                   "' is the output itself; a save would read the file it replaces";
    }
    return std::string();
}

bool FolderIgnoresCase(const std::string& folder) {
    const std::string probe = folder + "/case-probe";
    if (std::FILE* file = std::fopen(probe.c_str(), "wb")) std::fclose(file);
    const bool ignores = ::access((folder + "/CASE-PROBE").c_str(), F_OK) == 0;
    std::remove(probe.c_str());
    return ignores;
}

std::string FindCopyOverOutput(const std::vector<ImageCopy>& copies,
                               const std::vector<std::string>& outputNames, bool ignoreCase) {
    auto key = [&](const std::string& name) { return ignoreCase ? FoldCase(name) : name; };
    for (const ImageCopy& copy : copies)
        for (const std::string& own : outputNames)
            if (key(copy.name) == key(own))
                return "the image " + copy.sources.front() + " would be copied over the saved " +
                       own + "; rename the image or the output";
    return std::string();
}

std::string DescribeOverwrittenCopy(const ImageCopy& copy, const std::string& folder,
                                    const std::string& output) {
    std::string copied, source;
    if (copy.sources.size() < 2 || !ReadWhole(folder + "/" + copy.name, &copied)) return {};
    std::vector<std::string> differing;
    std::string winner;
    for (const std::string& path : copy.sources) {
        const bool same = ReadWhole(path, &source) && source == copied;
        if (same && winner.empty()) winner = path;
        if (!same) differing.push_back(path);
    }
    if (differing.empty() || winner.empty()) return {};
    return "the images " + ListPaths(copy.sources) + " are copied under one name, " + copy.name +
           ", beside " + output + "; the copy holds " + winner + ", the one copied last";
}

} // namespace qvhost
