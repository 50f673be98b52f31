#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "attitude/rotation/RotationTypes.h"
#include "io/recording/RowReader.h"

namespace Kavelin::RecordingIO {

using OrientationInternal::Quaternion;

/// "FILE" of "FILE#SENSOR", which names one of several sensors; a file whose own name is such is that file.
std::string fileOfReference(const std::string& path);

/// A reference orientation in a file of its own, with its own time stamps and rate: read along with the
/// estimate, in constant memory, and interpolated to the times that are asked for.
class ReferenceTrack {
public:
    /// Of a recording of any format; of one with several sensors: "FILE#SENSOR".
    /// @throws as openRecording, and Poco::DataFormatException when it has no quaternion.
    explicit ReferenceTrack(const std::string& path);
    /// Of a recording that is open.  @throws Poco::DataFormatException when it has no quaternion.
    explicit ReferenceTrack(std::unique_ptr<RowReader> reader);

    /// The reference at a time, on the arc between its neighbours; empty outside the track, and between
    /// neighbours more than half a second apart.  @param time s, not decreasing from call to call.
    std::optional<Quaternion> at(double time);

    /// Whether the format says what its orientations are relative to; those that `at` gives are relative to
    /// East-North-Up then.
    bool isEarthKnown() const { return reader_->schema().channels[channel_].isEarthKnown(); }

    /// Time stamps of the first orientation and of the latest one so far, s.
    const std::optional<std::pair<double, double>>& span() const { return span_; }
    /// Quaternions so far that are zero, or nearly so.
    std::uint64_t zeros() const { return zeros_; }

    /// Rows left out so far, and what was wrong with the first of them, with file and line.
    std::uint64_t faults() const { return faults_; }
    const std::string& firstFault() const { return firstFault_; }

private:
    struct Pose {
        double time;
        Quaternion attitude;
    };
    ReferenceTrack(std::unique_ptr<RowReader> reader, const std::string& place);
    bool advance();

    std::unique_ptr<RowReader> reader_;
    std::size_t channel_ = 0;
    std::optional<Pose> before_;
    std::optional<Pose> after_;
    std::optional<std::pair<double, double>> span_;
    std::uint64_t zeros_ = 0;
    std::uint64_t faults_ = 0;
    std::string firstFault_;
};

/// Time intervals in which something counts; an empty list means always.
class Intervals {
public:
    Intervals() = default;
    /// Reads a table with the columns t_start and t_end, in s.  @throws as RecordingReader::open.
    static Intervals open(const std::string& path);

    bool contains(double time) const;

private:
    bool always_ = true;
    std::vector<std::pair<double, double>> intervals_;  // [from, to)
};

}  // namespace Kavelin::RecordingIO
