#pragma once

#include <map>
#include <string>

namespace Kavelin::Cli {

/// The files of an option that says something of units, such as their calibrations: one file; one for each unit,
/// "thigh=a.json,shank=b.json", where "shank=" stands for none; or a folder with thigh.json and shank.json.
class UnitFiles {
public:
    /// @param option as the user wrote it, "--calibration"; @param text its value; empty: not given
    UnitFiles(std::string option, const std::string& text);

    /// The file of a unit; empty for none.  @throws UsageError where the option does not say which
    std::string of(const std::string& unit) const;
    /// Refuses one file for several units.  @param units for the message, "thigh and shank"
    /// @throws UsageError
    void requireOneEach(const std::string& units) const;

private:
    enum class Kind { kNone, kOne, kEach, kFolder };

    std::string option_;
    std::string text_;
    Kind kind_ = Kind::kNone;
    std::map<std::string, std::string> files_;  // by unit
};

}  // namespace Kavelin::Cli
