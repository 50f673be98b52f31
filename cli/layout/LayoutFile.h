#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "cli/layout/Mistake.h"
#include "cli/layout/PropertyValue.h"

namespace Kavelin::Cli {

/// Samples that an input pin holds unless its connection says otherwise.
inline constexpr unsigned kDefaultBufferSize = 1024;

/// A text of the file and where it stands.
struct PlacedText {
    std::string text;
    Place place;
};

/// What "filter:pin", "filter:property" or "filter:command" names. The filter's name has no colon; what
/// follows the first one may.
struct Target {
    std::string filter;
    std::string element;
    Place place;
};

struct VariableEntry {
    PlacedText name;
    PlacedText value;
};

struct PropertyEntry {
    PlacedText name;
    PropertyValue value;
};

struct FilterEntry {
    PlacedText name;
    PlacedText type;
    std::vector<PropertyEntry> properties;  ///< in the order in which they are written
    std::vector<PlacedText> commands;       ///< activated before the first sample

    /// Replaces the property of the same name, or adds it after the others.
    void set(PropertyEntry entry);
};

struct LayoutEntry {
    PlacedText name;
    std::vector<FilterEntry> filters;
};

struct ConnectionEntry {
    Target from, to;
    unsigned bufferSize = kDefaultBufferSize;
    bool lifo = false;
    bool synchronous = false;
    Place place;
};

/// What happens when the stream reaches a time: a command, or the write of a property.
struct ActionEntry {
    enum class Kind { command, set };
    double at = 0.0;  ///< stream time, s
    Kind kind = Kind::command;
    Target target;
    std::optional<PropertyValue>
        value;  ///< what "set" writes; absent where the file gives none or an unusable one
    Place place;
};

/// A pin that a panel of a picture shows.
struct PlotLine {
    Target from;             ///< an output
    unsigned element = 0;    ///< from 1, in the order of storage; 0: all
    bool isNorm = false;     ///< the norm of the elements instead
    std::string label = {};  ///< empty: the pin's full name
};

/// Lines over one axis of values.
struct PlotPanel {
    std::string label;  ///< what the values are, without the unit; empty: what the first pin carries
    std::vector<PlotLine> lines;
    std::optional<std::pair<double, double>> range;  ///< of the values; absent: that of the lines
    Place place;
};

/// What a layout file says, each element with its place. Filter names are unique over all layouts of a file.
struct LayoutFile {
    std::filesystem::path folder;  ///< relative paths in the file are meant from here
    std::string schema, description;
    std::optional<std::vector<PlacedText>> plugins;  ///< absent: those that come with the program
    std::vector<VariableEntry> variables;
    std::vector<LayoutEntry> layouts;
    std::vector<ConnectionEntry> connections;
    std::vector<ActionEntry> actions;
    std::vector<PlotPanel> plot;  ///< what --plot draws, from top to bottom
    /// Properties to write that name no filter: they go to the one filter that has such a property.
    std::vector<PropertyEntry> settings;

    /// @return null where no filter has that name.
    const FilterEntry* findFilter(std::string_view name) const;
    FilterEntry* findFilter(std::string_view name);

    std::vector<std::string> filterNames() const;
};

/// Reads a layout from JSON text. Every mistake that can be found without plugins is added to `mistakes`, in
/// the order of the file: syntax (the first error only), unknown and missing keys, wrong types, names given
/// twice, malformed and dangling references. The valid parts are returned all the same, so that more can be
/// checked; parts that could not be read are left out or have empty texts.
LayoutFile parseLayout(std::string_view text, Mistakes& mistakes);

/// As parseLayout; `folder` is set to the file's own.  @throws UsageError when the file cannot be read.
LayoutFile loadLayout(const std::filesystem::path& file, Mistakes& mistakes);

/// Splits "filter:name" at the first colon. @return false where there is no colon or one side is empty.
bool splitTarget(std::string_view text, Target& target);

}  // namespace Kavelin::Cli
