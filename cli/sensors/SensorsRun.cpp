#include "cli/sensors/SensorsRun.h"

#include <Kavelin/Core/FlowManager.h>
#include <fmt/format.h>
#include <unistd.h>

#include <ostream>

#include "cli/fuse/FuseLayout.h"
#include "cli/fuse/UnitFiles.h"
#include "cli/layout/LayoutBuilder.h"
#include "cli/layout/LayoutRun.h"
#include "cli/sensors/SensorsLayout.h"
#include "io/RecordingSource.h"
#include "io/formats/OpenRecording.h"
#include "io/recording/ResultFile.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

namespace {

void requireOptions(const FuseOptions& options, const Estimator& estimator) {
    for (const auto& [option, isGiven] : {std::pair("--plot", !options.plot.empty()),
                                          {"--summary", !options.summary.empty()},
                                          {"--scores", options.scores},
                                          {"--reference", !options.reference.empty()},
                                          {"--movement", !options.movement.empty()},
                                          {"--align", options.alignment != "auto"},
                                          {"--sensor", !options.sensor.empty()}}) {
        if (!isGiven) continue;
        throw UsageError(
            std::string(option) +
            " is about the attitude of one sensor: not with --all-sensors into one table; -o DIR "
            "makes a result of each");
    }
    if (estimator.stampsWithWallClock)
        throw UsageError(
            options.type +
            " stamps its attitudes with the wall clock; a table of all sensors needs the times of "
            "the recording");
    if (!options.saveLayout.empty()) RecordingIO::ResultFile::requireWritable(options.saveLayout);
}

std::vector<std::string> namesOf(const FuseOptions& options) {
    std::vector<std::string> names = RecordingIO::sensorsOf(options.recording, openOptions(options));
    if (names.empty()) {
        throw UsageError("--all-sensors: " + options.recording +
                         " holds one sensor, or does not tell its sensors apart");
    }
    return names;
}

void build(LayoutBuilder& builder, const Mistakes& mistakes) {
    requireNoMistake(mistakes);
    builder.build();
    requireNoMistake(mistakes);
}

}  // namespace

void fuseSensors(const FuseOptions& options, CommandContext& context) {
    const Estimator estimator = describeEstimator(options.type);
    requireOptions(options, estimator);
    const std::vector<std::string> sensors = namesOf(options);
    for (const auto& [option, files] :
         {std::pair("--calibration", &options.calibration), {"--mount", &options.mount}})
        UnitFiles(option, *files).requireOneEach(RecordingIO::listed(sensors));
    Mistakes mistakes;
    Core::FlowManager& flow = Core::FlowManager::instance();
    SensorsLayout layout(options, sensors, estimator, mistakes);
    LayoutBuilder builder(layout.file(), flow, mistakes);
    build(builder, mistakes);
    std::vector<const RecordingIO::Schema*> schemas;
    for (std::size_t i = 0; i < sensors.size(); ++i) {
        auto& source = dynamic_cast<RecordingIO::RecordingSource&>(*builder.find(layout.recording(i)));
        source.open();
        schemas.push_back(source.schema());
        requireSensors(*schemas.back(), estimator, options.type,
                       options.recording + " (" + RecordingIO::printable(sensors[i]) + ")");
    }
    layout.complete(schemas, mistakes);
    build(builder, mistakes);
    std::vector<FileUse> written;
    if (!options.saveLayout.empty())
        written.push_back({"--save-layout",
                           "",
                           options.saveLayout,
                           true,
                           {.option = "--save-layout '" + options.saveLayout + "'"}});
    builder.check(written);
    builder.activateCommands();
    builder.prepareRun();
    requireNoMistake(mistakes);
    if (!options.saveLayout.empty()) builder.save(options.saveLayout);

    context.out.flush();
    LayoutRun run(layout.file(), builder, flow, context.err,
                  {.stopOnError = options.stopOnError,
                   .quiet = options.quiet,
                   .hasProgress = options.output != "-" || ::isatty(STDOUT_FILENO) == 0,
                   .indispensable = "result"});
    if (!run.run()) context.status = kDoneWithErrors;
    if (!options.quiet)
        context.err << fmt::format("{}: {}: {}\n", options.recording,
                                   RecordingIO::counted(sensors.size(), "sensor"),
                                   RecordingIO::printable(RecordingIO::listed(sensors, sensors.size())));
}

}  // namespace Kavelin::Cli
