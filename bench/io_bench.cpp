// Recordings in and results out, a row at a time, compared with the bare conversions.
#include <benchmark/benchmark.h>

#include <charconv>

#include "bench/support/CsvRecording.h"
#include "io/recording/RecordingReader.h"
#include "io/recording/RecordingStatistics.h"
#include "io/recording/ResultFile.h"

namespace {

using namespace Kavelin;
using RecordingIO::RecordingReader;

constexpr std::uint64_t kRows = 100000;

const Bench::CsvRecording& recording() {
    static const Bench::CsvRecording recording(kRows);
    return recording;
}

void countRows(benchmark::State& state) {
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(kRows));
}

/// Calls `row` with the cells of each row, parsed with nothing but std::from_chars.
template <class Row>
void parsePlainly(const std::string& text, Row row) {
    const char* at = text.data() + text.find('\n') + 1;
    const char* const end = text.data() + text.size();
    double cells[Bench::CsvRecording::kCells];
    while (at < end) {
        for (double& cell : cells) at = std::from_chars(at, end, cell).ptr + 1;
        row(cells);
    }
}

void recordingPlain(benchmark::State& state) {
    const std::string& text = recording().text();
    for (auto _ : state) {
        double sum = 0.0;
        parsePlainly(text, [&sum](const double* cells) { sum += cells[0] + cells[9]; });
        benchmark::DoNotOptimize(sum);
    }
    countRows(state);
}
BENCHMARK(recordingPlain)->Name("recording/plain")->Unit(benchmark::kMillisecond);

void recordingReader(benchmark::State& state, bool statistics) {
    const std::string& text = recording().text();
    for (auto _ : state) {
        RecordingReader reader(RecordingIO::memorySource(text), "bench", {});
        RecordingIO::RecordingStatistics seen(reader.schema());
        double sum = 0.0;
        while (reader.next() == RecordingReader::Next::kRow) {
            sum += reader.row().time() + reader.row().values(2)[2];
            if (statistics) seen.add(reader.row());
        }
        benchmark::DoNotOptimize(sum);
        benchmark::DoNotOptimize(seen);
    }
    countRows(state);
}
BENCHMARK_CAPTURE(recordingReader, , false)->Name("recording/reader")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(recordingReader, , true)
    ->Name("recording/reader with statistics")
    ->Unit(benchmark::kMillisecond);

/// t and a quaternion a row, as an estimator gives them.
void resultPlain(benchmark::State& state) {
    std::vector<char> buffer(256);
    for (auto _ : state) {
        for (std::uint64_t i = 0; i < kRows; ++i) {
            char* at = buffer.data();
            for (int cell = 0; cell < 5; ++cell) {
                at = std::to_chars(at, at + 32, static_cast<double>(i + 1) / static_cast<double>(7 + cell))
                         .ptr;
                *at++ = ',';
            }
            benchmark::DoNotOptimize(buffer.data());
        }
    }
    countRows(state);
}
BENCHMARK(resultPlain)->Name("result/plain")->Unit(benchmark::kMillisecond);

void resultFile(benchmark::State& state) {
    for (auto _ : state) {
        RecordingIO::ResultFile file("/dev/null");
        for (std::uint64_t i = 0; i < kRows; ++i) {
            double cells[5];
            for (int cell = 0; cell < 5; ++cell) {
                cells[cell] = static_cast<double>(i + 1) / static_cast<double>(7 + cell);
            }
            file.number(cells[0]);
            file.cells(cells + 1, 4);
            file.endRow();
        }
        file.finish();
    }
    countRows(state);
}
BENCHMARK(resultFile)->Name("result/file")->Unit(benchmark::kMillisecond);

}  // namespace
