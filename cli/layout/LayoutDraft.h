#pragma once

#include <string>
#include <vector>

#include "cli/layout/LayoutFile.h"

namespace Kavelin::Cli {

/// A layout that a command makes from its options, filter by filter; its file holds one layout.
class LayoutDraft {
public:
    /// @param plugins of the options, in addition to those that come with the program
    LayoutDraft(const std::string& layout, const std::string& description,
                const std::vector<std::string>& plugins);

    LayoutFile& file() { return file_; }

protected:
    /// Filters that a setting without a filter's name goes to where they have such a property.
    struct SettingTargets {
        std::string type;  ///< of the estimators
        std::vector<std::string> estimators;
        std::vector<std::string> recordings;
    };

    FilterEntry& add(const std::string& name, const std::string& type);
    bool hasFilter(const char* name) const { return file_.findFilter(name) != nullptr; }
    /// Adds the property, unless the value is empty.  @param option what the user wrote, where the value is his
    static void set(FilterEntry& filter, const char* property, const std::string& value,
                    const std::string& option = {});
    /// @param newestOnly between filters that take each round's sample in that round: lent, not copied
    void connect(const Target& from, const Target& to, bool newestOnly = false);
    /// A file name of the command line is meant as it stands: what looks like a variable in it is none.
    std::string literal(const std::string& name);
    /// Applies the settings whose filter is there by now.
    /// @return the others; none once the layout is whole, as then each is a mistake
    std::vector<std::string> applySettings(const std::vector<std::string>& settings,
                                           const SettingTargets& targets, Mistakes& mistakes);
    static bool has(const std::string& type, const std::string& property);

    LayoutFile file_;
    bool isWhole_ = false;  // no filter is added any more: a setting for one that is not there is a mistake
};

/// @throws UsageError with all of them, each behind the option that it is about, if there is one.
void requireNoMistake(const Mistakes& mistakes);

}  // namespace Kavelin::Cli
