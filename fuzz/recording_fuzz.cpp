#include <Poco/Exception.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "io/recording/RecordingReader.h"
#include "io/recording/RecordingStatistics.h"

namespace {

using namespace Kavelin::RecordingIO;

/// What must hold of any bytes: rows have finite times that do not decrease,
/// and values that are present are numbers.
void requireSound(const RecordingReader& reader, double& latest) {
    if (!std::isfinite(reader.row().time()) || reader.row().time() < latest) std::abort();
    latest = reader.row().time();
    for (std::size_t i = 0; i < reader.schema().channels.size(); ++i) {
        if (!reader.row().has(i)) continue;
        for (std::size_t e = 0; e < reader.schema().channels[i].size(); ++e) {
            if (std::isnan(reader.row().values(i)[e])) std::abort();
        }
    }
}

void readAll(std::string_view bytes, const ReaderOptions& options, std::size_t block) {
    RecordingReader reader(memorySource(bytes), "fuzz", options, block);
    RecordingStatistics statistics(reader.schema());
    double latest = -HUGE_VAL;
    for (auto next = reader.next(); next != RecordingReader::Next::kEnd; next = reader.next()) {
        if (next != RecordingReader::Next::kRow) continue;
        requireSound(reader, latest);
        statistics.add(reader.row());
    }
    statistics.finish();
    statistics.warnings(reader.schema());
}

}  // namespace

/// The first line is the mapping, the second has units, dialect, axes and sensor with "|" between them, the rest is the
/// recording.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto line = [&text] {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view first = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        return first;
    };
    ReaderOptions options;
    options.mapping = line();
    std::string_view choices = line();
    const auto choice = [&choices] {
        const std::size_t end = std::min(choices.find('|'), choices.size());
        const std::string_view first = choices.substr(0, end);
        choices.remove_prefix(std::min(end + 1, choices.size()));
        return first;
    };
    options.rate = size % 2 == 0 ? 0.0 : 100.0;
    options.repeat = {"3m"};
    options.together = {"3a", "3g"};
    try {
        options.units = parseUnits(choice());
        options.dialect = parseDialect(choice());
        options.axes = parseAxes(choice());
        options.sensor = choice();
        readAll(text, options, 256);
    } catch (const Poco::DataFormatException&) {
        // A useless header, mapping or unit must be refused, and nothing else may happen.
    }
    return 0;
}
