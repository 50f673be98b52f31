#include <Kavelin/Core/AbstractProperty.h>

#include <algorithm>
#include <limits>

#include "cli/validate/Checks.h"
#include "cli/validate/FilterRig.h"
#include "cli/validate/HeapCounter.h"
#include "cli/validate/PropertyTexts.h"
#include "cli/validate/Subject.h"

namespace Kavelin::Cli {

namespace {

using Core::Matrix;
using Rows = std::vector<RecordingIO::SimulatedRow>;

/// So that a buffer that its filter does not read is full before calls are counted.
constexpr unsigned kMostBuffered = 64;

/// How a filter is set up and fed while its calls of the heap are counted.
struct Variant {
    std::string property, text;  ///< the one that differs from its default; empty: none
    Feeding feeding;
    Buffering buffering = bufferKinds()[0];

    std::string name() const {
        std::string text_ = fmt::format("{}, samples of shape {}{}", buffering.name, feeding.shape + 1,
                                        feeding.unknown ? " on every pin" : "");
        if (!property.empty()) text_ += fmt::format(", \"{}\" is {}", property, shownText(text));
        return text_;
    }
};

struct Counted {
    std::uint64_t sent = 0;     ///< over the whole run
    std::size_t samples = 0;    ///< rows while calls were counted
    std::size_t calls = 0;      ///< 0 also where they came to an end
    std::string caller;         ///< of the latest of them
    std::uint64_t raised = 0;   ///< exceptions meanwhile
    std::ptrdiff_t growth = 0;  ///< bytes that are in use at the end and were not at the beginning
};

/// A motion is cut into stretches. The first fills what is filled once; calls are counted over the others, until there were none
/// in two of them in a row: batches that go to a thread may be used for the first time late.
constexpr std::size_t kStretch = 600;
constexpr std::size_t kStretches = 5;

/// A field and an acceleration fail for a while.
Rows motion() {
    Rows rows = simulatedRows(60.0, 50.0, 1);
    const double none = std::numeric_limits<double>::quiet_NaN();
    for (RecordingIO::SimulatedRow& row : rows) {
        if (row.t > 16.0 && row.t < 17.0) row.field.setConstant(none);
        if (row.t > 18.0 && row.t < 19.0) row.acceleration.setConstant(none);
    }
    return rows;
}

/// Sends rows and processes them.  @return calls of the heap meanwhile, those that make the samples left out
std::size_t callsOver(FilterRig& rig, std::span<const RecordingIO::SimulatedRow> rows,
                      const Feeding& feeding) {
    std::vector<std::vector<Matrix>> samples(rows.size(), std::vector<Matrix>(rig.inputs()));
    for (std::size_t i = 0; i < rows.size(); ++i) {
        for (std::size_t input = 0; input < rig.inputs(); ++input) {
            const Fed& fed = rig.fed(input);
            if (feeding.takes(fed)) samples[i][input] = usualSample(fed, rows[i], feeding.shapeOf(fed));
        }
    }
    HeapCounter::start();
    for (std::size_t i = 0; i < rows.size(); ++i) {
        for (std::size_t input = 0; input < rig.inputs(); ++input) {
            if (samples[i][input].size() > 0) rig.send(input, rows[i].t, samples[i][input]);
        }
        rig.process();
    }
    return HeapCounter::stop();
}

Counted count(const Subject& subject, const Variant& variant,
              std::span<const RecordingIO::SimulatedRow> rows) {
    const Core::FilterPtr filter = subject.make();
    Buffering buffering = variant.buffering;
    buffering.options.bufferSize = std::min(buffering.options.bufferSize, kMostBuffered);
    if (!variant.property.empty()) isTaken(filter->getPropertyBag().get(variant.property), variant.text);
    FilterRig rig(subject, *filter, buffering);
    rig.keepSent(false);
    callsOver(rig, rows.first(kStretch), variant.feeding);
    const std::uint64_t raisedBefore = rig.raisedCount();
    const std::size_t inUse = HeapCounter::bytesInUse();
    Counted counted;
    for (std::size_t stretch = 1, clean = 0; stretch < kStretches; ++stretch) {
        const std::size_t calls = callsOver(rig, rows.subspan(stretch * kStretch, kStretch), variant.feeding);
        counted.calls += calls;
        counted.samples += kStretch;
        if (calls > 0) counted.caller = HeapCounter::firstCaller();
        clean = calls == 0 ? clean + 1 : 0;
        if (clean < 2) continue;
        counted.calls = 0;
        break;
    }
    counted.growth = static_cast<std::ptrdiff_t>(HeapCounter::bytesInUse() - inUse);
    counted.raised = rig.raisedCount() - raisedBefore;
    counted.sent = rig.sentCount();
    return counted;
}

std::vector<Variant> variantsOf(const Subject& subject) {
    std::vector<Variant> variants;
    for (const Buffering& kind : bufferKinds()) variants.push_back({{}, {}, {}, kind});
    const Core::FilterPtr filter = subject.make();
    std::size_t shapes = 1;
    for (const Core::AbstractInputPin* pin : filter->getInputPins())
        shapes = std::max(shapes, describeFed(pin->getName(), pin->content(), false).shapes.size());
    for (std::size_t shape = 0; shape < shapes; ++shape) {
        variants.push_back({{}, {}, {true, false, shape}, bufferKinds()[0]});
        variants.push_back({{}, {}, {true, true, shape}, bufferKinds()[0]});
    }
    variants.push_back({{}, {}, {false, false, 0}, bufferKinds()[0]});
    for (const Core::AbstractProperty* property : valueProperties(*filter)) {
        for (const std::string& text : plausibleTexts(*filter, *property)) {
            if (isTaken(*subject.make()->getPropertyBag().find(property->getName()), text))
                variants.push_back({property->getName(), text, {}, bufferKinds()[0]});
        }
    }
    return variants;
}

/// A list that grows by doubling calls the heap now and then: few calls, and what they took stays in use.
bool keepsSamples(const Counted& counted) {
    return counted.calls * 50 < counted.samples &&
           counted.growth >= static_cast<std::ptrdiff_t>(counted.samples * sizeof(double));
}

}  // namespace

void checkHeap(Subject& subject) {
    if (const std::string reason = HeapCounter::whyNot(); !reason.empty()) throw Skip(reason);
    const Rows rows = motion();
    std::string keeps;
    bool hasCounted = false;
    const bool hasOutputs = !subject.make()->getOutputPins().empty();
    for (const Variant& variant : variantsOf(subject)) {
        subject.at("{}", variant.name());
        const Counted counted = count(subject, variant, rows);
        const bool isSteady = counted.raised == 0 && (counted.sent > 0 || !hasOutputs);
        if (!isSteady) continue;  // an exception takes memory
        hasCounted = true;
        if (counted.calls == 0) continue;
        if (!keepsSamples(counted))
            throw Fault(subject.step(),
                        fmt::format("{} calls of the heap in {} samples, from {}", counted.calls,
                                    counted.samples, counted.caller),
                        "none once it runs");
        keeps =
            fmt::format("it keeps its samples: {} calls of the heap and {} more bytes in use after {} ({})",
                        counted.calls, counted.growth, counted.samples, subject.step());
    }
    if (!keeps.empty()) throw Skip(keeps);
    if (!hasCounted) throw Skip("none of the samples tried made it send anything");
}

}  // namespace Kavelin::Cli
