#include "cli/layout/LayoutFile.h"

#include <fstream>
#include <utility>

#include "cli/CommandContext.h"

namespace Kavelin::Cli {

namespace {

constexpr std::size_t kLargestFile = 16u
                                     << 20;  // far above any layout, below most recordings given by mistake

std::string readWhole(const std::filesystem::path& file) {
    std::error_code error;
    if (std::filesystem::is_directory(file, error))
        throw UsageError(file.string() + " is a folder; a layout file (JSON) is wanted");
    std::ifstream stream(file, std::ios::binary);
    if (!stream) throw UsageError(file.string() + " cannot be opened for reading");
    std::string text(kLargestFile + 1, '\0');
    stream.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (stream.bad()) throw UsageError(file.string() + " cannot be read to its end");
    text.resize(static_cast<std::size_t>(stream.gcount()));
    if (text.size() > kLargestFile)
        throw UsageError(file.string() + " is larger than 16 MiB: no layout file");
    return text;
}

}  // namespace

void FilterEntry::set(PropertyEntry entry) {
    const auto old = std::find_if(properties.begin(), properties.end(), [&](const PropertyEntry& property) {
        return property.name.text == entry.name.text;
    });
    if (old == properties.end())
        properties.push_back(std::move(entry));
    else
        *old = std::move(entry);
}

const FilterEntry* LayoutFile::findFilter(std::string_view name) const {
    for (const LayoutEntry& layout : layouts)
        for (const FilterEntry& filter : layout.filters)
            if (filter.name.text == name) return &filter;
    return nullptr;
}

FilterEntry* LayoutFile::findFilter(std::string_view name) {
    return const_cast<FilterEntry*>(std::as_const(*this).findFilter(name));
}

std::vector<std::string> LayoutFile::filterNames() const {
    std::vector<std::string> names;
    for (const LayoutEntry& layout : layouts)
        for (const FilterEntry& filter : layout.filters)
            if (!filter.name.text.empty()) names.push_back(filter.name.text);
    return names;
}

LayoutFile loadLayout(const std::filesystem::path& file, Mistakes& mistakes) {
    LayoutFile layout = parseLayout(readWhole(file), mistakes);
    layout.folder = std::filesystem::absolute(file).parent_path();
    return layout;
}

bool splitTarget(std::string_view text, Target& target) {
    const auto colon = text.find(':');
    if (colon == std::string_view::npos || colon == 0 || colon + 1 == text.size()) return false;
    target.filter = text.substr(0, colon);
    target.element = text.substr(colon + 1);
    return true;
}

}  // namespace Kavelin::Cli
