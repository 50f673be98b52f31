#include "cli/calibrate/CalibrateRun.h"

#include <Poco/DateTimeFormat.h>
#include <Poco/DateTimeFormatter.h>
#include <Poco/Exception.h>
#include <Poco/File.h>
#include <Poco/Timestamp.h>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <ostream>

#include "calibration/file/CalibrationFile.h"
#include "calibration/model/Unsuitable.h"
#include "cli/Picture.h"
#include "cli/SameFile.h"
#include "cli/WholeFile.h"
#include "io/files/ByteSource.h"
#include "io/recording/ResultFile.h"

namespace Kavelin::Cli {

using Calibration::SensorTrack;
using Parts = Calibration::Calibration;

namespace {

/// What the file holds already, so that a part made now joins the others.
Parts partsIn(const std::string& file) {
    std::error_code none;  // a pipe or a device holds nothing
    if (!std::filesystem::is_regular_file(file, none) || std::filesystem::is_empty(file, none)) return {};
    try {
        return Calibration::readCalibration(file);
    } catch (const Poco::DataFormatException& refusal) {
        throw UsageError("-o " + file +
                         ": the file is there and is no calibration that a part could be added to (" +
                         refusal.message() + "); name another");
    }
}

bool isFile(const std::string& output) { return !output.empty() && output != "-"; }

void requireTargets(const CalibrateOptions& options) {
    for (const auto& [option, file] : {std::pair("-o", options.output), {"--plot", options.plot}}) {
        if (!file.empty() && isSameFile(file, options.recording))
            throw UsageError(fmt::format("{} {} would overwrite the recording", option, file));
    }
    if (!options.plot.empty() && isSameFile(options.output, options.plot))
        throw UsageError("-o and --plot name the same file, " + options.plot);
    if (isFile(options.output)) RecordingIO::ResultFile::requireWritable(options.output);
}

void apply(const Calibration::AffineModel& model, SensorTrack& track) {
    for (Eigen::Vector3d& value : track.values) value = model.apply(value);
}

/// Applies what is known of the unit, but for the part that is to be made.
void applyKnown(const Parts& known, const std::string& kind, CalibrationInput& input) {
    if (known.magnetic && kind != "mag") apply(known.magnetic->model, input.sensors.field);
    if (!known.inertial || kind == "imu") return;
    if (known.inertial->acceleration) apply(*known.inertial->acceleration, input.sensors.acceleration);
    if (known.inertial->rate) apply(*known.inertial->rate, input.sensors.rate);
}

std::string dateText(const Poco::Timestamp& time) {
    return Poco::DateTimeFormatter::format(time, Poco::DateTimeFormat::ISO8601_FORMAT);
}

/// Empty for a pipe.
std::string fileDateOf(const std::string& recording) {
    return RecordingIO::canBeReadOnlyOnce(recording) ? "" : dateText(Poco::File(recording).getLastModified());
}

Calibration::Origin originOf(const CalibrationInput& input, const CalibrateOptions& options) {
    return {.recording = std::filesystem::path(options.recording).filename().string(),
            .recorded = input.recorded,
            .fileDate = fileDateOf(options.recording),
            .made = dateText(Poco::Timestamp()),
            .program = "kavelin " KAVELIN_VERSION};
}

/// Visits the part that was made: its place in the one, and in the other.
template <class Visit>
void visitMade(Parts& found, Parts& kept, Visit visit) {
    if (found.magnetic) visit(found.magnetic, kept.magnetic);
    if (found.inertial) visit(found.inertial, kept.inertial);
    if (found.noise) visit(found.noise, kept.noise);
    if (found.mount) visit(found.mount, kept.mount);
}

}  // namespace

void calibrate(const CalibrationKind& kind, const CalibrateOptions& options, CommandContext& context) {
    requireTargets(options);
    Parts kept = isFile(options.output) ? partsIn(options.output) : Parts{};
    std::unique_ptr<Picture> picture;
    if (!options.plot.empty()) picture = std::make_unique<Picture>(options.plot);
    CalibrationInput input = readCalibrationInput(options.recording, options, context);
    if (!options.calibration.empty())
        applyKnown(Calibration::readCalibration(options.calibration), kind.name, input);
    CalibrationResult result;
    try {
        result = kind.make(input, options);
    } catch (const Calibration::Unsuitable& refusal) {
        throw UsageError(options.recording + ": " + refusal.what());
    }
    visitMade(result.found, kept, [&](auto& found, auto& place) {
        found->origin = originOf(input, options);
        if (found->opinion.grade == Calibration::Grade::kPoor) context.status = kDoneWithErrors;
        place = *found;
    });
    (options.output == "-" ? context.err : context.out) << result.report;
    if (options.output == "-") context.out << Calibration::calibrationText(kept);
    if (isFile(options.output)) writeWholeFile(options.output, Calibration::calibrationText(kept));
    if (picture) picture->draw(result.drawing.height, result.drawing.script);
}

}  // namespace Kavelin::Cli
