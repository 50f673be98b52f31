#include "cli/validate/Checks.h"
#include "cli/validate/FilterRig.h"
#include "cli/validate/PropertyTexts.h"
#include "cli/validate/Subject.h"

namespace Kavelin::Cli {

namespace {

constexpr int kCalls = 400;

/// How many samples a pin gets before the next call: mostly one, sometimes none, sometimes more than its buffer holds.
std::size_t burst(RecordingIO::Random& random) {
    switch (random.bits() % 60) {
        case 0:
            return 1500;
        case 1:
        case 2:
            return 20;
        case 3:
        case 4:
        case 5:
            return 0;
        default:
            return 1;
    }
}

/// What is wrong with the samples of a trial.
struct Trial {
    bool ofOddShapes, withProperties;
};

void sendSome(Subject& subject, FilterRig& rig, std::size_t input, const RecordingIO::SimulatedRow& row,
              const Trial& trial) {
    RecordingIO::Random& random = subject.random();
    const Fed& fed = rig.fed(input);
    for (std::size_t count = burst(random); count > 0; --count) {
        const std::size_t choice = trial.ofOddShapes ? random.bits() % fed.shapes.size() : 0;
        const Core::PinShape usual = fed.shapes[choice];
        const bool isUsual = random.bits() % 2 == 0;
        Core::Matrix sample =
            isUsual ? usualSample(fed, row, usual) : hostileSample(usual, trial.ofOddShapes, random);
        subject.at("input pin \"{}\", a sample of {}x{} at {} s", fed.pin, sample.rows(), sample.cols(),
                   row.t);
        rig.send(input, row.t, sample);
    }
}

/// A few properties set to something that they may well be.
void setSome(Subject& subject, Core::Filter& filter) {
    RecordingIO::Random& random = subject.random();
    for (Core::AbstractProperty* property : valueProperties(filter)) {
        if (random.bits() % 3 != 0) continue;
        const std::vector<std::string> texts = plausibleTexts(filter, *property);
        if (!texts.empty()) isTaken(*property, texts[random.bits() % texts.size()]);
    }
}

void fuzz(Subject& subject, const Trial& trial) {
    const Core::FilterPtr filter = subject.make();
    if (trial.withProperties) setSome(subject, *filter);
    FilterRig rig(subject, *filter);
    rig.keepSent(false);
    const auto rows = simulatedRows(kCalls / 50.0, 50.0, subject.random().bits());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        for (std::size_t input = 0; input < rig.inputs(); ++input)
            sendSome(subject, rig, input, rows[i], trial);
        const std::string sent = subject.step();
        for (std::uint64_t calls = subject.random().bits() % 3 + (i % 100 == 0 ? 30 : 0); calls > 0;
             --calls) {
            subject.at("process of row {}, after {}", i + 1, sent);
            rig.process();
        }
    }
    rig.requireCounts();
    activateCommands(*filter);
    feedRows(rig, rows, {}, subject);
    rig.requireCounts();
}

}  // namespace

void checkData(Subject& subject) {
    for (int i = 0; i < 8; ++i) fuzz(subject, {i % 2 == 1, i % 4 >= 2});
}

}  // namespace Kavelin::Cli
