#include "io/formats/ReferenceTrack.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "attitude/rotation/Slerp.h"
#include "io/formats/OpenRecording.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

const double kLongestStep = 0.5;  // s; over a longer gap the ends do not tell what happened between

RecordingReader openIntervals(const std::string& path) {
    ReaderOptions options;
    options.mapping = "t = t_start; end = t_end";
    try {
        return RecordingReader::open(path, options);
    } catch (const Poco::DataFormatException&) {
        throw Poco::DataFormatException(path +
                                        ": a table of intervals has the columns t_start and t_end, in s");
    }
}

std::unique_ptr<RowReader> openReference(const std::string& path) {
    OpenOptions options;
    const std::string file = fileOfReference(path);
    if (file != path) {
        options.sensor = path.substr(file.size() + 1);
        return openRecording(file, options);
    }
    const std::vector<std::string> sensors = sensorsOf(path, options);
    if (sensors.size() < 2) return openRecording(path, options);
    throw Poco::DataFormatException(fmt::format("{0}: it holds {1} sensors: {2}; choose one: {0}#{3}", path,
                                                sensors.size(), listed(sensors, sensors.size()),
                                                sensors.front()));
}

}  // namespace

std::string fileOfReference(const std::string& path) {
    std::error_code unknown;
    const std::size_t mark = path.rfind('#');
    return mark == std::string::npos || std::filesystem::exists(path, unknown) ? path : path.substr(0, mark);
}

ReferenceTrack::ReferenceTrack(const std::string& path) : ReferenceTrack(openReference(path), path + ":1") {}

ReferenceTrack::ReferenceTrack(std::unique_ptr<RowReader> reader)
    : ReferenceTrack(std::move(reader), std::string()) {}

ReferenceTrack::ReferenceTrack(std::unique_ptr<RowReader> reader, const std::string& place)
    : reader_(std::move(reader)) {
    const auto& channels = reader_->schema().channels;
    const auto found = std::find_if(channels.begin(), channels.end(), [](const Channel& channel) {
        return channel.pin == "quat" && channel.size() == 4;
    });
    if (found == channels.end()) {
        throw Poco::DataFormatException(
            (place.empty() ? reader_->name() : place) +
            ": a reference needs the columns qw, qx, qy, qz; found: " + reader_->schema().understood);
    }
    channel_ = static_cast<std::size_t>(found - channels.begin());
}

std::optional<Quaternion> ReferenceTrack::at(double time) {
    while (!after_ || after_->time < time) {
        if (!advance()) return std::nullopt;
    }
    if (after_->time == time) return after_->attitude;
    if (!before_ || before_->time > time) return std::nullopt;
    const double step = after_->time - before_->time;
    if (step > kLongestStep) return std::nullopt;
    return OrientationInternal::slerp(before_->attitude, after_->attitude, (time - before_->time) / step);
}

/// Rows without a quaternion are skipped: the step across them decides.
bool ReferenceTrack::advance() {
    for (;;) {
        const RowReader::Next next = reader_->next();
        if (next == RowReader::Next::kEnd) return false;
        if (next == RowReader::Next::kFault) {
            if (faults_++ == 0) firstFault_ = reader_->message();
            continue;
        }
        if (!reader_->row().has(channel_)) continue;
        const double* q = reader_->row().values(channel_);
        const Quaternion attitude(q[0], q[1], q[2], q[3]);
        if (!(attitude.norm() > 0.5)) {
            ++zeros_;
            continue;
        }
        before_ = after_;
        after_ = Pose{reader_->row().time(), attitude.normalized()};
        span_ = {span_ ? span_->first : after_->time, after_->time};
        return true;
    }
}

Intervals Intervals::open(const std::string& path) {
    RecordingReader reader = openIntervals(path);
    Intervals intervals;
    intervals.always_ = false;
    for (auto next = reader.next(); next != RecordingReader::Next::kEnd; next = reader.next()) {
        if (next == RecordingReader::Next::kFault) throw Poco::DataFormatException(reader.message());
        const Row& row = reader.row();
        if (!row.has(0)) continue;
        const double end = row.values(0)[0];
        if (!(row.time() < end)) {
            throw Poco::DataFormatException(path + ":" + std::to_string(reader.line()) +
                                            ": an interval ends before it begins");
        }
        intervals.intervals_.emplace_back(row.time(), end);
    }
    return intervals;
}

bool Intervals::contains(double time) const {
    return always_ || std::any_of(intervals_.begin(), intervals_.end(), [time](const auto& interval) {
               return interval.first <= time && time < interval.second;
           });
}

}  // namespace Kavelin::RecordingIO
