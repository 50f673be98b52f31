// Stands in for libFuzzer's main: runs the target once on every file of the folders given, so that a plain
// compiler and CI guard what fuzzing has found. Fails when there is nothing to replay.

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> files;
    for (const std::string& folder : std::vector<std::string>(argv + 1, argv + argc)) {
        std::error_code unreadable;
        for (const auto& entry : std::filesystem::directory_iterator(folder, unreadable))
            if (entry.is_regular_file()) files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    for (const auto& file : files) {
        std::cerr << file.string() << std::endl;  // names the culprit should the next call not return
        std::ifstream in(file, std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(in), {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    if (files.empty()) std::cerr << "no corpus files in the folders given" << std::endl;
    return files.empty() ? 1 : 0;
}
