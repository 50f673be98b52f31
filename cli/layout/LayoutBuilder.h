#pragma once

#include <Kavelin/Core/FlowManager.h>

#include <map>
#include <string>

#include "cli/layout/FileConflicts.h"
#include "cli/layout/LayoutFile.h"

namespace Kavelin::Core {
class CommandProperty;
}

namespace Kavelin::RecordingIO {
class RunParticipant;
}

namespace Kavelin::Cli {

/// Builds in the flow manager what a layout file describes: plugins, variables, layouts, filters, properties,
/// connections. What cannot be built is added to the mistakes and left out, so that one pass finds all of
/// them. [one thread, no layout running]
class LayoutBuilder {
public:
    /// All three are borrowed.
    LayoutBuilder(LayoutFile& file, Core::FlowManager& flow, Mistakes& mistakes);
    /// Destroys the layouts and filters that it made.
    ~LayoutBuilder();
    LayoutBuilder(const LayoutBuilder&) = delete;
    LayoutBuilder& operator=(const LayoutBuilder&) = delete;

    /// May be called again after the file has grown: builds what is new in it.
    void build();

    /// Adds what else is wrong with what was built: commands and actions that name what does not exist,
    /// files that are not named or cannot be read, values of actions that are refused, pins that cannot be drawn
    /// where the plot has them, files that one filter writes and another uses, or that are in `alsoUsed`.
    /// Afterwards the properties are as the last action leaves them.
    void check(const std::vector<FileUse>& alsoUsed);

    /// Rebuilds everything except plugins and variables, so that properties are again as the file says.
    void rebuild();

    /// Adds to `idle` every filter that would never be called: it is not a source and has no connected input.
    void findIdle(Mistakes& idle) const;

    /// Adds to `doubts` every connection between pins that carry unlike quantities, and every needed input
    /// without one.
    void findDoubts(Mistakes& doubts) const;

    /// Activates the "commands" of all filters, in the order of the file; what one raises is a mistake.
    void activateCommands();

    /// Lets the filters make sure that their files can be written; what they raise is a mistake.
    void prepareRun();

    /// Activates a command, or writes a property. What it names must exist.
    /// @throws as the handler or the write.
    void perform(const ActionEntry& action);

    /// The filter of that name; null where it could not be built.
    Core::Filter* find(const std::string& filter) const;

    /// An output of a filter; null, and a mistake, where there is none.
    Core::AbstractOutputPin* findOutput(const Target& from);

    /// The filters that were built, in the order of the file.
    std::vector<Core::Filter*> filters() const;

    /// The file with the present value of every property that was written, in the order of the writes:
    /// building it brings filters into the present state. Defaults are left out, as a default need not be
    /// what the filter works with.
    /// @param folder file names below it are written relative to it.
    LayoutFile capture(const std::filesystem::path& folder) const;

    /// Writes that to a file, whole or not at all.
    void save(const std::string& path) const;

private:
    /// A relative variable at the front of a file name starts from the file's folder. In a layout saved
    /// elsewhere the variable itself names that folder.
    void placeVariables(FilterEntry& entry, const std::filesystem::path& folder, LayoutFile& result) const;
    void loadPlugins();
    void setVariables();
    void make();
    void destroy();
    /// Gives the settings that name no filter to the filters that have such a property.
    void placeSettings();
    void createFilters(const LayoutEntry& layout);
    void createFilter(const FilterEntry& entry, Core::LayoutManager& layout);
    void writeProperties(const FilterEntry& entry);
    /// Where the layout names no settings file: the user's own, else the one that comes with the program.
    void useDefaultSettings(const FilterEntry& entry, Core::Filter& filter);
    void write(Core::Filter& filter, Core::AbstractProperty& property, const PropertyValue& value);
    void noteFile(const Core::Filter& filter, const Core::AbstractProperty& property, const Place& place);
    /// What they raise is a mistake. A filter that an action writes to is left out:
    /// the action may provide it in time.
    void askParticipants(void (RecordingIO::RunParticipant::*question)());
    Place placeOfFile(const Core::Filter& filter) const;
    void connectAll();
    void connect(const ConnectionEntry& entry);
    void checkNames();
    void checkPlot();
    /// Calls `tell` for each connection of the file that was made.
    template <class Tell>
    void eachConnection(Tell tell) const;
    /// Writes what the actions will write, in the order of their times.
    void tryActions();
    void activate(Core::Filter& filter, const PlacedText& name);
    Core::AbstractInputPin* findInput(const Target& to);
    Core::AbstractProperty* findProperty(Core::Filter& filter, const PlacedText& name);
    Core::CommandProperty* findCommand(Core::Filter& filter, const PlacedText& name);
    void say(const Place& place, std::string text) { mistakes_.push_back({place, std::move(text)}); }

    LayoutFile& file_;
    Core::FlowManager& flow_;
    Mistakes& mistakes_;
    bool hasPlugins_ = false;
    std::map<std::string, Core::Filter*> filters_;
    std::vector<const Core::Filter*> written_;  // those with the properties of the file
    std::vector<std::string> layouts_;
    std::vector<FileUse> fileUses_;
};

/// Plugins that are loaded where a layout file names none.
inline constexpr const char* kBundledPlugins[] = {"KavelinPluginOrientationInternal",
                                                  "KavelinPluginRecordingIO", "KavelinPluginCalibration"};

/// @return "attitude (FilterAttitude)", as messages name a filter.
std::string named(const Core::Filter& filter);

}  // namespace Kavelin::Cli
