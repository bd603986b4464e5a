// A save's staging folder: a fresh folder beside the output, on the same file system, that
// receives everything the saver writes. Only a save that succeeded and passed its checks is
// moved into place, file by file with rename(2); anything else is removed with the folder, so
// the files at the output stay exactly as they were.
//
// The folder's name has no '.', and a staged path is the output's own file name inside it: the
// plug-in cuts paths at their last '.' (even in a folder name) and names its companion files
// by base name, so a staged save writes the same names, and the same bytes, as the real one.
#pragma once

#include <string>
#include <vector>

namespace qvhost {

class StagedOutput {
public:
    StagedOutput() = default;
    ~StagedOutput(); // discards what was not committed
    StagedOutput(const StagedOutput&) = delete;
    StagedOutput& operator=(const StagedOutput&) = delete;

    // Makes the folder beside `output` and tells the signal guard about it.
    bool Create(const std::string& output, std::string* error);
    const std::string& Folder() const { return folder_; }
    // `output`'s file name inside the folder; what the saver is handed.
    std::string StagedPath() const { return folder_ + "/" + fileName_; }
    // The names of the files in the folder, sorted, `last` (if present) moved to the end.
    std::vector<std::string> Files(const std::string& last) const;
    // Renames every file of the folder onto the output's folder, `last` after the others (so a
    // reader that sees the new main file sees its companions), then removes the folder.
    bool Commit(const std::string& last, std::string* error);
    // Removes the folder and everything in it.
    void Discard();

private:
    std::string folder_; // empty: none
    std::string
        destination_; // the output's folder with its trailing '/', or "" for the working one
    std::string fileName_;
    std::string output_;
};

// What is wrong with the folder `output` would go in ("the folder out does not exist", "out is
// not a folder"); empty when it is a folder. Asked before a scene is read, so that a typo in the
// output's path does not cost the load of a large scene.
std::string OutputFolderProblem(const std::string& output);

// Writes `text` to `path` through PATH.qvhost-tmp beside it and a rename, so that a failed write
// leaves what was at `path`. False with `error` saying what failed.
bool WriteWholeFile(const std::string& path, const std::string& text, std::string* error);

// The output's folder as given, with its trailing '/'; "" for a bare file name.
std::string FolderPartOf(const std::string& path);
// What follows the last '/'.
std::string FileNameOf(const std::string& path);

} // namespace qvhost
