#include <Kavelin/Core/ConnectionOptions.h>
#include <Kavelin/Core/LayoutManager.h>
#include <Kavelin/Typed/FilterKit.h>
#include <Poco/Mutex.h>
#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <vector>

#include "support/TestFilters.h"

namespace {

using namespace Kavelin::Core;
using Kavelin::Tests::CountingSource;
using Kavelin::Tests::Relay;
using Kavelin::Tests::ScriptedFilter;
using Sample = TimeStampedData<Matrix>;

// A pin hop: fill the output pin's 1x3 value, send, read on the other side.

void PinHopPlain(benchmark::State& state) {
    Matrix from = Matrix::Constant(1, 3, 1), to = Matrix::Zero(1, 3);
    double t = 0;
    for (auto _ : state) {
        from(0, 0) = t += 1;
        to = from;
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
}
BENCHMARK(PinHopPlain)->Name("pin_hop/plain");

void PinHopMutex(benchmark::State& state) {
    Poco::FastMutex mutex;
    for (auto _ : state) {
        const Poco::FastMutex::ScopedLock lock(mutex);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(PinHopMutex)->Name("pin_hop/FastMutex_pair");

struct Hop {
    bool otherLayout;
    bool synchronous;
    unsigned size;
    bool lifo;
};

void pinHop(benchmark::State& state, const Hop& hop) {
    Relay writer("writer"), reader("reader");
    LayoutManager one("one"), two("two");
    one.add(writer);
    (hop.otherLayout ? two : one).add(reader);
    writer.out.value() = Matrix::Zero(1, 3);
    connect(writer.out, reader.a, {.bufferSize = hop.size, .lifo = hop.lifo, .synchronous = hop.synchronous});
    double t = 0;
    for (auto _ : state) {
        writer.out.value()(0, 0) = t;
        writer.out.send(t);
        if (!reader.a.readNext()) state.SkipWithError("nothing came");
        t += reader.a.value()(0, 0) + 1;
        benchmark::ClobberMemory();
    }
}
BENCHMARK_CAPTURE(pinHop, simple_single, Hop{false, false, 1, false})->Name("pin_hop/simple_single");
BENCHMARK_CAPTURE(pinHop, simple_fifo, Hop{false, false, 1024, false})->Name("pin_hop/simple_fifo");
BENCHMARK_CAPTURE(pinHop, simple_lifo, Hop{false, false, 1024, true})->Name("pin_hop/simple_lifo");
BENCHMARK_CAPTURE(pinHop, safe_single, Hop{true, false, 1, false})->Name("pin_hop/thread_safe_single");
BENCHMARK_CAPTURE(pinHop, safe_fifo, Hop{true, false, 1024, false})->Name("pin_hop/thread_safe_fifo");
BENCHMARK_CAPTURE(pinHop, safe_lifo, Hop{true, false, 1024, true})->Name("pin_hop/thread_safe_lifo");
BENCHMARK_CAPTURE(pinHop, sync_single, Hop{true, true, 1, false})->Name("pin_hop/synchronized_single");
BENCHMARK_CAPTURE(pinHop, sync_fifo, Hop{true, true, 1024, false})->Name("pin_hop/synchronized_fifo");
BENCHMARK_CAPTURE(pinHop, sync_lifo, Hop{true, true, 1024, true})->Name("pin_hop/synchronized_lifo");

// A layout's own cost: a chain of 24 filters that pass one sample on, against the same calls made by hand.

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
    static constexpr int kFilters = 24;
    Chain() : layout("chain"), source("source", 1e18) {
        layout.add(source);
        OutputPin<Matrix>* last = &source.out;
        for (int i = 0; i < kFilters; ++i) {
            filters.push_back(std::make_unique<Passer>("filter" + std::to_string(i)));
            layout.add(*filters.back());
            connect(*last, filters.back()->in, {.bufferSize = 1});
            last = &filters.back()->out;
        }
        layout.runPending();
    }
    ~Chain() {
        for (auto& filter : filters) layout.remove(*filter);
        layout.remove(source);
    }
    LayoutManager layout;
    CountingSource source;
    std::vector<std::unique_ptr<Passer>> filters;
};

void LayoutByHand(benchmark::State& state) {
    Chain chain;
    for (auto _ : state) {
        chain.source.process();
        for (auto& filter : chain.filters) filter->process();
    }
    state.SetItemsProcessed(state.iterations() * (Chain::kFilters + 1));
}
BENCHMARK(LayoutByHand)->Name("layout_24_filters/plain");

void LayoutRound(benchmark::State& state) {
    Chain chain;
    for (auto _ : state) chain.layout.runRound();
    state.SetItemsProcessed(state.iterations() * (Chain::kFilters + 1));
}
BENCHMARK(LayoutRound)->Name("layout_24_filters/runRound");

void ProcessScopePair(benchmark::State& state) {
    Synchronizer synchronizer;
    for (auto _ : state) {
        const Synchronizer::ProcessScope scope(synchronizer);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(ProcessScopePair)->Name("layout_24_filters/one_process_scope");

// Properties

struct Settings : Filter {
    Settings() : Filter("settings", true) {}
    void process() override {}
    std::string typeName() const override { return "Settings"; }
    void onNumber(const double&) {}
    RangeProperty<double> number{
        "number", this, {.minimum = -1e9, .maximum = 1e9, .value = 0.5}, handler(this, &Settings::onNumber)};
    ValueProperty<Matrix> matrix{"matrix", this, Matrix::Zero(1, 3)};
    EnumProperty<std::string> label{"label", this, {"one", "two"}, 0};
};

void PropertyPlain(benchmark::State& state) {
    volatile double value = 1;
    for (auto _ : state) benchmark::DoNotOptimize(value);
}
BENCHMARK(PropertyPlain)->Name("property/plain");

void PropertyGetInside(benchmark::State& state) {
    Settings settings;
    const Synchronizer::ProcessScope scope(*settings.getSynchronizer());
    for (auto _ : state) benchmark::DoNotOptimize(settings.number.get());
}
BENCHMARK(PropertyGetInside)->Name("property/get_inside_process");

void PropertyGetOutside(benchmark::State& state) {
    Settings settings;
    for (auto _ : state) benchmark::DoNotOptimize(settings.number.get());
}
BENCHMARK(PropertyGetOutside)->Name("property/get_outside");

void PropertySet(benchmark::State& state) {
    Settings settings;
    double value = 0;
    for (auto _ : state) settings.number.set(value += 1e-3);
}
BENCHMARK(PropertySet)->Name("property/set");

void PropertyText(benchmark::State& state) {
    Settings settings;
    for (auto _ : state) settings.label.deSerialize("two");
}
BENCHMARK(PropertyText)->Name("property/set_enum_from_text");

}  // namespace
