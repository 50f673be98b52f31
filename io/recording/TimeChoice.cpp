#include "io/recording/TimeChoice.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <optional>

#include "io/recording/DateText.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

using Time = TableForm::Time;

const std::size_t kFewestSteps = 8;    // to decide by
const double kTicksOfMicros = 1e6;     // Hz
const double kTicksOfTenths = 1e4;     // Hz, of 0.1 ms
const double kMostLost = 10.0;         // packets in a row, usually, of a counter that is believed
const double kMostCounts = 1e9;        // from one packet to the next
const double kMostEqual = 0.8;         // of the steps, of a column that is a time
const double kLongestPlausible = 2.0;  // s, of a step in a recording with rates
const double kFastestUsual = 1100.0;   // Hz, of a unit whose time says no unit
const double kLeastAmbiguous = 0.2;    // of whole numbers a row, in the mean
const double kMostAmbiguous = 0.9;     // the same; steps of one are doubted when all rows are read

struct UnixRange {
    double from;  ///< 2001
    double to;    ///< 2039
    const char* unit;
};
constexpr UnixRange kUnixRanges[] = {{1e12, 2.2e12, "ms"}, {1e15, 2.2e15, "us"}, {1e18, 2.2e18, "ns"}};

/// The numbers of a column in the first rows.
struct Column {
    std::vector<double> numbers;
    std::vector<double> steps;
    std::size_t dates = 0;
    double lastDate = 0.0;   // s
    std::string unreadable;  ///< the first cell that is neither a number nor a date

    bool isEmpty() const { return numbers.empty() && dates == 0; }
    bool holdsDates() const { return dates > 0 && dates >= numbers.size(); }
    double usualStep() const {
        if (steps.empty()) return 0.0;
        std::vector<double> sorted = steps;
        std::ranges::nth_element(sorted, sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2));
        return sorted[sorted.size() / 2];
    }
    /// What a counter grows by from packet to packet, where some are lost: the greatest number of which all steps are
    /// several; steps back are those of a counter that starts over. 0 where they are no whole numbers.
    double packetStep() const {
        std::uint64_t step = 0;
        for (const double s : steps) {
            if (std::floor(s) != s || s > kMostCounts) return 0.0;
            if (s > 0.0) step = std::gcd(step, static_cast<std::uint64_t>(s));
        }
        return static_cast<double>(step);
    }
    /// Whether the steps are those of a counter of which not too many packets are lost.
    bool countsPackets() const {
        if (steps.size() < kFewestSteps) return true;
        const double step = packetStep();
        return step > 0.0 && usualStep() > 0.0 && usualStep() <= kMostLost * step;
    }
};

class TimeChooser {
public:
    TimeChooser(TableForm& form, const std::vector<std::string>& rows, const FormHints& hints)
        : form_(form), hints_(hints) {
        for (const std::string& row : rows) {
            std::vector<std::string> cells =
                splitCells(form.mergesSeparators ? trimmed(row) : std::string_view(row), form.separator);
            if (form.mergesSeparators) std::erase(cells, "");
            rows_.push_back(std::move(cells));
        }
    }

    void choose() {
        const std::optional<std::size_t> mapped = mappedTime();
        if (hints_.dialect.counter.empty() && takeTimeColumn(mapped)) return;
        if (!mapped) takeCounter();
    }

private:
    std::optional<std::size_t> mappedTime() const {
        for (const MappingEntry& entry : parseMapping(hints_.mapping)) {
            if (entry.pin == "t") return indexOf(entry.columns.front());
        }
        return std::nullopt;
    }

    std::optional<std::size_t> indexOf(const std::string& name) const {
        for (std::size_t i = 0; i < form_.columns.size(); ++i) {
            const ColumnName& column = form_.columns[i];
            if (column.raw == name || equalsIgnoringCase(column.name, name) ||
                name == fmt::format("#{}", i + 1))
                return i;
        }
        return std::nullopt;
    }

    Column column(std::size_t index) const {
        Column column;
        for (const std::vector<std::string>& row : rows_) {
            if (index >= row.size() || row[index].empty()) continue;
            std::string text = row[index];
            if (form_.commaIsPoint) std::ranges::replace(text, ',', '.');
            double value = 0.0;
            const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
            if (error == std::errc() && end == text.data() + text.size()) {
                if (!std::isfinite(value)) continue;
                if (!column.numbers.empty()) column.steps.push_back(value - column.numbers.back());
                column.numbers.push_back(value);
            } else if (const std::optional<double> date = secondsOfDate(row[index])) {
                if (column.dates++ > 0) column.steps.push_back(*date - column.lastDate);
                column.lastDate = *date;
            } else if (column.unreadable.empty()) {
                column.unreadable = row[index];
            }
        }
        return column;
    }

    /// The mapped column, or the first that is called a time and has values.
    bool takeTimeColumn(std::optional<std::size_t> mapped) {
        std::optional<std::size_t> chosen = mapped;
        for (std::size_t i = 0; i < form_.columns.size() && !chosen; ++i) {
            if (!form_.columns[i].isTime()) continue;
            if (rows_.empty() || !column(i).isEmpty())
                chosen = i;
            else
                form_.emptyTimes.push_back(i);
        }
        // An empty column is the time where nothing else can be.
        if (!chosen && !form_.emptyTimes.empty() && !findCounter()) {
            chosen = form_.emptyTimes.front();
            form_.emptyTimes.clear();
        }
        if (!chosen) return false;
        judgeTimeColumn(*chosen, column(*chosen));
        return true;
    }

    void judgeTimeColumn(std::size_t index, const Column& cells) {
        const ColumnName& name = form_.columns[index];
        refuseNoTime(name, cells);
        Time time;
        time.column = index;
        if (cells.holdsDates()) {
            time.kind = Time::Kind::kDate;
            say(fmt::format("time from the dates in {}", name.raw));
        } else if (name.key == "sampletimefine") {
            takeTicks(time, cells);
        } else if (name.unit.empty() && !isUnitGiven()) {
            refuseWholeNumbers(cells, name.raw);
            time.unit = unitOf(cells, name.raw);
        }
        form_.time = time;
    }

    void refuseNoTime(const ColumnName& name, const Column& cells) const {
        const int line = static_cast<int>(form_.headerLine);
        if (cells.isEmpty() && !cells.unreadable.empty()) {
            throw Poco::DataFormatException("the time column '" + name.raw + "' holds '" + cells.unreadable +
                                                "', which is neither a number nor a date such as 2023-05-06 "
                                                "07:08:09.123, 06.05.2023 07:08:09.123 or 07:08:09.123",
                                            line);
        }
        const auto equal = static_cast<double>(std::ranges::count(cells.steps, 0.0));
        const bool isOfSeveral = std::ranges::any_of(form_.columns, &ColumnName::isSensor);
        if (!hasRates() || isOfSeveral || cells.steps.size() < kFewestSteps ||
            equal < kMostEqual * static_cast<double>(cells.steps.size()))
            return;
        throw Poco::DataFormatException(
            fmt::format(
                "the time column '{}' stands still in {:g} of the first {} rows: name the column of the "
                "time with --map \"t = NAME\"",
                name.raw, equal, cells.steps.size() + 1),
            line);
    }

    bool isUnitGiven() const { return hints_.hasTimeUnit; }

    /// Ticks of a clock: of a microsecond, or of a tenth of a millisecond.
    void takeTicks(Time& time, const Column& cells) {
        time.kind = Time::Kind::kCounter;
        const double rate = form_.rate > 0.0 ? form_.rate : 100.0;
        const auto distance = [&](double ticks) {
            return std::abs(std::log(cells.usualStep() * rate / ticks));
        };
        time.rate = distance(kTicksOfMicros) <= distance(kTicksOfTenths) ? kTicksOfMicros : kTicksOfTenths;
        say(fmt::format("time from {} in {}", form_.columns[time.column].raw,
                        time.rate == kTicksOfMicros ? "us" : "0.1 ms"));
    }

    /// Refuses a time that grows by 1 every few rows: that may be ms, or s that are cut off.
    void refuseWholeNumbers(const Column& cells, const std::string& name) const {
        const bool isJudged =
            hints_.isWhole && cells.steps.size() >= kFewestSteps && (hasRates() || hints_.hasRates);
        const bool isWhole = std::ranges::all_of(cells.numbers, [](double n) { return std::floor(n) == n; });
        if (!isJudged || !isWhole) return;
        const double mean =
            (cells.numbers.back() - cells.numbers.front()) / static_cast<double>(cells.steps.size());
        if (mean < kLeastAmbiguous || mean > kMostAmbiguous) return;
        throw Poco::DataFormatException(
            fmt::format(
                "the time column '{}' grows by {:.2g} a row, in whole numbers: are those ms, or s without "
                "their fractions? Say --units t=ms, or name another column with --map \"t = NAME\"",
                name, mean),
            static_cast<int>(form_.headerLine));
    }

    /// The unit of a time that says none; empty for seconds.
    std::string unitOf(const Column& cells, const std::string& name) {
        if (cells.numbers.empty()) return {};
        for (const UnixRange& range : kUnixRanges) {
            if (cells.numbers.front() < range.from || cells.numbers.front() >= range.to) continue;
            say(fmt::format("time from {} in {} since 1970", name, range.unit));
            return range.unit;
        }
        const double step = cells.usualStep();
        if (!hints_.isWhole || cells.steps.size() < kFewestSteps || step < kLongestPlausible ||
            (!hasRates() && !hints_.hasRates))
            return {};
        const char* const unit = step < 250.0 ? "ms" : step < 250e3 ? "us" : "ns";
        const double rate = (step < 250.0 ? 1e3 : step < 250e3 ? 1e6 : 1e9) / step;
        if (rate > kFastestUsual) {
            throw Poco::DataFormatException(
                fmt::format("the time column '{}' grows by {:.4g} a row: in {} that is {:.0f} Hz, or it "
                            "counts ticks of "
                            "another clock: give the unit with --units t={}, or convert it to seconds",
                            name, step, unit, rate, unit),
                static_cast<int>(form_.headerLine));
        }
        say(fmt::format("time from {} in {}, as its steps tell", name, unit));
        return unit;
    }

    bool hasRates() const {
        const std::vector<ColumnGroup> groups =
            groupColumns(form_.columns, std::vector<bool>(form_.columns.size(), false));
        return std::ranges::find(groups, "3g", &ColumnGroup::pin) != groups.end();
    }

    std::optional<std::size_t> findCounter() const {
        if (!hints_.dialect.counter.empty()) {
            if (const auto index = indexOf(hints_.dialect.counter)) return index;
            throw Poco::DataFormatException("the dialect names a counter '" + hints_.dialect.counter +
                                                "', which is not among the columns",
                                            static_cast<int>(form_.headerLine));
        }
        for (std::size_t i = 0; i < form_.columns.size(); ++i) {
            if (form_.columns[i].isCounter() && (rows_.empty() || !column(i).numbers.empty())) return i;
        }
        return std::nullopt;
    }

    void takeCounter() {
        const double rate = hints_.rate > 0.0 ? hints_.rate : form_.rate;
        const std::optional<std::size_t> index = findCounter();
        if (rate <= 0.0) {
            if (index && form_.whyNoTime.empty()) {
                form_.whyNoTime = form_.columns[*index].raw +
                                  " counts packets, and the file does not say how many a second";
            }
            return;
        }
        if (!index) {
            if (hints_.rate <= 0.0) say(fmt::format("time from the rows at {:g} Hz", rate));
            return;
        }
        const Column cells = column(*index);
        if (!cells.countsPackets() && hints_.dialect.counter.empty()) {
            say(fmt::format("time from the rows at {:g} Hz ({} does not count them)", rate,
                            form_.columns[*index].raw));
            return;
        }
        const double step = std::max(1.0, cells.packetStep());
        if (step > 1.0 && hints_.rate <= 0.0)
            throw Poco::DataFormatException(
                fmt::format(
                    "{0} counts by {1:g} from row to row, and the file says {2:g} Hz: is that the rate of "
                    "the "
                    "counts, so that rows come at {3:g} Hz, or of the rows? Give the rate of the rows with "
                    "--rate HZ, or the property Rate",
                    form_.columns[*index].raw, step, rate, rate / step),
                static_cast<int>(form_.headerLine));
        form_.time = Time{
            .kind = Time::Kind::kCounter, .column = *index, .unit = {}, .rate = rate * step, .step = step};
        say(fmt::format("time from {} at {:g} Hz", form_.columns[*index].raw, rate));
    }

    void say(std::string decision) { form_.decisions.push_back(std::move(decision)); }

    TableForm& form_;
    const FormHints& hints_;
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace

void chooseTime(TableForm& form, const std::vector<std::string>& rows, const FormHints& hints) {
    TimeChooser(form, rows, hints).choose();
}

}  // namespace Kavelin::RecordingIO
