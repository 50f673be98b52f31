#include "cli/layout/LayoutBuilder.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/CommandProperty.h>
#include <Kavelin/Core/Names.h>
#include <Kavelin/Core/PropertyBag.h>
#include <Kavelin/Core/Source.h>
#include <Kavelin/Core/Synchronizer.h>
#include <Poco/Exception.h>

#include <algorithm>
#include <utility>

#include "cli/CommandContext.h"
#include "cli/SettingsFile.h"
#include "cli/WholeFile.h"
#include "cli/layout/LayoutWriter.h"
#include "cli/layout/NearestNames.h"
#include "cli/layout/PropertyAccess.h"
#include "cli/plot/PlottedPin.h"
#include "io/RunParticipant.h"

namespace Kavelin::Cli {

namespace {

using Core::namesOf;

/// Relative paths in the file start from its folder, those on the command line from the current one.
std::filesystem::path folderFor(const PropertyValue& value, const LayoutFile& file) {
    return value.place.option.empty() ? file.folder : std::filesystem::path();
}

}  // namespace

LayoutBuilder::LayoutBuilder(LayoutFile& file, Core::FlowManager& flow, Mistakes& mistakes)
    : file_(file), flow_(flow), mistakes_(mistakes) {}

LayoutBuilder::~LayoutBuilder() { destroy(); }

void LayoutBuilder::destroy() {
    filters_.clear();
    written_.clear();
    fileUses_.clear();
    for (const std::string& layout : layouts_) flow_.destroyLayout(layout);
    layouts_.clear();
}

void LayoutBuilder::build() {
    if (!hasPlugins_) loadPlugins();
    hasPlugins_ = true;
    setVariables();
    make();
}

void LayoutBuilder::rebuild() {
    destroy();
    make();
}

void LayoutBuilder::make() {
    for (const LayoutEntry& layout : file_.layouts) createFilters(layout);
    placeSettings();
    for (const LayoutEntry& layout : file_.layouts)
        for (const FilterEntry& filter : layout.filters) writeProperties(filter);
    connectAll();
}

void LayoutBuilder::placeSettings() {
    for (const PropertyEntry& setting : std::exchange(file_.settings, {})) {
        std::vector<std::string> owners, properties;
        for (const std::string& name : file_.filterNames()) {
            const Core::Filter* filter = find(name);
            if (!filter) continue;
            if (filter->getPropertyBag().find(setting.name.text)) owners.push_back(name);
            std::ranges::copy(propertyNames(*filter, false), std::back_inserter(properties));
        }
        if (owners.size() == 1) {
            file_.findFilter(owners[0])->set(setting);
        } else if (owners.empty()) {
            const std::string near = didYouMean(setting.name.text, properties);
            say(setting.value.place, "no filter has a property " + inQuotes(setting.name.text) +
                                         (near.empty() ? "; filters: " : near + " Filters: ") +
                                         listed(file_.filterNames()));
        } else {
            say(setting.value.place, "several filters have a property " + inQuotes(setting.name.text) + ": " +
                                         listed(owners) + "; put the name of one before it, as in " +
                                         owners[0] + ":" + setting.name.text);
        }
    }
}

void LayoutBuilder::loadPlugins() {
    std::vector<PlacedText> plugins;
    for (const char* name : kBundledPlugins) plugins.push_back({name, {}});
    if (file_.plugins) plugins = *file_.plugins;
    for (const PlacedText& plugin : plugins) {
        const bool isRelativePath = plugin.text.find('/') != std::string::npos && plugin.text.front() != '/';
        try {
            flow_.getPluginManager().load(isRelativePath ? (file_.folder / plugin.text).string()
                                                         : plugin.text);
        } catch (const std::exception& error) {
            say(plugin.place, Core::exceptionMessage(error));
        }
    }
}

void LayoutBuilder::setVariables() {
    for (const VariableEntry& variable : file_.variables)
        flow_.setVariable(variable.name.text, flow_.expandVariables(variable.value.text));
}

void LayoutBuilder::createFilters(const LayoutEntry& entry) {
    Core::LayoutManager* layout = Core::findNamed(flow_.getLayouts(), entry.name.text);
    if (layout == nullptr) {
        layout = &flow_.createLayout(entry.name.text);
        layouts_.push_back(entry.name.text);
    }
    for (const FilterEntry& filter : entry.filters)
        if (!filter.type.text.empty() && !filters_.contains(filter.name.text)) createFilter(filter, *layout);
}

void LayoutBuilder::createFilter(const FilterEntry& entry, Core::LayoutManager& layout) {
    const std::vector<std::string> types = flow_.getPluginManager().getTypeNames();
    if (std::find(types.begin(), types.end(), entry.type.text) == types.end()) {
        say(entry.type.place, noSuch("filter type", entry.type.text, types));
        return;
    }
    try {
        filters_[entry.name.text] =
            &layout.add(flow_.getPluginManager().createFilter(entry.type.text, entry.name.text));
    } catch (const std::exception& error) {
        say(entry.type.place, entry.type.text + " cannot be made: " + Core::exceptionMessage(error));
    }
}

void LayoutBuilder::writeProperties(const FilterEntry& filterEntry) {
    Core::Filter* filter = find(filterEntry.name.text);
    if (filter == nullptr || std::find(written_.begin(), written_.end(), filter) != written_.end()) return;
    written_.push_back(filter);
    useDefaultSettings(filterEntry, *filter);
    for (const PropertyEntry& entry : filterEntry.properties)
        if (Core::AbstractProperty* property = findProperty(*filter, entry.name))
            write(*filter, *property, entry.value);
}

void LayoutBuilder::useDefaultSettings(const FilterEntry& entry, Core::Filter& filter) {
    const bool isGiven = std::any_of(entry.properties.begin(), entry.properties.end(),
                                     [](const PropertyEntry& p) { return p.name.text == kSettingsProperty; });
    PropertyValue value;
    value.text = defaultSettings(filter);
    value.place = entry.name.place;
    if (!isGiven && !value.text.empty()) write(filter, filter.getPropertyBag().get(kSettingsProperty), value);
}

void LayoutBuilder::write(Core::Filter& filter, Core::AbstractProperty& property,
                          const PropertyValue& value) {
    try {
        writeProperty(property, value, folderFor(value, file_));
        if (property.describe().kind == "file name") noteFile(filter, property, value.place);
    } catch (const std::exception& error) {
        say(value.place,
            named(filter) + ", " + inQuotes(property.getName()) + ": " + refusalText(property, value, error));
    }
}

void LayoutBuilder::noteFile(const Core::Filter& filter, const Core::AbstractProperty& property,
                             const Place& place) {
    FileUse use{named(filter), property.getName(), flow_.expandVariables(property.exactText()), false, place};
    const auto* participant = dynamic_cast<const RecordingIO::RunParticipant*>(&filter);
    use.isWritten = participant != nullptr && participant->resultFile() == use.file;
    if (!use.file.empty()) fileUses_.push_back(std::move(use));
}

/// Some filters make an output for each input that a connection asks for: a connection from such an output is
/// made after the one to the input, wherever it stands in the file.
void LayoutBuilder::connectAll() {
    std::vector<const ConnectionEntry*> left;
    for (const ConnectionEntry& entry : file_.connections) left.push_back(&entry);
    for (bool more = true; more;) {
        more = false;
        std::erase_if(left, [&](const ConnectionEntry* entry) {
            const Core::Filter* filter = find(entry->from.filter);
            if (filter == nullptr || filter->findOutputPin(entry->from.element) == nullptr) return false;
            connect(*entry);
            return more = true;
        });
    }
    for (const ConnectionEntry* entry : left) connect(*entry);
}

void LayoutBuilder::connect(const ConnectionEntry& entry) {
    Core::AbstractOutputPin* output = findOutput(entry.from);
    Core::AbstractInputPin* input = findInput(entry.to);
    if (output == nullptr || input == nullptr || input->getConnectedOutput() != nullptr) return;
    try {
        Core::connect(*output, *input, {entry.bufferSize, entry.lifo, entry.synchronous, false});
    } catch (const std::exception& error) {
        say(entry.place, Core::exceptionMessage(error));
    }
}

Core::AbstractOutputPin* LayoutBuilder::findOutput(const Target& from) {
    Core::Filter* filter = find(from.filter);
    if (filter == nullptr || from.element.empty()) return nullptr;
    Core::AbstractOutputPin* pin = filter->findOutputPin(from.element);
    const std::vector<std::string> outputs = namesOf(filter->getOutputPins());
    if (pin == nullptr && filter->findInputPin(from.element) != nullptr)
        say(from.place, named(*filter) + ": " + inQuotes(from.element) +
                            " is an input; \"from\" takes an output: " + listed(outputs));
    else if (pin == nullptr)
        say(from.place, named(*filter) + ": " + noSuch("output", from.element, outputs));
    return pin;
}

Core::AbstractInputPin* LayoutBuilder::findInput(const Target& to) {
    Core::Filter* filter = find(to.filter);
    if (filter == nullptr || to.element.empty()) return nullptr;
    if (Core::AbstractInputPin* pin = filter->findInputPin(to.element)) return pin;
    try {
        return &filter->getInputPin(to.element);  // some filters make the pins that they are asked for
    } catch (const Poco::NotFoundException&) {
        const std::vector<std::string> inputs = namesOf(filter->getInputPins());
        const bool isOutput = filter->findOutputPin(to.element) != nullptr;
        const std::string is =
            inQuotes(to.element) + " is an output; \"to\" takes an input: " + listed(inputs);
        say(to.place, named(*filter) + ": " + (isOutput ? is : noSuch("input", to.element, inputs)));
    } catch (const std::exception& error) {
        say(to.place, named(*filter) + ": " + Core::exceptionMessage(error));
    }
    return nullptr;
}

Core::AbstractProperty* LayoutBuilder::findProperty(Core::Filter& filter, const PlacedText& name) {
    Core::AbstractProperty* property = filter.getPropertyBag().find(name.text);
    if (property == nullptr)
        say(name.place, named(filter) + ": " + noSuch("property", name.text, propertyNames(filter, false)));
    return property;
}

Core::CommandProperty* LayoutBuilder::findCommand(Core::Filter& filter, const PlacedText& name) {
    auto* command = dynamic_cast<Core::CommandProperty*>(filter.getPropertyBag().find(name.text));
    if (command == nullptr)
        say(name.place, named(filter) + ": " + noSuch("command", name.text, propertyNames(filter, true)));
    return command;
}

void LayoutBuilder::check(const std::vector<FileUse>& alsoUsed) {
    checkNames();
    checkPlot();
    // A file name that was refused is a mistake already; the filter then has none.
    if (mistakes_.empty()) askParticipants(&RecordingIO::RunParticipant::checkRun);
    eachConnection([this](const ConnectionEntry& entry, const auto& output, const auto& input) {
        if (std::string mistake = shapeMistake(output, input); !mistake.empty())
            say(entry.place, std::move(mistake) + ": no sample would be used");
    });
    tryActions();
    std::vector<FileUse> uses = fileUses_;
    uses.insert(uses.end(), alsoUsed.begin(), alsoUsed.end());
    findFileConflicts(uses, mistakes_);
}

template <class Tell>
void LayoutBuilder::eachConnection(Tell tell) const {
    for (const ConnectionEntry& entry : file_.connections) {
        const Core::Filter* from = find(entry.from.filter);
        const Core::Filter* to = find(entry.to.filter);
        const Core::AbstractOutputPin* output = from ? from->findOutputPin(entry.from.element) : nullptr;
        const Core::AbstractInputPin* input = to ? to->findInputPin(entry.to.element) : nullptr;
        if (output && input && input->getConnectedOutput() == output) tell(entry, *output, *input);
    }
}

void LayoutBuilder::findDoubts(Mistakes& doubts) const {
    eachConnection([&](const ConnectionEntry& entry, const auto& output, const auto& input) {
        if (const std::string doubt = contentDoubt(output, input); !doubt.empty())
            doubts.push_back({entry.place, "warning: " + doubt});
    });
    for (const auto& [name, filter] : filters_) {
        const auto& inputs = filter->getInputPins();
        if (std::none_of(inputs.begin(), inputs.end(),
                         [](const auto* pin) { return pin->getConnectedOutput() != nullptr; }))
            continue;  // idle
        for (const Core::AbstractInputPin* pin : inputs) {
            const Core::PinContent& content = pin->content();
            if (content.quantity.empty() || content.isOptional || pin->getConnectedOutput() != nullptr)
                continue;
            doubts.push_back({file_.findFilter(name)->name.place,
                              "warning: " + named(*filter) + " needs " + inQuotes(pin->getName()) +
                                  ", which is not connected: nothing will come of it"});
        }
    }
}

void LayoutBuilder::checkNames() {
    for (const LayoutEntry& layout : file_.layouts)
        for (const FilterEntry& entry : layout.filters)
            if (Core::Filter* filter = find(entry.name.text))
                for (const PlacedText& command : entry.commands) findCommand(*filter, command);
    for (const ActionEntry& action : file_.actions) {
        Core::Filter* filter = find(action.target.filter);
        if (filter == nullptr || action.target.element.empty()) continue;
        const PlacedText name{action.target.element, action.target.place};
        if (action.kind == ActionEntry::Kind::set)
            findProperty(*filter, name);
        else
            findCommand(*filter, name);
    }
}

void LayoutBuilder::checkPlot() {
    for (const PlotPanel& panel : file_.plot) {
        std::string unit;
        for (const PlotLine& line : panel.lines) {
            const Core::AbstractOutputPin* output = findOutput(line.from);
            if (output == nullptr) continue;
            Core::PinContent content = contentSent(*output);
            // What hands samples on may stamp them itself.
            content.isWallClockStamped = output->content().isWallClockStamped;
            const std::string own = PlottedPin(line, content).unit();
            if (std::string mistake = plotMistake(line, content); !mistake.empty())
                say(line.from.place, std::move(mistake));
            else if (!unit.empty() && !own.empty() && own != unit)
                say(line.from.place, output->fullName() + " is drawn in " + own +
                                         ", what stands before it in " + unit +
                                         ": it takes a panel of its own");
            if (unit.empty()) unit = own;
        }
    }
}

void LayoutBuilder::tryActions() {
    std::vector<const ActionEntry*> writes;
    for (const ActionEntry& action : file_.actions)
        if (action.value) writes.push_back(&action);
    std::stable_sort(writes.begin(), writes.end(),
                     [](const ActionEntry* a, const ActionEntry* b) { return a->at < b->at; });
    for (const ActionEntry* action : writes) {
        Core::Filter* filter = find(action->target.filter);
        Core::AbstractProperty* property =
            filter == nullptr ? nullptr : filter->getPropertyBag().find(action->target.element);
        if (property != nullptr) write(*filter, *property, *action->value);
    }
}

void LayoutBuilder::findIdle(Mistakes& idle) const {
    for (const auto& [name, filter] : filters_) {
        // Includes connections that could not be made: those are mistakes of their own.
        const bool isFed =
            std::any_of(file_.connections.begin(), file_.connections.end(),
                        [&wanted = name](const ConnectionEntry& entry) { return entry.to.filter == wanted; });
        if (isFed || !filter->isSchedulable() || dynamic_cast<const Core::Source*>(filter) != nullptr)
            continue;
        idle.push_back({file_.findFilter(name)->name.place,
                        named(*filter) +
                            " is no source and has no connected input: it is never called; inputs: " +
                            listed(namesOf(filter->getInputPins()))});
    }
    sortByPlace(idle);
}

void LayoutBuilder::activateCommands() {
    for (const LayoutEntry& layout : file_.layouts)
        for (const FilterEntry& entry : layout.filters)
            for (const PlacedText& name : entry.commands)
                if (Core::Filter* filter = find(entry.name.text)) activate(*filter, name);
}

void LayoutBuilder::activate(Core::Filter& filter, const PlacedText& name) {
    Core::CommandProperty* command = findCommand(filter, name);
    if (command == nullptr) return;
    try {
        command->activate();
    } catch (const std::exception& error) {
        const std::string message = Core::exceptionMessage(error);
        say(name.place, named(filter) + ", " + inQuotes(name.text) + ": " +
                            (message.empty() ? Core::exceptionType(error) : message));
    }
}

void LayoutBuilder::prepareRun() { askParticipants(&RecordingIO::RunParticipant::prepareRun); }

void LayoutBuilder::askParticipants(void (RecordingIO::RunParticipant::*question)()) {
    for (const auto& [name, filter] : filters_) {
        auto* participant = dynamic_cast<RecordingIO::RunParticipant*>(filter);
        const bool mayBeMended = std::any_of(file_.actions.begin(), file_.actions.end(),
                                             [&wanted = name](const ActionEntry& action) {
                                                 return action.value && action.target.filter == wanted;
                                             });
        if (participant == nullptr || mayBeMended) continue;
        try {
            (participant->*question)();
        } catch (const std::exception& error) {
            say(placeOfFile(*filter), named(*filter) + ": " + Core::exceptionMessage(error));
        }
    }
}

Place LayoutBuilder::placeOfFile(const Core::Filter& filter) const {
    const auto use = std::find_if(fileUses_.begin(), fileUses_.end(),
                                  [&](const FileUse& one) { return one.filter == named(filter); });
    return use == fileUses_.end() ? file_.findFilter(filter.getName())->name.place : use->place;
}

void LayoutBuilder::perform(const ActionEntry& action) {
    Core::AbstractProperty& property =
        find(action.target.filter)->getPropertyBag().get(action.target.element);
    if (action.kind == ActionEntry::Kind::set)
        writeProperty(property, *action.value, folderFor(*action.value, file_));
    else
        dynamic_cast<Core::CommandProperty&>(property).activate();
}

Core::Filter* LayoutBuilder::find(const std::string& filter) const {
    const auto found = filters_.find(filter);
    return found == filters_.end() ? nullptr : found->second;
}

std::vector<Core::Filter*> LayoutBuilder::filters() const {
    std::vector<Core::Filter*> filters;
    for (const std::string& name : file_.filterNames())
        if (Core::Filter* filter = find(name)) filters.push_back(filter);
    return filters;
}

LayoutFile LayoutBuilder::capture(const std::filesystem::path& folder) const {
    LayoutFile result = file_;
    for (LayoutEntry& layout : result.layouts) {
        for (FilterEntry& entry : layout.filters) {
            Core::Filter* filter = find(entry.name.text);
            if (filter == nullptr) continue;
            const Core::Synchronizer::DisablerLocker locker(filter->getSynchronizer(), nullptr);
            entry.properties.clear();
            const Core::PropertyBag& bag = filter->getPropertyBag();
            for (const Core::SavedValue& saved : bag.save()) {
                const Core::AbstractProperty& property = bag.get(saved.name);
                if (saved.kind == Core::SavedValue::Kind::written && property.isWritable())
                    entry.properties.push_back({{saved.name, {}}, presentValue(property, folder)});
            }
            placeVariables(entry, folder, result);
        }
    }
    return result;
}

void LayoutBuilder::save(const std::string& path) const {
    writeWholeFile(path, writeLayout(capture(std::filesystem::absolute(path).parent_path())));
}

void LayoutBuilder::placeVariables(FilterEntry& entry, const std::filesystem::path& folder,
                                   LayoutFile& result) const {
    const std::string target = (folder / "").string();
    std::string prefix = (file_.folder / "").string();
    if (prefix == target) return;
    if (prefix.starts_with(target)) prefix.erase(0, target.size());  // as presentValue shortens it
    for (PropertyEntry& property : entry.properties) {
        std::string& text = property.value.text;
        if (!text.starts_with(prefix + "${")) continue;
        const std::size_t begin = prefix.size() + 2;
        const std::string name = text.substr(begin, text.find('}') - begin);
        const auto variable = std::find_if(result.variables.begin(), result.variables.end(),
                                           [&](const VariableEntry& one) { return one.name.text == name; });
        if (variable == result.variables.end()) continue;
        text.erase(0, prefix.size());
        const std::filesystem::path value = file_.folder / variable->value.text;
        variable->value.text = value.lexically_normal().string();
    }
}

std::string named(const Core::Filter& filter) { return filter.getName() + " (" + filter.typeName() + ")"; }

}  // namespace Kavelin::Cli
