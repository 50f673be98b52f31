#include <Kavelin/Core/AbstractProperty.h>

#include <cmath>
#include <limits>

#include "cli/validate/Checks.h"
#include "cli/validate/FilterRig.h"
#include "cli/validate/PropertyTexts.h"
#include "cli/validate/Subject.h"

namespace Kavelin::Cli {

namespace {

struct TimeRow {
    const char* what;
    double (*next)(double t, double usual);  ///< after time t; `usual` is that of an even clock
};

constexpr TimeRow kTimes[] = {
    {"time that stands still", [](double t, double) { return t; }},
    {"time that goes back", [](double t, double) { return t - 0.02; }},
    {"time in steps of a nanosecond", [](double t, double) { return t + 1e-9; }},
    {"time in steps of an hour", [](double t, double) { return t + 3600.0; }},
    {"time that jumps to and fro", [](double t, double usual) { return t < 100.0 ? usual + 200.0 : usual; }},
    {"time of 1e15 s", [](double, double usual) { return usual + 1e15; }},
    {"time before 0", [](double, double usual) { return usual - 1e6; }},
    {"time that is not a number", [](double, double) { return std::nan(""); }},
    {"time that is infinite", [](double, double) { return std::numeric_limits<double>::infinity(); }},
};

void feedWith(const TimeRow& time, Subject& subject, FilterRig& rig,
              const std::vector<RecordingIO::SimulatedRow>& rows) {
    double t = rows.front().t;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        subject.at("{}, sample {}", time.what, i + 1);
        RecordingIO::SimulatedRow row = rows[i];
        row.t = t = time.next(t, row.t);
        rig.feed(row, {});
    }
}

/// Samples of one row come to its pins at different times, or to some of them only.
void feedApart(Subject& subject, FilterRig& rig, const std::vector<RecordingIO::SimulatedRow>& rows) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
        for (std::size_t input = 0; input < rig.inputs(); ++input) {
            if (subject.random().bits() % 3 == 0) continue;
            const Fed& fed = rig.fed(input);
            Core::Matrix sample = usualSample(fed, rows[i], fed.shapes.front());
            subject.at("pins with clocks of their own, input pin \"{}\", sample {}", fed.pin, i + 1);
            rig.send(input, rows[i].t + 0.03 * static_cast<double>(input), sample);
        }
        rig.process();
    }
}

}  // namespace

void checkTime(Subject& subject) {
    const Core::FilterPtr one = subject.make();
    FilterRig all(subject, *one);
    all.keepSent(false);
    if (all.inputs() == 0) throw Skip("it has no input pins");
    const auto rows = simulatedRows(3.0, 50.0, subject.random().bits());
    for (const TimeRow& time : kTimes) {
        const Core::FilterPtr fresh = subject.make();
        FilterRig rig(subject, *fresh);
        rig.keepSent(false);
        for (const auto& property : valueProperties(*fresh)) {  // a clock, where there is one to choose
            if (property->describe().kind == "text") isTaken(*property, rig.fed(0).pin);
        }
        feedRows(rig, rows, {}, subject);
        feedWith(time, subject, rig, rows);
        feedRows(rig, rows, {}, subject);
        feedWith(time, subject, all, rows);
        rig.requireCounts();
    }
    feedApart(subject, all, rows);
    all.requireCounts();
}

}  // namespace Kavelin::Cli
