// The image copies of a .gltf save, as qvhost sees them before and after the save. The saver
// copies each image it writes into the output's folder under the image's base name, over
// whatever has that name; qvhost refuses a copy that would land on the .gltf or the .bin, and
// warns when images of one name from different folders overwrite each other.
//
// Every image item of the scene counts, whether a material uses it or not: which images a save
// writes is the plug-in's business, and an unused image only makes a warning too many.
#pragma once

#include <string>
#include <vector>

namespace scenehost {
class Scene;
}

namespace qvhost {

// The images copied under one base name: their paths as the OS names them, distinct, in scene
// order.
struct ImageCopy {
    std::string name;
    std::vector<std::string> sources;
};

std::vector<ImageCopy> ListImageCopies(const scenehost::Scene& scene);

// The refusal when an image of the scene is the output file itself (a save would read the file
// it replaces), empty when none is. Either form of save.
std::string FindImageAtOutput(const scenehost::Scene& scene, const std::string& output);

// True when `folder` treats names that differ only in case as one name. The probe file it makes
// there is removed again.
bool FolderIgnoresCase(const std::string& folder);

// The refusal when a copy takes one of `outputNames` (the .gltf's and the .bin's file names, in
// the output's folder), empty when none does.
std::string FindCopyOverOutput(const std::vector<ImageCopy>& copies,
                               const std::vector<std::string>& outputNames, bool ignoreCase);

// After the save: a warning when a copy's sources differ in content, naming them and the one
// the copy in `folder` holds, which is the one copied last. Empty when there is nothing to say.
std::string DescribeOverwrittenCopy(const ImageCopy& copy, const std::string& folder,
                                    const std::string& output);

} // namespace qvhost
