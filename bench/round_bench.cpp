// What a layout's rounds cost beside the work of its filters, and what a second core brings.

#include <Kavelin/Core/ConnectionOptions.h>
#include <Kavelin/Core/FlowManager.h>
#include <Kavelin/Core/LayoutManager.h>
#include <Kavelin/Typed/FilterKit.h>
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "attitude/FilterSO3Attitude.h"
#include "bench/support/OverSamples.h"
#include "support/TestFilters.h"

namespace {

using namespace Kavelin::Core;
using Kavelin::Bench::samples;
using Kavelin::OrientationInternal::FilterSO3Attitude;
using Kavelin::Tests::CountingSource;

// A chain of filters that hand one sample on, as a layout calls them and called by hand. Time per call.

struct Passer : Filter {
    explicit Passer(const std::string& name) : Filter(name, true) {}
    void process() override {
        if (!in.readNext()) return;
        out.value() = in.value();
        out.send(in.lastTimeStamp());
    }
    std::string typeName() const override { return "Passer"; }
    InputPin<Matrix> in{"in", this};
    OutputPin<Matrix> out{"out", this, Matrix::Zero(1, 1)};
};

struct Chain {
    explicit Chain(std::int64_t count) : layout("chain"), source("source", 1e18) {
        layout.add(source);
        OutputPin<Matrix>* last = &source.out;
        for (std::int64_t i = 0; i < count; ++i) {
            filters.push_back(std::make_unique<Passer>("filter" + std::to_string(i)));
            layout.add(*filters.back());
            connect(*last, filters.back()->in, {.bufferSize = 1});
            last = &filters.back()->out;
        }
        layout.runPending();
    }
    ~Chain() {
        while (!filters.empty()) {
            layout.remove(*filters.back());
            filters.pop_back();
        }
        layout.remove(source);
    }
    std::int64_t calls() const { return static_cast<std::int64_t>(filters.size()) + 1; }

    LayoutManager layout;
    CountingSource source;
    std::vector<std::unique_ptr<Passer>> filters;
};

void chainByHand(benchmark::State& state, std::int64_t count) {
    Chain chain(count);
    while (state.KeepRunningBatch(chain.calls())) {
        chain.source.process();
        for (const auto& filter : chain.filters) filter->process();
    }
}

void chainRounds(benchmark::State& state, std::int64_t count) {
    Chain chain(count);
    while (state.KeepRunningBatch(chain.calls())) chain.layout.runRound();
}

// A round costs the same per call however many filters there are: the limit is that of ten.
BENCHMARK_CAPTURE(chainRounds, 10, 10)->Name("rounds/plain_10_filters");
BENCHMARK_CAPTURE(chainRounds, 1, 1)->Name("rounds/1_filter");
BENCHMARK_CAPTURE(chainRounds, 100, 100)->Name("rounds/100_filters");
BENCHMARK_CAPTURE(chainRounds, 1000, 1000)->Name("rounds/1000_filters");
BENCHMARK_CAPTURE(chainByHand, 1, 1)->Name("calls_by_hand/1_filter");
BENCHMARK_CAPTURE(chainByHand, 10, 10)->Name("calls_by_hand/plain_10_filters");
BENCHMARK_CAPTURE(chainByHand, 100, 100)->Name("calls_by_hand/100_filters");
BENCHMARK_CAPTURE(chainByHand, 1000, 1000)->Name("calls_by_hand/1000_filters");

void processScope(benchmark::State& state) {
    Synchronizer synchronizer;
    for (auto _ : state) {
        const Synchronizer::ProcessScope scope(synchronizer);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(processScope)->Name("calls_by_hand/process_scope_alone");

// Two layouts, each with a source and an estimator, in threads of their own. Real time for as many rows of each.

/// Sends accelerations, rates and fields of a motion.
class MotionSource : public Filter, public Source {
public:
    explicit MotionSource(std::size_t rows) : Filter("motion", true), rows_(rows) {}
    void process() override {
        const auto& sample = samples()[next_ % samples().size()];
        const double t = nextTimeStamp();
        ++next_;
        acc.value() = sample.acc.transpose();
        rate.value() = sample.rate.transpose();
        field.value() = sample.field.transpose();
        for (OutputPin<Matrix>* pin : {&acc, &rate, &field}) pin->send(t);
    }
    std::string typeName() const override { return "MotionSource"; }
    double nextTimeStamp() const override { return 0.01 * static_cast<double>(next_); }
    bool atEnd() const override { return next_ == rows_; }

    OutputPin<Matrix> acc{"3a", this, kAcceleration};
    OutputPin<Matrix> rate{"3g", this, kRate};
    OutputPin<Matrix> field{"3m", this, kField};

private:
    const std::size_t rows_;
    std::size_t next_ = 0;
};

struct Estimation {
    Estimation(const std::string& name, std::size_t rows) : source(rows) {
        LayoutManager& layout = FlowManager::instance().createLayout(name);
        layout.add(source);
        layout.add(estimator);
        for (OutputPin<Matrix>* pin : {&source.acc, &source.rate, &source.field})
            connect(*pin, estimator.getInputPin(pin->getName()), {.bufferSize = 1});
    }
    MotionSource source;
    FilterSO3Attitude estimator{"estimator"};
};

void layoutsInThreads(benchmark::State& state, int count) {
    constexpr std::size_t kRows = 20000;
    samples();
    while (state.KeepRunningBatch(kRows)) {
        state.PauseTiming();
        {
            std::vector<std::unique_ptr<Estimation>> layouts;
            for (int i = 0; i < count; ++i)
                layouts.push_back(std::make_unique<Estimation>("layout" + std::to_string(i), kRows));
            state.ResumeTiming();
            FlowManager::instance().runToEndInThreads();
            state.PauseTiming();
            FlowManager::instance().clear();
        }
        state.ResumeTiming();
    }
}
BENCHMARK_CAPTURE(layoutsInThreads, one, 1)->Name("two_layouts/plain_one")->UseRealTime();
BENCHMARK_CAPTURE(layoutsInThreads, two, 2)->Name("two_layouts/two_threads")->UseRealTime();

}  // namespace
