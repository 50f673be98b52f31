#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "io/files/FileTree.h"
#include "io/formats/RecordingPlan.h"
#include "io/recording/RecordingReader.h"

namespace Kavelin::RecordingIO {

/// The files of a recording, and the first lines of each on demand.
class Sighting {
public:
    Sighting(const FileTree& tree, const ReaderOptions& options) : tree_(tree), options_(options) {}

    const FileTree& tree() const { return tree_; }
    const ReaderOptions& options() const { return options_; }
    const std::vector<FileTree::Entry>& files() const { return tree_.files(); }

    /// The first lines of a file (64 KiB at most, only whole lines), without line feeds; decoded to UTF-8 and
    /// without a byte order mark. Empty for what is not text.
    std::vector<std::string> firstLines(const std::string& file) const;
    /// The first of them, where it has less than 4 KiB; empty where there is none. Costs less for many files.
    std::string firstLine(const std::string& file) const;

    /// Files whose name without folders equals `name`, or ends with it; upper and lower case do not matter.
    std::vector<std::string> filesCalled(std::string_view name) const;
    std::vector<std::string> filesEndingWith(std::string_view ending) const;

private:
    const FileTree& tree_;
    const ReaderOptions& options_;
};

/// A format that is known by name. Adding one is a file of its own and a row in Formats.cpp.
struct Format {
    const char* name;   ///< "ngimu_folder"
    const char* title;  ///< one line for `kavelin formats`: whose files, and what they are
    /// @return how the recording is read; empty where it is of another format.
    /// Raises Poco::DataFormatException for a recording of this format that cannot be used: what is wrong,
    /// and what would be right.
    std::optional<RecordingPlan> (*plan)(const Sighting& sighting);
};

/// All formats, in the order in which they are tried.
const std::vector<Format>& formats();

/// A table with column names and, where a format's files leave it open, a form found by their first lines.
/// @param isBesideRates another table of the recording holds the rates: the steps of the times tell their unit
/// Raises Poco::DataFormatException, with the file and its line.
TablePlan tablePlan(const Sighting& sighting, const std::string& file, bool isBesideRates = false);

/// "Left Foot" of "Left Foot/Inertial.csv"; empty where there is no folder.
std::string folderOf(const std::string& file);
/// "Inertial.csv" of "Left Foot/Inertial.csv".
std::string leafOf(const std::string& file);

}  // namespace Kavelin::RecordingIO
