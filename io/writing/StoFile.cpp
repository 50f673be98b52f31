#include "io/writing/StoFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "io/recording/ResultFile.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

constexpr double kEven = 0.2;  // of the usual step: jitter of time stamps in whole milliseconds stays below
constexpr double kLongest = 1.5;  // usual steps; what lasts longer is a gap

/// The rows that are written.
std::vector<std::size_t> risingRows(const std::vector<double>& times) {
    std::vector<std::size_t> rows;
    for (std::size_t row = 0; row < times.size(); ++row)
        if (std::isfinite(times[row]) && (rows.empty() || times[row] > times[rows.back()]))
            rows.push_back(row);
    return rows;
}

struct Spacing {
    double rate = 0.0;  // Hz, without the gaps; 0 for fewer than two rows
    double shortest = 0.0, longest = 0.0;
    std::size_t gaps = 0;
    double longestGap = 0.0;
    bool isEven() const { return shortest * rate > 1.0 - kEven && longest * rate < 1.0 + kEven; }
};

Spacing spacingOf(const std::vector<double>& times, const std::vector<std::size_t>& rows) {
    if (rows.size() < 2) return {};
    std::vector<double> steps;
    for (std::size_t i = 1; i < rows.size(); ++i) steps.push_back(times[rows[i]] - times[rows[i - 1]]);
    std::sort(steps.begin(), steps.end());
    const double limit = kLongest * steps[steps.size() / 2];
    const auto end = std::upper_bound(steps.begin(), steps.end(), limit);  // those before it are no gaps
    const double sum = std::accumulate(steps.begin(), end, 0.0);
    return {static_cast<double>(end - steps.begin()) / sum, steps.front(), *(end - 1),
            static_cast<std::size_t>(steps.end() - end), steps.back()};
}

bool isComplete(const CollectedTable& table, std::size_t row) {
    return std::all_of(table.arrays.begin(), table.arrays.end(),
                       [row](const CollectedArray& array) { return !std::isnan(array.values[4 * row]); });
}

std::string headerOf(const CollectedTable& table, double rate) {
    std::string text = rate > 0.0 ? fmt::format("DataRate={:.6f}\n", rate) : "";
    text += "DataType=Quaternion\nversion=3\nOpenSimVersion=4.2\nendheader\ntime";
    for (const CollectedArray& array : table.arrays) text += "\t" + array.name;
    return text;
}

}  // namespace

void writeSto(const CollectedTable& table, const std::string& path) {
    const std::vector<std::size_t> rows = risingRows(table.times);
    ResultFile file(path);
    file.header(headerOf(table, spacingOf(table.times, rows).rate));
    for (const std::size_t row : rows) {
        file.number(table.times[row]);
        for (const CollectedArray& array : table.arrays) {
            for (std::size_t element = 0; element < 4; ++element) {
                file.text(element == 0 ? "\t" : ",");
                file.number(array.values[4 * row + element]);
            }
        }
        file.endRow();
    }
    file.finish();
}

std::vector<std::string> stoNotes(const CollectedTable& table) {
    std::vector<std::string> notes;
    const std::vector<std::size_t> rows = risingRows(table.times);
    if (const std::size_t left = table.times.size() - rows.size(); left > 0)
        notes.push_back(counted(left, "row") + " left out: not later than the one before");
    const auto isIncomplete = [&](std::size_t row) { return !isComplete(table, row); };
    if (const auto count = std::count_if(rows.begin(), rows.end(), isIncomplete); count > 0)
        notes.push_back(counted(static_cast<std::uint64_t>(count), "row") +
                        " without the orientation of every sensor: nan there");
    const Spacing spacing = spacingOf(table.times, rows);
    if (spacing.rate > 0.0 && !spacing.isEven())
        notes.push_back(
            fmt::format("the rows are not evenly spaced: steps of {:.4g} to {:.4g} s, DataRate {:.6g}; "
                        "resample the result",
                        spacing.shortest, spacing.longest, spacing.rate));
    if (spacing.gaps > 0)
        notes.push_back(
            fmt::format("the rows have {}, the longest of {:.4g} s, and DataRate {:.6g} otherwise",
                        counted(spacing.gaps, "gap"), spacing.longestGap, spacing.rate));
    return notes;
}

}  // namespace Kavelin::RecordingIO
