#include "cli/SettingsFile.h"

#include <Kavelin/Core/AbstractProperty.h>
#include <Kavelin/Core/FlowManager.h>

namespace Kavelin::Cli {

namespace fs = std::filesystem;

namespace {

/// The file that the property names now; empty when the filter has no such property.
fs::path namedFile(const Core::Filter& filter) {
    const Core::AbstractProperty* property = filter.getPropertyBag().find(kSettingsProperty);
    if (property == nullptr) return {};
    return Core::FlowManager::instance().expandVariables(property->exactText());
}

bool isThere(const fs::path& file) {
    std::error_code unknown;
    return !file.empty() && fs::exists(file, unknown);
}

fs::path givenProgramFolder;

fs::path programFolder() {
    std::error_code unknown;
    if (!givenProgramFolder.empty()) return givenProgramFolder;
    return fs::read_symlink("/proc/self/exe", unknown).parent_path();
}

}  // namespace

std::string defaultSettings(const Core::Filter& filter) {
    const fs::path own = namedFile(filter);
    if (isThere(own)) return fs::absolute(own).lexically_normal().string();
    const fs::path installed = programFolder() / KAVELIN_DATA_FROM_PROGRAM / "FILTER" / own.filename();
    std::error_code unknown;
    if (!own.has_filename() || !fs::is_regular_file(installed, unknown)) return {};
    return fs::weakly_canonical(installed, unknown).string();
}

void setProgramFolder(const fs::path& folder) { givenProgramFolder = folder; }

std::string settingsInUse(const Core::Filter& filter) {
    const fs::path file = namedFile(filter);
    if (!isThere(file)) return {};
    const fs::path whole = fs::absolute(file).lexically_normal();
    const fs::path below = whole.lexically_relative(fs::current_path());
    const bool isBelow = !below.empty() && *below.begin() != "..";
    return isBelow ? "./" + below.string() : whole.string();
}

}  // namespace Kavelin::Cli
