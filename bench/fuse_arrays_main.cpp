// One run of fuse on arrays in memory, without Python: ns of processor time a row, for bench/python_fuse.py.  fuse_arrays ROWS

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <cmath>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <sstream>
#include <string>

#include "cli/CommandContext.h"
#include "cli/Plugins.h"
#include "cli/fuse/FuseRun.h"
#include "io/recording/ArrayReader.h"

namespace {

using namespace Kavelin;

/// A unit that turns about the vertical and back, in a field.
RecordingIO::ArrayTable motion(std::size_t rows) {
    RecordingIO::ArrayTable table;
    table.form = RecordingIO::formOfHeader("t,ax,ay,az,gx,gy,gz,mx,my,mz");
    table.columns.resize(10);
    for (std::size_t i = 0; i < rows; ++i) {
        const double t = 0.01 * static_cast<double>(i);
        const double angle = 0.5 * std::sin(t);
        std::size_t column = 0;
        for (const double value : {t, 0.0, 0.0, 9.81, 0.0, 0.0, 0.5 * std::cos(t), 20.0 * std::cos(angle),
                                   -20.0 * std::sin(angle), -40.0})
            table.columns[column++].push_back(value);
    }
    return table;
}

}  // namespace

int main(int argc, char** argv) try {
    const std::size_t rows = argc > 1 ? std::stoul(argv[1]) : 1'000'000;
    const RecordingIO::ArrayTable table = motion(rows);
    std::istringstream nothing;
    std::ostringstream out;
    Cli::CommandContext context{nothing, out, std::cerr};
    Cli::loadPlugins(context, {});
    Cli::FuseOptions options;
    options.recording = "arrays";
    options.type = "FilterSO3Attitude";
    options.quiet = true;
    options.memory.recording = [&table](const RecordingIO::OpenOptions& open) {
        RecordingIO::ArrayView view = RecordingIO::ArrayView::of(table);
        chooseTime(view, open);
        return std::make_unique<RecordingIO::ArrayReader>("arrays", std::move(view), open);
    };
    options.memory.keepsResult = true;
    const std::clock_t start = std::clock();
    Cli::FuseRun run(options, context);
    run.run();
    const double taken = static_cast<double>(std::clock() - start) * 1e9 / CLOCKS_PER_SEC;
    if (run.kept()->rows.rows().times.size() != rows) return 1;
    fmt::print("{:.1f}\n", taken / static_cast<double>(rows));
    return 0;
} catch (const Poco::Exception& error) {
    std::fprintf(stderr, "%s\n", error.displayText().c_str());
    return 1;
}
