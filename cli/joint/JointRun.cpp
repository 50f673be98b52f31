#include "cli/joint/JointRun.h"

#include <Kavelin/Core/ConnectionOptions.h>
#include <Poco/Exception.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <ostream>
#include <sstream>

#include "cli/Interruption.h"
#include "cli/fuse/FuseLayout.h"
#include "cli/fuse/UnitFiles.h"
#include "cli/layout/LayoutRun.h"
#include "io/AttitudeFrame.h"
#include "io/RecordingSource.h"
#include "io/recording/ResultFile.h"
#include "io/recording/Text.h"
#include "io/writing/TableFormat.h"

namespace Kavelin::Cli {

namespace {

Core::FlowManager& flow() { return Core::FlowManager::instance(); }

}  // namespace

JointRun::Stage::Stage(const FuseOptions& options, const JointUnits& units, const Estimator& estimator)
    : layout(options, units, estimator, mistakes), builder(layout.file(), flow(), mistakes) {}

JointLayout::Schemas JointRun::Stage::open() {
    build();
    JointLayout::Schemas schemas{};
    for (const std::size_t unit : {0U, 1U}) {
        auto& source = dynamic_cast<RecordingIO::RecordingSource&>(*builder.find(layout.recording(unit)));
        source.open();
        schemas[unit] = source.schema();
    }
    return schemas;
}

void JointRun::Stage::build() {
    requireNoMistake(mistakes);
    builder.build();
    requireNoMistake(mistakes);
}

JointRun::JointRun(const FuseOptions& options, const JointOptions& joint, CommandContext& context)
    : options_(options),
      context_(context),
      units_(jointUnits(joint.joint, joint.recordings)),
      estimator_(describeEstimator(options.type)) {
    if (!joint.pose.empty()) wishes_.pose = timeInterval("--pose", joint.pose);
    wishes_.hinge = joint.hinge;
    wishes_.alike = joint.alike;
    if (joint.alike && !joint.hinge)
        throw UsageError("--alike is about the axis of a hinge: --hinge finds it");
    requireOptions();
}

void JointRun::requireOptions() const {
    for (const auto& [option, isGiven] : {std::pair("--plot", !options_.plot.empty()),
                                          {"--summary", !options_.summary.empty()},
                                          {"--scores", options_.scores},
                                          {"--reference", !options_.reference.empty()},
                                          {"--movement", !options_.movement.empty()},
                                          {"--align", options_.alignment != "auto"},
                                          {"--as", options_.form != AttitudeForm::kQuaternion},
                                          {"--frame", !options_.frame.empty()},
                                          {"--mount", !options_.mount.empty()},
                                          {"--sensor", !options_.sensor.empty()}}) {
        if (isGiven)
            throw UsageError(std::string(option) + " is about the attitude of one unit: not with --joint");
    }
    UnitFiles("--calibration", options_.calibration)
        .requireOneEach(units_[0].name + " and " + units_[1].name);
    const auto alignment = RecordingIO::alignmentOf(estimator_.frame);
    if (!alignment || alignment == RecordingIO::Alignment::kStart || estimator_.stampsWithWallClock) {
        throw UsageError(options_.type +
                         (estimator_.stampsWithWallClock
                              ? " stamps its attitudes with the wall clock"
                              : " gives attitudes relative to the start of each unit") +
                         "; a joint needs both in an earth frame, at the times of the recordings: "
                         "FilterSO3Attitude, say");
    }
    if (options_.output.empty()) throw UsageError("-o '': a file name is expected, or - for standard output");
    try {
        const RecordingIO::TableKind kind = resultKind(options_);
        RecordingIO::requireFit(kind, options_.output, {});
        if (kind == RecordingIO::TableKind::kSto)
            throw UsageError(
                "a .sto file holds orientations, not a joint's angles; these go to .csv, .mat, .npz or .npy");
    } catch (const Poco::InvalidArgumentException& refusal) {
        throw UsageError("-o " + refusal.message());
    }
    if (!options_.saveLayout.empty()) RecordingIO::ResultFile::requireWritable(options_.saveLayout);
}

void JointRun::requireSensorsOf(const JointLayout::Schemas& schemas) const {
    for (const std::size_t unit : {0U, 1U}) {
        requireSensors(*schemas[unit], estimator_, options_.type, units_[unit].recording);
        if (!schemas[unit]->find("3g"))
            throw UsageError("--joint needs rates, \"3g\", which " + units_[unit].recording +
                             " does not have; understood there: " + schemas[unit]->understood);
    }
}

/// Refuses units whose samples nothing brings together in time.
void JointRun::requireCommonTime(const JointLayout::Schemas& schemas) const {
    using Origin = RecordingIO::Schema::Origin;
    const bool isOne = units_[0].recording == units_[1].recording;
    const auto isOnItsOwn = [&](const RecordingIO::Schema* schema) {
        return isOne ? schema->origin == Origin::kFirstRowOfSensor : schema->origin != Origin::kGiven;
    };
    if (!std::ranges::any_of(schemas, isOnItsOwn)) return;
    throw UsageError("the times of " + units_[0].name + " and of " + units_[1].name +
                     " begin each at its own first row, so nothing tells which samples belong together: " +
                     (isOne
                          ? "record the units synchronised"
                          : "units that were recorded as one are files of one folder; name the folder, with "
                            "--joint and the units' names in it"));
}

bool JointRun::hasCommonHeading(const Stage& stage, const JointLayout::Schemas& schemas) const {
    if (estimator_.frame != Core::kSensorToEarth && estimator_.frame != Core::kSensorToNorthWestUp)
        return false;
    for (const std::size_t unit : {0U, 1U}) {
        Core::Filter& filter = *stage.builder.find(stage.layout.estimator(unit));
        const Core::AbstractProperty* use = filter.getPropertyBag().find("Use 3m");
        if (!estimator_.uses("3m") || !schemas[unit]->find("3m") || (use && use->exactText() == "0"))
            return false;
    }
    return true;
}

void JointRun::noteHeading(const Stage& stage, const JointLayout::Schemas& schemas) {
    wishes_.hasCommonHeading = hasCommonHeading(stage, schemas);
    if (wishes_.hasCommonHeading || wishes_.hinge) return;
    throw UsageError("without a field in both recordings the headings of " + units_[0].name + " and " +
                     units_[1].name +
                     " have no common zero, and the joint's angles would be wrong; for a hinge, --hinge "
                     "finds their difference");
}

void JointRun::run() {
    const Interruption interruption;  // its flag outlives the first pass
    const JointFinding finding = survey();
    if (Interruption::hasCome()) {
        context_.err << "kavelin: interrupted; nothing was written\n";
        context_.status = kDoneWithErrors;
        return;
    }
    writeAngles(finding);
}

/// The first pass; what is wrong with rows is told by the second.
JointFinding JointRun::survey() {
    Stage stage(options_, units_, estimator_);
    const JointLayout::Schemas schemas = stage.open();
    requireSensorsOf(schemas);
    requireCommonTime(schemas);
    noteHeading(stage, schemas);
    if (!wishes_.pose && !wishes_.hinge) return {};
    stage.layout.completeSurvey(schemas, stage.mistakes);
    stage.build();

    stage.watch = std::make_unique<JointSurvey>("survey", wishes_.pose);
    auto& survey = static_cast<JointSurvey&>(*stage.watch);
    Core::Filter& pairs = *stage.builder.find("pairs");
    pairs.getManager()->add(survey);
    for (const std::size_t unit : {0U, 1U}) {
        Core::connect(*pairs.findOutputPin(JointLayout::kAttitudePins[unit]), survey.attitudePin(unit));
        Core::connect(*pairs.findOutputPin(JointLayout::kRatePins[unit]), survey.ratePin(unit));
        Core::AbstractOutputPin* bias =
            stage.builder.find(stage.layout.estimator(unit))->findOutputPin("3g_bias");
        if (bias) Core::connect(*bias, survey.biasPin(unit));
    }
    stage.builder.activateCommands();
    stage.builder.prepareRun();
    requireNoMistake(stage.mistakes);

    std::ostringstream errors;
    LayoutRun run(stage.layout.file(), stage.builder, flow(), errors,
                  {.stopOnError = options_.stopOnError, .quiet = true, .hasProgress = false});
    run.drive();
    if (Interruption::hasCome()) return {};
    try {
        return findJoint(survey, wishes_, units_);
    } catch (const UsageError&) {
        context_.err << errors.str();
        throw;
    }
}

void JointRun::writeAngles(const JointFinding& finding) {
    Stage stage(options_, units_, estimator_);
    const JointLayout::Schemas schemas = stage.open();
    stage.layout.completeResult(
        schemas, {finding.alignment, finding.pose.has_value(), finding.hinge.has_value()}, stage.mistakes);
    stage.build();
    std::vector<FileUse> written;
    if (!options_.saveLayout.empty())
        written.push_back({"--save-layout",
                           "",
                           options_.saveLayout,
                           true,
                           {.option = "--save-layout '" + options_.saveLayout + "'"}});
    stage.builder.check(written);
    requireNoMistake(stage.mistakes);

    stage.watch = std::make_unique<AngleRange>("summary");
    Core::Filter& angles = *stage.builder.find("degrees");
    angles.getManager()->add(*stage.watch);
    for (const char* pin : {"angle", "flexion", "swing"})
        Core::connect(*angles.findOutputPin(pin), *stage.watch->findInputPin(pin));
    stage.builder.activateCommands();
    stage.builder.prepareRun();
    requireNoMistake(stage.mistakes);
    if (!options_.saveLayout.empty()) stage.builder.save(options_.saveLayout);

    const bool rowsAreSeen = options_.output == "-" && ::isatty(STDOUT_FILENO) == 1;
    context_.out.flush();
    LayoutRun run(stage.layout.file(), stage.builder, flow(), context_.err,
                  {.stopOnError = options_.stopOnError,
                   .quiet = options_.quiet,
                   .hasProgress = !rowsAreSeen,
                   .indispensable = "result"});
    if (!run.run()) context_.status = kDoneWithErrors;
    summarise(finding, static_cast<const AngleRange&>(*stage.watch));
}

void JointRun::summarise(const JointFinding& finding, const AngleRange& range) {
    if (range.flexion().count == 0) {
        context_.err << "kavelin: no angle came out: " << units_[0].recording << " and "
                     << units_[1].recording
                     << " have no attitudes of one time; are their time stamps of one clock? --set "
                        "pairs:Shift=G=SECONDS "
                        "shifts those of "
                     << units_[1].name << "\n";
        context_.status = kDoneWithErrors;
        return;
    }
    if (options_.quiet) return;
    context_.err
        << findingText(finding, wishes_, units_)
        << fmt::format(
               "{} to {}: flexion {:.1f} to {:.1f} degrees, a range of {:.1f}; swing up to {:.1f}; angle "
               "up to {:.1f}; {}\n",
               units_[0].name, units_[1].name, range.flexion().smallest, range.flexion().greatest,
               range.flexion().greatest - range.flexion().smallest, range.swing().greatest,
               range.angle().greatest, RecordingIO::counted(range.flexion().count, "row"))
        << std::flush;
}

}  // namespace Kavelin::Cli
