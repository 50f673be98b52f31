#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Kavelin::Cli {

/// What each recording of a batch is called and where its result goes.
struct BatchItem {
    std::string recording;  ///< as the user named it
    std::string sensor;     ///< of several in the recording; empty: it holds one
    std::string result;     ///< relative to the folder of results: "walk.csv", "A/walk.csv"
};

/// The sensors of a recording that are taken one by one; empty: it is taken as one.
using SensorNames = std::function<std::vector<std::string>(const std::string& recording)>;

/// Finds the recordings, each once, in the order given, and names their results: by the recording, and where two would have
/// the same name, in a folder named as the recording's. Nothing is written, and of recordings only the first lines are read.
/// @param folder of results; `ending` of a result's name; `sensorNames` of a recording whose sensors have a result each
/// @throws UsageError for recordings that cannot be used together, results that would still have one name or be a file that
/// is read
std::vector<BatchItem> planBatch(const std::vector<std::string>& recordings, const std::string& folder,
                                 const std::string& ending, const SensorNames& sensorNames);

/// @throws UsageError where `file`, which `option` says to write, is a recording, a result or the table
void requireApart(const std::string& option, const std::string& file, const std::vector<BatchItem>& items,
                  const std::string& folder);

/// The table of the batch, in the folder of results.
inline constexpr const char* kTableName = "summary.csv";

}  // namespace Kavelin::Cli
