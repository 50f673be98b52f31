#include "cli/layout/LayoutDraft.h"

#include <Kavelin/Core/FlowManager.h>

#include <filesystem>

#include "cli/CommandContext.h"
#include "cli/layout/LayoutBuilder.h"
#include "cli/layout/Overrides.h"
#include "io/FilterCsvReader.h"

namespace Kavelin::Cli {

LayoutDraft::LayoutDraft(const std::string& layout, const std::string& description,
                         const std::vector<std::string>& plugins) {
    file_.folder = std::filesystem::current_path();
    file_.description = description;
    if (!plugins.empty()) {
        file_.plugins.emplace();
        for (const char* plugin : kBundledPlugins) file_.plugins->push_back({plugin, {}});
        for (const std::string& plugin : plugins) {
            const bool isPath = plugin.find('/') != std::string::npos;
            file_.plugins->push_back({isPath ? std::filesystem::absolute(plugin).string() : plugin, {}});
        }
    }
    file_.layouts.push_back({{layout, {}}, {}});
}

FilterEntry& LayoutDraft::add(const std::string& name, const std::string& type) {
    return file_.layouts[0].filters.emplace_back(FilterEntry{{name, {}}, {type, {}}, {}, {}});
}

void LayoutDraft::set(FilterEntry& filter, const char* property, const std::string& value,
                      const std::string& option) {
    if (value.empty()) return;
    PropertyEntry entry{{property, {0, 0, option}}, {}};
    entry.value.text = value;
    entry.value.place = {0, 0, option};
    filter.properties.push_back(std::move(entry));
}

void LayoutDraft::connect(const Target& from, const Target& to, bool newestOnly) {
    ConnectionEntry& connection = file_.connections.emplace_back();
    connection.from = from;
    connection.to = to;
    if (newestOnly) connection.bufferSize = 1;
}

std::string LayoutDraft::literal(const std::string& name) {
    std::string text;
    for (std::size_t i = 0; i < name.size(); ++i)
        text += name.compare(i, 2, "${") == 0 ? "${DOLLAR}" : std::string(1, name[i]);
    if (text != name && file_.variables.empty()) file_.variables.push_back({{"DOLLAR", {}}, {"$", {}}});
    return text;
}

std::vector<std::string> LayoutDraft::applySettings(const std::vector<std::string>& settings,
                                                    const SettingTargets& targets, Mistakes& mistakes) {
    const bool isLast = isWhole_ || hasFilter("result");
    std::vector<std::string> later;
    const auto override = [&](const std::vector<std::string>& filters, const std::string& setting) {
        for (const std::string& filter : filters)
            overrideProperty(file_, filter + ":" + setting, mistakes, setting);
    };
    for (const std::string& setting : settings) {
        const std::string name = setting.substr(0, setting.find('='));
        const std::size_t colon = name.find(':');
        if (name.substr(colon == std::string::npos ? 0 : colon + 1) == "File Name") {
            mistakes.push_back({{0, 0, "--set \"" + setting + "\""},
                                "RECORDING names the file that is read, -o the one that is written"});
        } else if (colon != std::string::npos) {
            if (hasFilter(name.substr(0, colon).c_str()) || isLast)
                overrideProperty(file_, setting, mistakes);
            else
                later.push_back(setting);
        } else if (has(targets.type, name)) {
            override(targets.estimators, setting);
        } else if (has(RecordingIO::FilterCsvReader::kTypeName, name)) {
            override(targets.recordings, setting);
        } else if (isLast) {
            overrideProperty(file_, setting, mistakes);
        } else {
            later.push_back(setting);
        }
    }
    return later;
}

bool LayoutDraft::has(const std::string& type, const std::string& property) {
    const Core::FilterPtr filter =
        Core::FlowManager::instance().getPluginManager().createFilter(type, "filter");
    return filter->getPropertyBag().find(property) != nullptr;
}

void requireNoMistake(const Mistakes& mistakes) {
    if (mistakes.empty()) return;
    std::string text;
    for (const Mistake& mistake : mistakes)
        text += (text.empty() ? "" : "\nkavelin: ") +
                (mistake.place.option.empty() ? mistake.text : toText(mistake, ""));
    throw UsageError(text);
}

}  // namespace Kavelin::Cli
