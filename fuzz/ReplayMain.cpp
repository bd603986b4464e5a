// Runs the fuzz target over files and folders (each file of a folder, in name order), the way
// the ordinary test builds replay the seed corpus and every saved crasher without libFuzzer.
// A crash or a sanitizer report ends the program; otherwise it prints how many inputs ran.
#include "SceneSaveTarget.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

std::vector<fs::path> InputsUnder(const fs::path& path) {
    std::vector<fs::path> inputs;
    if (!fs::is_directory(path)) return {path};
    for (const auto& entry : fs::directory_iterator(path))
        if (entry.is_regular_file() && entry.path().filename().string()[0] != '.')
            inputs.push_back(entry.path());
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}

bool RunOne(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "replay: cannot read %s\n", file.c_str());
        return false;
    }
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::fprintf(stderr, "replay: %s\n", file.c_str());
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: fuzz_replay FILE_OR_FOLDER...\n");
        return 2;
    }
    int ran = 0;
    bool readAll = true;
    for (int i = 1; i < argc; ++i)
        for (const fs::path& file : InputsUnder(argv[i])) {
            readAll = RunOne(file) && readAll;
            ++ran;
        }
    std::printf("replay: %d inputs ran\n", ran);
    return readAll ? 0 : 1;
}
