#include "cli/view/PageFiles.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace Kavelin::Cli {

namespace fs = std::filesystem;

namespace {

constexpr std::pair<const char*, const char*> kTypes[] = {{".html", "text/html; charset=utf-8"},
                                                          {".css", "text/css; charset=utf-8"},
                                                          {".js", "text/javascript; charset=utf-8"},
                                                          {".svg", "image/svg+xml"}};

}  // namespace

PageFiles::PageFiles(const std::string& folder) {
    read(folder + "/page", "/app/");
    read(folder + "/lib", "/lib/");
    const auto page = files_.find("/app/index.html");
    if (page != files_.end()) files_["/"] = page->second;
}

PageFiles PageFiles::installed() {
    std::error_code unknown;
    const fs::path program = fs::read_symlink("/proc/self/exe", unknown).parent_path();
    return PageFiles((program / KAVELIN_DATA_FROM_PROGRAM / "view").string());
}

void PageFiles::read(const std::string& folder, const std::string& prefix) {
    std::error_code missing;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, missing)) {
        for (const auto& [ending, type] : kTypes) {
            if (entry.path().extension() != ending || !entry.is_regular_file(missing)) continue;
            std::ifstream in(entry.path(), std::ios::binary);
            files_[prefix + entry.path().filename().string()] = {
                type, std::string(std::istreambuf_iterator<char>(in), {})};
        }
    }
}

const PageFiles::File* PageFiles::find(const std::string& path) const {
    const auto found = files_.find(path);
    return found == files_.end() ? nullptr : &found->second;
}

}  // namespace Kavelin::Cli
