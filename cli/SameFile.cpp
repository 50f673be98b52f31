#include "cli/SameFile.h"

#include <filesystem>

namespace Kavelin::Cli {

bool isSameFile(const std::string& a, const std::string& b) {
    namespace fs = std::filesystem;
    std::error_code unknown;
    const fs::path first = fs::weakly_canonical(fs::absolute(a, unknown), unknown);
    const fs::path second = fs::weakly_canonical(fs::absolute(b, unknown), unknown);
    if (first.empty() || second.empty()) return a == b;  // a pipe, which has no path
    const fs::file_status status = fs::status(first, unknown);
    if (fs::exists(status)) return fs::is_regular_file(status) && fs::equivalent(first, second, unknown);
    return first == second;
}

}  // namespace Kavelin::Cli
