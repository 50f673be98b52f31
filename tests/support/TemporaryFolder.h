#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace Kavelin::Tests {

/// A new folder that goes, with all in it, when the test is over.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string name = (std::filesystem::temp_directory_path() / "kavelin_test_XXXXXX").string();
        if (!::mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
        folder_ = name;
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }

    std::string path(const std::string& name) const { return (folder_ / name).string(); }

    std::string write(const std::string& name, const std::string& text) const {
        std::ofstream(path(name), std::ios::binary) << text;
        return path(name);
    }

    std::string read(const std::string& name) const {
        std::ifstream file(path(name), std::ios::binary);
        std::ostringstream text;
        text << file.rdbuf();
        return text.str();
    }

private:
    std::filesystem::path folder_;
};

}  // namespace Kavelin::Tests
