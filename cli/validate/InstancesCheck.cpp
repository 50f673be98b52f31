#include "cli/validate/Checks.h"
#include "cli/validate/FilterRig.h"
#include "cli/validate/Subject.h"

namespace Kavelin::Cli {

namespace {

using Rows = std::vector<RecordingIO::SimulatedRow>;

/// One runs alone; then a second gets the same while a third, which gets other data, is called in between.
void requireAlike(Subject& subject, const Rows& rows, const Rows& others, const Feeding& feeding) {
    const Core::FilterPtr alone = subject.make("alone");
    FilterRig first(subject, *alone);
    feedRows(first, rows, feeding, subject);
    const Core::FilterPtr beside = subject.make("beside"), other = subject.make("other");
    FilterRig second(subject, *beside), third(subject, *other);
    third.keepSent(false);
    for (std::size_t i = 0; i < rows.size(); ++i) {
        subject.at("two instances in turn, sample {}", i + 1);
        third.feed(others[i % others.size()], feeding);
        second.feed(rows[i], feeding);
    }
    requireSameBits(first.sent(), second.sent(), "an instance that runs beside another");
}

}  // namespace

void checkInstances(Subject& subject) {
    const Rows rows = simulatedRows(6.0, 50.0, 1), others = simulatedRows(6.0, 50.0, 2);
    requireAlike(subject, rows, others, {});
    for (std::size_t shape = 0; shape < 4; ++shape) requireAlike(subject, rows, others, {true, true, shape});
}

}  // namespace Kavelin::Cli
