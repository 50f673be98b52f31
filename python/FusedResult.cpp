#include "python/FusedResult.h"

#include <Kavelin/Core/ConnectionOptions.h>
#include <Kavelin/Core/FlowManager.h>
#include <Kavelin/Typed/OutputPin.h>
#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "attitude/rotation/Angles.h"
#include "attitude/rotation/Euler.h"
#include "attitude/rotation/QuaternionAlgebra.h"
#include "cli/CommandContext.h"
#include "cli/fuse/ResultColumns.h"
#include "cli/layout/PropertyAccess.h"
#include "evaluation/AttitudeErrors.h"
#include "io/AttitudeComparison.h"
#include "io/AttitudeFrame.h"
#include "io/FilterAttitudeErrors.h"
#include "io/FilterCsvWriter.h"
#include "io/recording/ArrayReader.h"
#include "io/recording/Text.h"

namespace Kavelin::Python {

using Core::Matrix;
using OrientationInternal::kRadiansToDegrees;
using OrientationInternal::Quaternion;
using RecordingIO::Alignment;

namespace {

using QuaternionMap = Eigen::Map<const Quaternion>;

const char* const kAlignmentLabels[] = {"none", "heading", "start"};

/// Turns the rows into the earth that was asked for, and keeps them as they were.
void turnRows(FusedResult& result) {
    if (!result.turn) return;
    std::vector<double>& values = result.rows.quaternions;
    result.unturned = values;
    for (std::size_t i = 0; i < values.size(); i += 4) {
        const Quaternion turned = OrientationInternal::quaternionProduct(result.turn->quaternion,
                                                                         QuaternionMap(&result.unturned[i]));
        std::copy_n(turned.data(), 4, &values[i]);
    }
}

/// Takes the turn about the vertical that fits best out of what was sent before it was known.
void takeOut(double turn, Cli::KeptSamples& errors) {
    for (std::size_t i = 0; turn != 0.0 && i < errors.values.size(); i += 3) {
        const RecordingIO::PairErrors pair{OrientationInternal::wrapped(errors.values[i + 1] - turn),
                                           errors.values[i + 2]};
        errors.values[i] = pair.total();
        errors.values[i + 1] = pair.heading;
    }
}

/// Why nothing could be compared.
/// @param track null: the recording's own quaternions
std::string whyNone(const FusedResult& result, const std::vector<double>& times, bool hasPairs,
                    const RecordingIO::ReferenceTrack* track) {
    using RecordingIO::counted;
    using RecordingIO::exactText;
    if (times.empty()) return "the result has no attitude to compare";
    if (hasPairs) return "no row of the result lies in an interval of " + result.movement;
    const std::string none = "no row has both an attitude and a reference";
    if (track == nullptr)
        return none + ": " + result.recording +
               " has no quaternion other than zero in a row that gives an attitude; as the reference it is "
               "taken between its rows as well";
    if (!track->span() && track->zeros() > 0)
        return fmt::format("{}: all {} of the reference are zero", none,
                           counted(track->zeros(), "quaternion"));
    if (!track->span()) return none + ": the reference has no quaternion in any row";
    const auto [first, latest] = *track->span();
    const std::string reference =
        first > times.back() ? fmt::format("begins at {} s", exactText(first))
                             : fmt::format("goes from {} s to {} s", exactText(first), exactText(latest));
    return fmt::format("{}: the result goes from {} s to {} s, the reference {}", none,
                       exactText(times.front()), exactText(times.back()), reference);
}

AttitudeComparison comparisonOf(const RecordingIO::AttitudeErrors& errors, Cli::KeptSamples samples) {
    AttitudeComparison comparison{.errors = std::move(samples),
                                  .figures = errors.figures(),
                                  .turn = errors.turn(),
                                  .aligned = std::string(alignmentName(errors.alignment())),
                                  .notes = {},
                                  .whyNone = {}};
    takeOut(comparison.turn, comparison.errors);
    return comparison;
}

std::vector<Setting> settingsOf(const Core::Filter& estimator) {
    std::vector<Setting> settings;
    for (const Core::AbstractProperty* property : estimator.getPropertyBag().getProperties()) {
        if (!property->hasValue()) continue;
        Setting setting{property->getName(), property->describe().kind, Cli::presentValue(*property, {})};
        if (setting.value.kind == Cli::PropertyValue::Kind::text) property->serialize(setting.value.text);
        settings.push_back(std::move(setting));
    }
    return settings;
}

std::string earthOf(const Cli::FuseOptions& options, const Cli::Estimator& estimator) {
    const std::string_view asked = RecordingIO::earthFrameCalled(options.frame);
    return std::string(asked.empty() ? estimator.frame : asked);
}

void takeReport(const Cli::FuseRun& run, FusedResult& result) {
    const Cli::FuseReport& report = run.report();
    result.text = report.text();
    result.summary = report.json(result.status);
    if (report.judged())
        result.verdicts = {report.judged()->verdicts.tilt.text(), report.judged()->verdicts.heading.text()};
}

void takeComparison(Cli::FuseRun& run, const RecordingIO::AttitudeErrors& errors, FusedResult& result) {
    AttitudeComparison& comparison =
        result.comparison.emplace(comparisonOf(errors, std::move(run.kept()->errors.samples())));
    comparison.isReferenceInFrame = result.isReferenceDown && run.report().isReferenceInFrame();
    if (comparison.figures.count > 0) return;
    const auto& filter = dynamic_cast<RecordingIO::AttitudeComparison&>(*run.builder().find("errors"));
    comparison.whyNone = whyNone(result, (result.estimate ? *result.estimate : result.rows).times,
                                 !comparison.errors.times.empty(), filter.referenceTrack());
}

void takeKept(Cli::FuseRun& run, FusedResult& result) {
    Cli::KeptResult& kept = *run.kept();
    result.rows = std::move(kept.rows.rows());
    result.extras = kept.rows.extras();
    result.bias = std::move(kept.bias.samples());
    result.isBiasSent = run.builder().find("estimator")->findOutputPin("3g_bias") != nullptr;
    result.turn = kept.turn;
    if (kept.estimate) result.estimate = std::move(kept.estimate->rows());
    if (const RecordingIO::AttitudeErrors* errors = run.report().errors())
        takeComparison(run, *errors, result);
    turnRows(result);
}

}  // namespace

FusedResult fuse(const Cli::FuseOptions& asked) {
    Cli::FuseOptions options = asked;
    options.quiet = true;
    options.memory.keepsResult = true;
    std::istringstream nothing;
    std::ostringstream out, messages;
    Cli::CommandContext context{nothing, out, messages};
    Cli::FuseRun run(options, context);
    run.run();
    FusedResult result;
    result.recording = options.recording;
    result.type = options.type;
    result.frame = earthOf(options, run.estimator());
    result.status = context.status;
    result.messages = messages.str();
    result.settings = settingsOf(*run.builder().find("estimator"));
    result.estimateFrame = run.estimator().frame;
    result.alignment = run.alignment();
    result.isReferenceDown = options.frame == "ned";
    result.movement = options.movement;
    takeReport(run, result);
    takeKept(run, result);
    return result;
}

namespace {

Alignment alignmentFor(const FusedResult& result, const std::string& asked) {
    for (int i = 0; i < 3; ++i)
        if (asked == kAlignmentLabels[i]) return static_cast<Alignment>(i);
    if (asked != "auto")
        throw Cli::UsageError("align: '" + asked + "'; auto, none, heading or start is expected");
    if (result.alignment) return *result.alignment;
    throw Cli::UsageError("the attitude of " + result.type +
                          " is in a frame of its own; align chooses how it is compared with a reference");
}

void set(Core::Filter& filter, const char* property, const std::string& value) {
    if (!value.empty()) filter.getPropertyBag().get(property).deSerialize(value);
}

/// A file name is meant as it stands: what looks like a variable in it is none.
std::string literal(const std::string& name) {
    std::string text;
    for (std::size_t i = 0; i < name.size(); ++i)
        text += name.compare(i, 2, "${") == 0 ? "${DOLLAR}" : std::string(1, name[i]);
    if (text != name) Core::FlowManager::instance().setVariable("DOLLAR", "$");
    return text;
}

}  // namespace

void requireComparable(const ReferenceFrame& reference, std::string_view estimate, Alignment alignment) {
    const auto own = RecordingIO::alignmentOf(reference.frame);
    if (reference.frame == estimate || (own && *own <= alignment)) return;
    throw Cli::UsageError(
        "the reference is the attitude of " + reference.type + ", " +
        (reference.frame.empty() ? "in a frame that it does not declare" : "\"" + reference.frame + "\"") +
        "; align chooses how it is compared with another");
}

std::shared_ptr<const RecordingIO::StoredRecording> referenceOf(const FusedResult& result) {
    const auto turn = RecordingIO::earthTurn(result.estimateFrame, RecordingIO::kSensorToNorthEastDown);
    const std::vector<double>& own = result.estimate ? result.estimate->quaternions : result.attitudes();
    const std::vector<double>& times = (result.estimate ? *result.estimate : result.rows).times;
    std::vector<double> quaternions = own;
    for (std::size_t i = 0; turn && i < quaternions.size(); i += 4) {
        const Quaternion q = OrientationInternal::quaternionProduct(turn->quaternion, QuaternionMap(&own[i]));
        std::copy_n(q.data(), 4, &quaternions[i]);
    }
    RecordingIO::ArrayView table;
    table.form = RecordingIO::formOfHeader("t (s),qw,qx,qy,qz");
    if (turn) table.form.earth = RecordingIO::TableForm::Earth::kNorthEastDown;
    table.columns.push_back({times.data(), 1});
    for (std::size_t i = 0; i < 4; ++i) table.columns.push_back({quaternions.data() + i, 4});
    table.rows = times.size();
    RecordingIO::ArrayReader reader("the result of " + result.recording, table, {});
    return std::make_shared<const RecordingIO::StoredRecording>(reader);
}

AttitudeComparison compare(const FusedResult& result, const ReferenceChoice& choice) {
    const Cli::KeptRows& rows = result.estimate ? *result.estimate : result.rows;
    const std::vector<double>& attitudes = result.estimate ? rows.quaternions : result.attitudes();
    Core::PinContent content = Core::kQuaternion;
    content.frame = result.estimateFrame;
    Core::OutputPin<Matrix> attitude("attitude", nullptr, content);
    RecordingIO::FilterAttitudeErrors errors("errors");
    Cli::SampleKeeper kept("kept", 3);
    set(errors, "Alignment", kAlignmentLabels[static_cast<int>(alignmentFor(result, choice.alignment))]);
    set(errors, "Reference File", literal(choice.file));
    set(errors, "Movement File", literal(result.movement));
    if (result.isReferenceDown && !choice.isUp) set(errors, "Reference Frame", "ned");
    if (choice.opener) errors.setReference(choice.opener);
    Core::connect(attitude, errors.getInputPin("attitude"), {.bufferSize = 1});
    Core::connect(errors.getOutputPin("errors"), kept.getInputPin("sample"), {.bufferSize = 1});
    errors.prepareRun();
    for (std::size_t i = 0; i < rows.times.size(); ++i) {
        attitude.value() = QuaternionMap(&attitudes[4 * i]).transpose();
        attitude.send(rows.times[i]);
        errors.process();
        kept.process();
    }
    errors.completeRun();
    AttitudeComparison comparison = comparisonOf(errors.errors(), std::move(kept.samples()));
    comparison.notes = errors.runErrors();
    const RecordingIO::ReferenceTrack& track = *errors.referenceTrack();
    comparison.isReferenceInFrame = result.isReferenceDown && !choice.isUp && !track.isEarthKnown();
    if (comparison.figures.count == 0)
        comparison.whyNone = whyNone(result, rows.times, !comparison.errors.times.empty(), &track);
    return comparison;
}

namespace {

Matrix formOf(const FusedResult& result, std::size_t row, Cli::AttitudeForm form) {
    const QuaternionMap q(&result.rows.quaternions[4 * row]);
    if (form == Cli::AttitudeForm::kQuaternion) return q.transpose();
    if (form == Cli::AttitudeForm::kEuler)
        return (OrientationInternal::eulerZyx(q) * kRadiansToDegrees).transpose();
    const Matrix rotation =
        OrientationInternal::quaternionToRotation(QuaternionMap(&result.attitudes()[4 * row]));
    return result.turn ? Matrix(result.turn->matrix * rotation) : rotation;
}

/// One of the result's columns as a pin sends it.
struct ExtraOutput {
    ExtraOutput(const Cli::ResultWatch::Extra& extra, const Cli::KeptRows::Extra& kept)
        : rows(extra.name == "Score" ? 5 : 1),
          cols(extra.size / rows),
          data(kept),
          pin(extra.name, nullptr, Matrix::Zero(rows, cols)) {}

    void send(std::size_t row, double time) {
        if (missing < data.missing.size() && data.missing[missing] == row) {
            ++missing;
            return;
        }
        const auto size = static_cast<std::size_t>(rows * cols);
        pin.value() = Eigen::Map<const Matrix>(&data.values[row * size], rows, cols);
        pin.send(time);
    }

    std::ptrdiff_t rows, cols;
    const Cli::KeptRows::Extra& data;
    Core::OutputPin<Matrix> pin;
    std::size_t missing = 0;
};

Core::PinContent contentOf(Cli::AttitudeForm form) {
    if (form == Cli::AttitudeForm::kMatrix) return Core::kRotation;
    return form == Cli::AttitudeForm::kEuler ? Core::PinContent{.shape = {1, 3}} : Core::kQuaternion;
}

}  // namespace

std::vector<std::string> write(const FusedResult& result, const std::string& path, Cli::AttitudeForm form,
                               const std::string& format) {
    const auto& labels = RecordingIO::tableKindLabels();
    const auto label = std::ranges::find(labels, format);
    const auto kind = label == labels.end() ? RecordingIO::tableKindOf(path)
                                            : static_cast<RecordingIO::TableKind>(label - labels.begin());
    const bool isSto = kind == RecordingIO::TableKind::kSto;
    const std::string rowPin = Cli::rowPin(kind, form);
    Core::OutputPin<Matrix> attitude(rowPin, nullptr, contentOf(form));
    std::vector<std::unique_ptr<ExtraOutput>> extras;
    RecordingIO::FilterCsvWriter writer("result");
    set(writer, "Rows", rowPin);
    set(writer, "Header",
        isSto ? Cli::headerForOpenSim(rowPin, result.recording) : Cli::headerOf(rowPin, form, result.extras));
    set(writer, "Format", format);
    set(writer, "File Name", literal(path));
    Core::connect(attitude, writer.getInputPin(rowPin));
    for (std::size_t i = 0; !isSto && i < result.extras.size(); ++i) {
        extras.push_back(std::make_unique<ExtraOutput>(result.extras[i], result.rows.extras[i]));
        Core::connect(extras.back()->pin, writer.getInputPin(result.extras[i].name));
    }
    writer.checkRun();
    writer.prepareRun();
    for (std::size_t row = 0; row < result.rows.times.size(); ++row) {
        const double time = result.rows.times[row];
        for (const auto& extra : extras) extra->send(row, time);
        attitude.value() = formOf(result, row, form);
        attitude.send(time);
        writer.process();
    }
    writer.completeRun();
    return writer.runNotes();
}

std::vector<double> eulerAngles(const FusedResult& result, double unit) {
    std::vector<double> angles;
    angles.reserve(3 * result.rows.times.size());
    for (std::size_t i = 0; i < result.rows.quaternions.size(); i += 4) {
        const auto euler = OrientationInternal::eulerZyx(QuaternionMap(&result.rows.quaternions[i]));
        for (const double angle : euler) angles.push_back(angle * unit);
    }
    return angles;
}

std::vector<double> rotations(const FusedResult& result) {
    std::vector<double> elements;
    elements.reserve(9 * result.rows.times.size());
    for (std::size_t row = 0; row < result.rows.times.size(); ++row) {
        const Matrix rotation = formOf(result, row, Cli::AttitudeForm::kMatrix);
        elements.insert(elements.end(), rotation.data(), rotation.data() + 9);
    }
    return elements;
}

}  // namespace Kavelin::Python
