// The whole of `kavelin fuse` on a plain CSV, compared with one plain loop in one thread that reads the same file, computes
// the same numbers by the same arithmetic and writes the same file, byte for byte: without layout, filters, pins,
// checks of the table, statistics, threads.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <charconv>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "attitude/so3/AccelerationTrack.h"
#include "attitude/so3/SO3AttitudeComputer.h"
#include "bench/support/CsvRecording.h"
#include "cli/CommandContext.h"
#include "cli/Plugins.h"
#include "cli/fuse/FuseRun.h"
#include "evaluation/EvidenceCollector.h"
#include "io/recording/ClipWatch.h"
#include "orientation/detection/OrientationQualityComputer.h"
#include "orientation/detection/StaticModeComputer.h"

namespace {

using namespace Kavelin;
using Bench::CsvRecording;
using Eigen::Vector3d;

constexpr std::uint64_t kRows = 200000;
constexpr std::size_t kResultCells = 10;
const char* const kHeader = "t,qw,qx,qy,qz,flag_rest,flag_mag,flag_mag_body,envQuality,gestQuality\n";

const CsvRecording& recording() {
    static const CsvRecording recording(kRows);
    return recording;
}

/// What the filters of `kavelin fuse` compute for a row: the estimate, quality and rest of the sensors, and the evidence
/// that the verdict is judged by.
class PlainFilters {
public:
    /// @param cells t and nine channels
    /// @param out the cells of the result
    void row(const double* cells, double* out) {
        const double t = cells[0];
        const Vector3d acceleration(cells[1], cells[2], cells[3]);
        const Vector3d rate(cells[4], cells[5], cells[6]);
        const Vector3d field(cells[7], cells[8], cells[9]);
        track_.add(t, acceleration);
        estimator_.advance(t, track_.at(t), rate, field);
        const Eigen::Quaterniond q = estimator_.attitude();
        const bool hasMagnet = estimator_.hardIron() != Vector3d::Zero();
        const double range = clipping_.level() > 0.0 ? clipping_.level() : kRange;
        const Vector3d share = rate / range;
        clipping_.add(rate);
        const double environment = quality_.judgeField(field, 0.1);
        benchmark::DoNotOptimize(quality_.judgeAcceleration(acceleration, 0.1));
        const double turns = quality_.judgeRate(share, 0.999);
        benchmark::DoNotOptimize(static_.score(acceleration, field));
        evidence_.add({.t = t,
                       .acceleration = acceleration,
                       .rate = rate,
                       .field = field,
                       .attitude = OrientationInternal::Quaternion(q.w(), q.x(), q.y(), q.z()),
                       .bias = estimator_.bias(),
                       .hardIron = estimator_.hardIron(),
                       .tiltSigma = estimator_.tiltDeviation(),
                       .headingSigma = estimator_.headingDeviation(),
                       .isAtRest = estimator_.atRest(),
                       .isDisturbed = estimator_.fieldDisturbed(),
                       .hasBodyMagnet = hasMagnet});
        const double result[] = {t,
                                 q.w(),
                                 q.x(),
                                 q.y(),
                                 q.z(),
                                 estimator_.atRest() ? 1.0 : 0.0,
                                 estimator_.fieldDisturbed() ? 1.0 : 0.0,
                                 hasMagnet ? 1.0 : 0.0,
                                 environment,
                                 turns};
        static_assert(std::size(result) == kResultCells);
        std::copy(std::begin(result), std::end(result), out);
    }

private:
    static constexpr double kRange = 2000.0 / 180.0 * 3.14159265358979323846;

    OrientationInternal::SO3::AccelerationTrack track_;
    OrientationInternal::SO3AttitudeComputer estimator_;
    RecordingIO::ClipWatch clipping_;
    OrientationInternal::OrientationQualityComputer quality_;
    OrientationInternal::StaticModeComputer static_;
    RecordingIO::EvidenceCollector evidence_;
};

/// Reads and writes blocks of a megabyte.
void fusePlainly(const std::string& from, const std::string& to) {
    constexpr std::size_t kBlock = std::size_t{1} << 20;
    const int in = ::open(from.c_str(), O_RDONLY);
    const int out = ::open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    std::vector<char> read(2 * kBlock), written(kBlock + 4096);
    std::size_t have = 0, filled = 0;
    const auto flush = [&] {
        if (::write(out, written.data(), filled) < 0) std::abort();
        filled = 0;
    };
    for (const char* c = kHeader; *c != '\0'; ++c) written[filled++] = *c;
    PlainFilters filters;
    double cells[CsvRecording::kCells];
    double result[kResultCells];
    bool isHeader = true;
    for (;;) {
        const ::ssize_t count = ::read(in, read.data() + have, kBlock);
        if (count <= 0) break;
        have += static_cast<std::size_t>(count);
        const char* at = read.data();
        const char* const end = at + have;
        while (const void* feed = std::memchr(at, '\n', static_cast<std::size_t>(end - at))) {
            const char* const lineEnd = static_cast<const char*>(feed);
            if (!std::exchange(isHeader, false)) {
                for (double& cell : cells) at = std::from_chars(at, lineEnd, cell).ptr + 1;
                filters.row(cells, result);
                char* to_ = written.data() + filled;
                for (const double value : result) {
                    to_ = std::to_chars(to_, to_ + 32, value).ptr;
                    *to_++ = ',';
                }
                to_[-1] = '\n';
                filled = static_cast<std::size_t>(to_ - written.data());
                if (filled >= kBlock) flush();
            }
            at = lineEnd + 1;
        }
        have = static_cast<std::size_t>(end - at);
        std::memmove(read.data(), at, have);
    }
    flush();
    ::close(in);
    ::close(out);
}

std::string contentOf(const std::string& path) {
    std::ostringstream stream;
    stream << std::ifstream(path, std::ios::binary).rdbuf();
    return stream.str();
}

void countRows(benchmark::State& state) {
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(kRows));
}

void fusePlain(benchmark::State& state) {
    const CsvRecording& in = recording();
    for (auto _ : state) fusePlainly(in.path(), in.resultPath());
    countRows(state);
}

void fuseWhole(benchmark::State& state) {
    const CsvRecording& in = recording();
    std::istringstream input;
    std::ostringstream output;
    std::ostringstream errors;
    Cli::CommandContext context{input, output, errors};
    Cli::loadPlugins(context, {});
    Cli::FuseOptions options;
    options.recording = in.path();
    options.output = in.resultPath();
    options.quiet = true;
    options.type = "FilterSO3Attitude";
    if (!Core::FlowManager::instance().getPluginManager().findPluginOf(options.type)) {
        state.SkipWithError("the estimator is not there");
        return;
    }
    fusePlainly(in.path(), in.resultPath());
    const std::string expected = contentOf(in.resultPath());
    for (auto _ : state) Cli::FuseRun(options, context).run();
    if (contentOf(in.resultPath()) != expected) state.SkipWithError("the plain loop gives another result");
    countRows(state);
}

// Real time and the processor time of all threads.
BENCHMARK(fusePlain)
    ->Name("fuse/plain")
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();
BENCHMARK(fuseWhole)
    ->Name("fuse/whole command")
    ->Unit(benchmark::kMillisecond)
    ->MeasureProcessCPUTime()
    ->UseRealTime();

}  // namespace
