// Recordings in and results out, a row at a time, compared with the bare conversions; and the whole of
// `kavelin fuse` compared with the plain loop that parses, filters and formats the same numbers.
#include <benchmark/benchmark.h>

#include <charconv>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "attitude/spherical/SphericalAttitudeComputer.h"
#include "cli/CommandContext.h"
#include "cli/Plugins.h"
#include "cli/fuse/FuseRun.h"
#include "io/SimulatedTable.h"
#include "io/recording/RecordingReader.h"
#include "io/recording/RecordingStatistics.h"
#include "orientation/detection/OrientationQualityComputer.h"
#include "orientation/detection/StaticModeComputer.h"

namespace {

using namespace Kavelin;
using RecordingIO::RecordingReader;

constexpr std::uint64_t kRows = 100000;
constexpr std::size_t kCells = 10;  // t and nine channels

/// A simulated recording of nine channels, made once for all benchmarks and deleted with the program.
class Recording {
public:
    static const Recording& instance() {
        static const Recording recording;
        return recording;
    }
    Recording() : path_((std::filesystem::temp_directory_path() / "kavelin_io_bench.csv").string()) {
        RecordingIO::SimulationOptions options;
        options.seconds = static_cast<double>(kRows) / options.rate - 0.5 / options.rate;
        RecordingIO::ResultFile file(path_);
        writeSimulation(options, false, file);
        file.finish();
        std::ostringstream stream;
        stream << std::ifstream(path_, std::ios::binary).rdbuf();
        text_ = stream.str();
    }
    ~Recording() { std::filesystem::remove(path_); }
    const std::string& path() const { return path_; }
    const std::string& text() const { return text_; }

private:
    std::string path_;
    std::string text_;
};

void countRows(benchmark::State& state) {
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(kRows));
}

/// Calls `row` with the cells of each row, parsed with nothing but std::from_chars.
template <class Row>
void parsePlainly(const std::string& text, Row row) {
    const char* at = text.data() + text.find('\n') + 1;
    const char* const end = text.data() + text.size();
    double cells[kCells];
    while (at < end) {
        for (double& cell : cells) at = std::from_chars(at, end, cell).ptr + 1;
        row(cells);
    }
}

void recordingPlain(benchmark::State& state) {
    const std::string& text = Recording::instance().text();
    for (auto _ : state) {
        double sum = 0.0;
        parsePlainly(text, [&sum](const double* cells) { sum += cells[0] + cells[9]; });
        benchmark::DoNotOptimize(sum);
    }
    countRows(state);
}
BENCHMARK(recordingPlain)->Name("recording/plain")->Unit(benchmark::kMillisecond);

void recordingReader(benchmark::State& state, bool statistics) {
    const std::string& text = Recording::instance().text();
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

/// What `kavelin fuse` computes for a row, without reader, pins, layout and file.
class PlainFuse {
public:
    /// Writes the numbers of the result's row to `out` (20 at most). @return the end of them.
    double* row(const double* cells, double* out) {
        const Eigen::Vector3d acceleration(cells[1], cells[2], cells[3]);
        const Eigen::Vector3d rate(cells[4], cells[5], cells[6]);
        const Eigen::Vector3d field(cells[7], cells[8], cells[9]);
        estimator_.advance(cells[0], acceleration, rate, field);
        const Eigen::Quaterniond& q = estimator_.attitude();
        *out++ = cells[0];
        for (const double element : {q.w(), q.x(), q.y(), q.z()}) *out++ = element;
        *out++ = estimator_.atRest() ? 1.0 : 0.0;
        *out++ = estimator_.fieldDisturbed() ? 1.0 : 0.0;
        *out++ = quality_.judgeField(field, 0.1);
        *out++ = quality_.judgeRate(rate, 35.0) * quality_.judgeAcceleration(acceleration, 0.1);
        const auto scores = static_.score(acceleration, field);
        const double product = scores->acceleration * scores->field * scores->angle;
        for (const double score : {product, scores->acceleration, scores->field, scores->angle, 1.0}) {
            *out++ = score;
            *out++ = score > 0.8 ? 1.0 : 0.0;
        }
        return out;
    }

private:
    OrientationInternal::SphericalAttitudeComputer estimator_;
    OrientationInternal::OrientationQualityComputer quality_;
    OrientationInternal::StaticModeComputer static_;
};

void fuseFilterOnly(benchmark::State& state) {
    std::vector<double> rows;
    parsePlainly(Recording::instance().text(),
                 [&rows](const double* cells) { rows.insert(rows.end(), cells, cells + kCells); });
    double out[20];
    for (auto _ : state) {
        PlainFuse fuse;
        for (std::size_t i = 0; i < rows.size(); i += kCells) {
            fuse.row(rows.data() + i, out);
            benchmark::DoNotOptimize(out);
        }
    }
    countRows(state);
}
BENCHMARK(fuseFilterOnly)->Name("fuse/filters only")->Unit(benchmark::kMillisecond);

void fusePlain(benchmark::State& state) {
    const std::string& text = Recording::instance().text();
    std::vector<char> buffer(1024);
    double out[20];
    for (auto _ : state) {
        PlainFuse fuse;
        parsePlainly(text, [&](const double* cells) {
            const double* end = fuse.row(cells, out);
            char* at = buffer.data();
            for (const double* value = out; value < end; ++value) {
                at = RecordingIO::writeNumber(at, *value);
                *at++ = ',';
            }
            benchmark::DoNotOptimize(buffer.data());
        });
    }
    countRows(state);
}
BENCHMARK(fusePlain)->Name("fuse/plain")->Unit(benchmark::kMillisecond);

void fuseWhole(benchmark::State& state) {
    std::istringstream in;
    std::ostringstream out;
    std::ostringstream err;
    Cli::CommandContext context{in, out, err};
    Cli::loadPlugins(context, {});
    Cli::FuseOptions options;
    options.recording = Recording::instance().path();
    options.output = "/dev/null";
    options.type = "FilterSphericalFilteringAttitude";
    options.quiet = true;
    if (!Core::FlowManager::instance().getPluginManager().findPluginOf(options.type)) {
        state.SkipWithError("the estimator is not there");
        return;
    }
    for (auto _ : state) Cli::FuseRun(options, context).run();
    countRows(state);
}
BENCHMARK(fuseWhole)->Name("fuse/whole command")->Unit(benchmark::kMillisecond);

}  // namespace
