#include <functional>

#include "cli/validate/Checks.h"
#include "cli/validate/FilterRig.h"
#include "cli/validate/PropertyTexts.h"
#include "cli/validate/Subject.h"

namespace Kavelin::Cli {

namespace {

using Rows = std::vector<RecordingIO::SimulatedRow>;

struct StateRow {
    const char* what;
    void (*destroy)(Subject& subject, const Rows& rows);
};

void destroyNew(Subject& subject, const Rows&) { subject.makeBare(); }

/// @param filterGoesFirst else what it is connected to
void destroyConnected(Subject& subject, const Rows& rows, bool filterGoesFirst, std::size_t count) {
    Core::FilterPtr filter = subject.make();
    auto rig = std::make_unique<FilterRig>(subject, *filter);
    feedRows(*rig, {rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(count)}, {}, subject);
    if (filterGoesFirst) filter.reset();
    rig.reset();
}

void destroyFull(Subject& subject, const Rows& rows) {
    Core::FilterPtr filter = subject.make();
    FilterRig rig(subject, *filter);
    for (const RecordingIO::SimulatedRow& row : rows) {
        for (std::size_t i = 0; i < rig.inputs(); ++i) {
            Core::Matrix sample = usualSample(rig.fed(i), row, rig.fed(i).shapes.front());
            if (i % 2 == 0) rig.send(i, row.t, sample);
        }
        rig.process();
    }
    filter.reset();
}

void destroyAfterCommands(Subject& subject, const Rows& rows) {
    Core::FilterPtr filter = subject.make();
    FilterRig rig(subject, *filter);
    feedRows(rig, rows, {}, subject);
    activateCommands(*filter);
    for (Core::AbstractProperty* property : valueProperties(*filter)) {
        for (const std::string& text : plausibleTexts(*filter, *property)) isTaken(*property, text);
    }
    filter.reset();
}

/// In a layout whose thread runs: the host stops it first.
void destroyRunning(Subject& subject, const Rows& rows) {
    for (const Buffering& kind : {bufferKinds()[3], bufferKinds()[6]}) {
        Core::LayoutManager layout("running");
        Core::FilterPtr filter = subject.make();
        layout.add(*filter);
        FilterRig rig(subject, *filter, {kind.name, kind.options, false});
        filter->getSynchronizer()->setIsFed(true);
        layout.start();
        for (std::size_t r = 0; r < rows.size() / 2; ++r) {
            for (std::size_t i = 0; i < rig.inputs(); ++i) {
                Core::Matrix sample = usualSample(rig.fed(i), rows[r], rig.fed(i).shapes.front());
                rig.send(i, rows[r].t, sample);
            }
        }
        filter.reset();
    }
}

constexpr StateRow kStates[] = {
    {"new", destroyNew},
    {"connected, before its pins", [](Subject& s, const Rows& r) { destroyConnected(s, r, true, 0); }},
    {"connected, after its pins", [](Subject& s, const Rows& r) { destroyConnected(s, r, false, 0); }},
    {"after one sample", [](Subject& s, const Rows& r) { destroyConnected(s, r, true, 1); }},
    {"in mid-stream", [](Subject& s, const Rows& r) { destroyConnected(s, r, true, r.size()); }},
    {"in mid-stream, after its pins",
     [](Subject& s, const Rows& r) { destroyConnected(s, r, false, r.size()); }},
    {"with samples that are held and buffered", destroyFull},
    {"after commands and writes, before the next sample", destroyAfterCommands},
    {"in a layout that runs", destroyRunning},
};

}  // namespace

void checkDestruction(Subject& subject) {
    const Rows rows = simulatedRows(3.0, 50.0, 1);
    for (const StateRow& state : kStates) {
        subject.at("destroying it: {}", state.what);
        state.destroy(subject, rows);
    }
}

}  // namespace Kavelin::Cli
