#include "cli/fuse/UnitFiles.h"

#include <fmt/format.h>

#include <filesystem>
#include <utility>
#include <vector>

#include "cli/CommandContext.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

namespace fs = std::filesystem;

UnitFiles::UnitFiles(std::string option, const std::string& text) : option_(std::move(option)), text_(text) {
    std::error_code unknown;
    if (text.empty()) return;
    kind_ = fs::is_directory(text, unknown) ? Kind::kFolder : Kind::kOne;
    if (kind_ == Kind::kFolder || text.find('=') == std::string::npos || fs::exists(text, unknown)) return;
    kind_ = Kind::kEach;
    for (const std::string& entry : RecordingIO::namesIn(text)) {
        const std::size_t at = entry.find('=');
        if (at == std::string::npos || at == 0)
            throw UsageError(
                fmt::format("{} '{}': NAME=FILE,NAME=FILE is expected, the names of units", option_, text));
        if (!files_.emplace(entry.substr(0, at), entry.substr(at + 1)).second)
            throw UsageError(fmt::format("{} '{}': {} stands twice", option_, text, entry.substr(0, at)));
    }
}

std::string UnitFiles::of(const std::string& unit) const {
    if (kind_ == Kind::kNone || kind_ == Kind::kOne) return text_;
    const std::string shown = RecordingIO::printable(unit);
    if (kind_ == Kind::kFolder) {
        const fs::path file = fs::path(text_) / (unit + ".json");
        std::error_code unknown;
        if (fs::exists(file, unknown)) return file.string();
        throw UsageError(
            fmt::format("{} '{}': the folder has no {}.json for {}", option_, text_, shown, shown));
    }
    const auto found = files_.find(unit);
    if (found != files_.end()) return found->second;
    std::vector<std::string> names;
    for (const auto& [name, _] : files_) names.push_back(name);
    throw UsageError(fmt::format("{} '{}': no file for {}; there are {}. \"{}=\" says that it has none",
                                 option_, text_, shown, RecordingIO::listed(names), shown));
}

void UnitFiles::requireOneEach(const std::string& units) const {
    if (kind_ != Kind::kOne) return;
    throw UsageError(
        fmt::format("{} '{}' is the file of one unit, and there are several, {}: name one for each, "
                    "NAME=FILE,NAME=FILE, or a "
                    "folder with NAME.json of each",
                    option_, text_, RecordingIO::printable(units)));
}

}  // namespace Kavelin::Cli
