#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "cli/batch/BatchEntry.h"

namespace Kavelin::Cli {

/// What is noted of a result, in a file of its own in the folder of results, to tell later whether it still holds.
///
/// It is JSON: "recording" (absolute path) and "stamp" of it; "options" of the run; "settings" (the estimator's settings
/// file) and "settingsStamp"; "resultStamp"; "status" and "reason"; "summary", that of `kavelin fuse --summary`.
class ResultState {
public:
    /// @param folder of results; @param result relative to it
    ResultState(const std::string& folder, const std::string& result);

    /// The entry of an earlier run that ended without errors and whose result still holds: recording, options, settings file
    /// and result are what they were.
    std::optional<BatchEntry> heldEntry(const std::string& recording, const std::string& options) const;

    /// The recording of which an earlier run made this result, where it is another one that is still there; else empty.
    std::string otherRecording(const std::string& recording) const;

    /// Notes a run, with what was recorded about its recording before it.  @throws Poco::WriteFileException
    /// @param summary text of the run's summary; empty: none
    void write(const BatchEntry& entry, const std::string& options, const std::string& recordingStamp,
               const std::string& summary) const;

    /// The noted run's summary, for programs; null where there is none.
    nlohmann::ordered_json summary() const;

private:
    nlohmann::ordered_json read() const;

    std::string result_;  // path
    std::string file_;
};

/// Folder, in the folder of results, of what is noted and of what is under way.
inline constexpr const char* kStateFolder = ".kavelin-fuse";

/// A text that changes when a file changes, or any file in a folder: of name, size and time of modification. Empty for a
/// path that leads nowhere.
std::string stampOf(const std::string& path);

/// What the table shows, from a run's summary as JSON.
RunFigures figuresOf(const nlohmann::ordered_json& summary);

}  // namespace Kavelin::Cli
