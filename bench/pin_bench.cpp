// What a sample costs on its way from pin to pin: inside a layout, through a lock, between threads.

#include <Kavelin/Core/ConnectionOptions.h>
#include <Kavelin/Core/FlowManager.h>
#include <Kavelin/Core/LayoutManager.h>
#include <Poco/Mutex.h>
#include <benchmark/benchmark.h>
#include <time.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "attitude/FilterAbsoluteAttitude.h"
#include "bench/support/FilterDrive.h"
#include "bench/support/OverSamples.h"
#include "converters/FilterOmegaToMatrix.h"
#include "support/TestFilters.h"

namespace {

using namespace Kavelin::Core;
using Kavelin::Bench::samples;
using Kavelin::OrientationInternal::AbsoluteAttitudeComputer;
using Kavelin::OrientationInternal::FilterAbsoluteAttitude;
using Kavelin::OrientationInternal::FilterOmegaToMatrix;
using Kavelin::OrientationInternal::Matrix3;
using Kavelin::OrientationInternal::RateIntegrator;
using Kavelin::Tests::FilterDrive;
using Kavelin::Tests::Relay;
using Sample = TimeStampedData<Matrix>;

// Each row fills a 1x3 value, hands it over and reads it on the other side.

/// The limit of a hop by reference: one copy of the value.
void copyPlain(benchmark::State& state) {
    Sample from{Matrix::Constant(1, 3, 1), 0}, to{Matrix::Zero(1, 3), 0};
    double t = 0;
    for (auto _ : state) {
        from.value(0, 0) = t;
        from.timeStamp = t;
        to = from;
        t += to.value(0, 0) + 1;
        benchmark::ClobberMemory();
    }
}

/// A queue as one would write it for samples of one shape: a ring of samples made in advance, a copy in, the
/// oldest or the newest read in place.
class PlainQueue {
public:
    bool put(const Sample& sample) {
        if (size_ == kCapacity) return false;
        slots_[(oldest_ + size_++) % kCapacity] = sample;
        return true;
    }
    const Sample* takeOldest() {
        if (size_ == 0) return nullptr;
        --size_;
        const Sample& sample = slots_[oldest_];
        oldest_ = (oldest_ + 1) % kCapacity;
        return &sample;
    }
    const Sample* takeNewest() {
        if (size_ == 0) return nullptr;
        return &slots_[(oldest_ + --size_) % kCapacity];
    }

private:
    static constexpr std::size_t kCapacity = 1024;
    std::vector<Sample> slots_{kCapacity, Sample{Matrix::Zero(1, 3), 0}};
    std::size_t oldest_ = 0;
    std::size_t size_ = 0;
};

void queuePlain(benchmark::State& state, bool lifo) {
    PlainQueue queue;
    Sample from{Matrix::Constant(1, 3, 1), 0};
    double t = 0;
    for (auto _ : state) {
        from.value(0, 0) = t;
        from.timeStamp = t;
        queue.put(from);
        const Sample* sample = lifo ? queue.takeNewest() : queue.takeOldest();
        if (sample == nullptr) state.SkipWithError("nothing came");
        t += sample->value(0, 0) + 1;
        benchmark::ClobberMemory();
    }
}

void mutexPair(benchmark::State& state) {
    Poco::FastMutex mutex;
    for (auto _ : state) {
        const Poco::FastMutex::ScopedLock lock(mutex);
        benchmark::ClobberMemory();
    }
}

struct Hop {
    bool otherLayout;
    bool synchronous;
    unsigned size;
    bool lifo;
};

void hop(benchmark::State& state, const Hop& hop) {
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

BENCHMARK(copyPlain)->Name("hop_single/plain");
BENCHMARK_CAPTURE(hop, simple_single, Hop{false, false, 1, false})->Name("hop_single/simple");
BENCHMARK_CAPTURE(hop, safe_single, Hop{true, false, 1, false})->Name("hop_single/thread_safe");
BENCHMARK_CAPTURE(hop, sync_single, Hop{true, true, 1, false})->Name("hop_single/synchronized");
BENCHMARK_CAPTURE(queuePlain, fifo, false)->Name("hop_fifo/plain");
BENCHMARK_CAPTURE(hop, simple_fifo, Hop{false, false, 1024, false})->Name("hop_fifo/simple");
BENCHMARK_CAPTURE(hop, safe_fifo, Hop{true, false, 1024, false})->Name("hop_fifo/thread_safe");
BENCHMARK_CAPTURE(hop, sync_fifo, Hop{true, true, 1024, false})->Name("hop_fifo/synchronized");
BENCHMARK_CAPTURE(queuePlain, lifo, true)->Name("hop_lifo/plain");
BENCHMARK_CAPTURE(hop, simple_lifo, Hop{false, false, 1024, true})->Name("hop_lifo/simple");
BENCHMARK_CAPTURE(hop, safe_lifo, Hop{true, false, 1024, true})->Name("hop_lifo/thread_safe");
BENCHMARK_CAPTURE(hop, sync_lifo, Hop{true, true, 1024, true})->Name("hop_lifo/synchronized");

// What the pins of a filter cost beside its arithmetic: nanoseconds a pin, the default buffer before each input
// and behind each output. Measured in turns with the bare arithmetic, as processor time.

template <class Bare, class Filtered>
void costOfPins(benchmark::State& state, int pins, const Bare& bare, const Filtered& filtered) {
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
    };
    double t = 0;
    const auto secondsOf = [&](const auto& step) {
        const double begin = now();
        for (const auto& sample : samples()) step(t += 0.01, sample);
        return now() - begin;
    };
    for (auto _ : state) {
        const double without = secondsOf(bare);
        const double with = secondsOf(filtered);
        state.SetIterationTime(std::max(0.0, with - without) / static_cast<double>(samples().size()) / pins);
    }
}

void absolutePins(benchmark::State& state) {
    FilterDrive<FilterAbsoluteAttitude> drive;
    costOfPins(
        state, 4,
        [](double, const auto& s) {
            const Matrix3 frame = AbsoluteAttitudeComputer::frameFromGravityAndField(s.acc, s.field);
            benchmark::DoNotOptimize(AbsoluteAttitudeComputer::multiply3x3(frame, s.truth.R_earth_sensor));
        },
        [&](double t, const auto& s) {
            drive.send(0, t, s.acc.transpose());
            drive.send(1, t, s.field.transpose());
            drive.send(2, t, s.truth.R_earth_sensor);
            benchmark::DoNotOptimize(drive.process());
        });
}

void omegaPins(benchmark::State& state) {
    RateIntegrator integrator;
    FilterDrive<FilterOmegaToMatrix> drive;
    costOfPins(
        state, 2, [&](double t, const auto& s) { benchmark::DoNotOptimize(integrator.advance(s.rate, t)); },
        [&](double t, const auto& s) {
            drive.send(0, t, s.rate.transpose());
            benchmark::DoNotOptimize(drive.process());
        });
}

BENCHMARK(absolutePins)->Name("pin_cost/FilterAbsoluteAttitude")->UseManualTime()->Iterations(1000);
BENCHMARK(omegaPins)->Name("pin_cost/FilterOmegaToMatrix")->UseManualTime()->Iterations(1000);

// Between the threads of two layouts, in a run whose results do not depend on their timing.

/// Sends batches of 1x3 samples.
class BatchSource : public Filter, public Source {
public:
    BatchSource(int batch, int rounds) : Filter("source", true), batch_(batch), rounds_(rounds) {}
    void process() override {
        const double t = nextTimeStamp();
        for (int i = 0; i < batch_; ++i) {
            out.value()(0, 0) = i;
            out.send(t);
        }
        ++done_;
    }
    std::string typeName() const override { return "BatchSource"; }
    double nextTimeStamp() const override { return done_; }
    bool atEnd() const override { return done_ == rounds_; }

    OutputPin<Matrix> out{"out", this, Matrix::Zero(1, 3)};

private:
    const int batch_;
    const int rounds_;
    int done_ = 0;
};

/// Reads all that has come.
class Drain : public Filter {
public:
    Drain() : Filter("drain", true) {}
    void process() override {
        while (in.readNext()) {
            sum += in.value()(0, 0);
            ++count;
        }
    }
    std::string typeName() const override { return "Drain"; }

    InputPin<Matrix> in{"in", this};
    double sum = 0;
    std::int64_t count = 0;
};

/// Real time per sample of a run with two threads.
void hopBetweenThreads(benchmark::State& state) {
    const int batch = static_cast<int>(state.range(0));
    const int rounds = 400000 / batch;
    FlowManager& flow = FlowManager::instance();
    while (state.KeepRunningBatch(static_cast<std::int64_t>(batch) * rounds)) {
        state.PauseTiming();
        {
            BatchSource source(batch, rounds);
            Drain drain;
            flow.createLayout("writer").add(source);
            flow.createLayout("reader").add(drain);
            connect(source.out, drain.in, {.bufferSize = 4096});
            state.ResumeTiming();
            flow.runToEndInThreads();
            state.PauseTiming();
            if (drain.count != static_cast<std::int64_t>(batch) * rounds)
                state.SkipWithError("samples are missing");
            flow.clear();
        }
        state.ResumeTiming();
    }
}

BENCHMARK(copyPlain)->Name("hop_between_threads/plain");
BENCHMARK(mutexPair)->Name("hop_between_threads/mutex_pair");
BENCHMARK(hopBetweenThreads)
    ->Name("hop_between_threads/batches_of")
    ->Arg(1)
    ->Arg(16)
    ->Arg(256)
    ->UseRealTime();

}  // namespace
