#include "StagedOutput.h"

#include "SignalGuard.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>

namespace qvhost {

namespace fs = std::filesystem;

std::string FolderPartOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

std::string FileNameOf(const std::string& path) {
    return path.substr(FolderPartOf(path).size());
}

StagedOutput::~StagedOutput() {
    Discard();
}

bool StagedOutput::Create(const std::string& output, std::string* error) {
    output_ = output;
    destination_ = FolderPartOf(output);
    fileName_ = FileNameOf(output);
    // A bare name stays relative: "./" would put a '.' into the path the plug-in cuts.
    std::string pattern = destination_ + "qvhost-save-XXXXXX";
    auto lock = HoldSignals();
    if (!mkdtemp(pattern.data())) {
        *error = "cannot make a staging folder beside " + output + " (" + std::strerror(errno) +
                 "); nothing was saved";
        return false;
    }
    folder_ = pattern;
    SetInterruptedSave(folder_, output_);
    return true;
}

bool WriteWholeFile(const std::string& path, const std::string& text, std::string* error) {
    const std::string temporary = path + ".qvhost-tmp";
    std::FILE* file = std::fopen(temporary.c_str(), "wb");
    bool written = file && std::fwrite(text.data(), 1, text.size(), file) == text.size();
    if (file && std::fclose(file) != 0) written = false;
    if (!written || std::rename(temporary.c_str(), path.c_str()) != 0) {
        *error = "cannot write " + path + ": " + std::strerror(errno);
        std::remove(temporary.c_str());
        return false;
    }
    return true;
}

std::string OutputFolderProblem(const std::string& output) {
    const std::string folder = FolderPartOf(output);
    if (folder.empty()) return std::string();
    struct stat info;
    if (::stat(folder.c_str(), &info) != 0)
        return "the folder " + folder + " does not exist or cannot be reached (" +
               std::strerror(errno) + ")";
    if (!S_ISDIR(info.st_mode)) return folder + " is not a folder";
    return std::string();
}

std::vector<std::string> StagedOutput::Files(const std::string& last) const {
    std::vector<std::string> names;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder_, error))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    auto main = std::find(names.begin(), names.end(), last);
    if (main != names.end()) std::rotate(main, main + 1, names.end());
    return names;
}

bool StagedOutput::Commit(const std::string& last, std::string* error) {
    auto lock = HoldSignals();
    for (const std::string& name : Files(last)) {
        const std::string from = folder_ + "/" + name;
        const std::string to = destination_ + name;
        if (std::rename(from.c_str(), to.c_str()) != 0) {
            *error =
                "cannot move the saved " + name + " to " + to + " (" + std::strerror(errno) + ")";
            return false;
        }
    }
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
    folder_.clear();
    SetInterruptedSave(std::string(), std::string());
    return true;
}

void StagedOutput::Discard() {
    if (folder_.empty()) return;
    auto lock = HoldSignals();
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
    folder_.clear();
    SetInterruptedSave(std::string(), std::string());
}

} // namespace qvhost
