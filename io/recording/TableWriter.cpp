#include "io/recording/TableWriter.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>

#include "io/recording/LineReader.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

std::string headerCell(const std::string& name) {
    if (name.find_first_of(",;\t\"\n") == std::string::npos) return name;
    std::string cell = "\"";
    for (const char c : name) {
        if (c == '"') cell += '"';
        cell += c == '\n' ? ' ' : c;
    }
    return cell + "\"";
}

std::string wrongColumnCount(const std::string& pin, std::size_t columns, std::size_t rows,
                             std::size_t cols) {
    return fmt::format("pin '{}' has {} and sends {}x{}: not written", pin, counted(columns, "column"), rows,
                       cols);
}

std::string wrongShape(const std::string& pin, const TableSink::Shape& first, std::size_t rows,
                       std::size_t cols) {
    return fmt::format("pin '{}' began with {}x{} and now sends {}x{}: not written", pin, first.rows,
                       first.cols, rows, cols);
}

std::vector<std::string> columnNames(const std::string& pin, std::size_t rows, std::size_t cols) {
    if (rows * cols == 1) return {pin};
    if (rows * cols == 3) return {pin + ".x", pin + ".y", pin + ".z"};
    if (rows * cols == 4) return {pin + ".w", pin + ".x", pin + ".y", pin + ".z"};
    std::vector<std::string> names;
    const char* between = rows > 10 || cols > 10 ? "." : "";
    for (std::size_t r = 0; r < rows; ++r)
        for (std::size_t c = 0; c < cols; ++c) names.push_back(fmt::format("{}.{}{}{}", pin, r, between, c));
    return names;
}

TableWriter::~TableWriter() {
    try {
        finish();
    } catch (const Poco::Exception&) {
        // The rows that fitted are kept; only `finish` reports a failure.
    }
}

std::size_t TableWriter::add(const TableSink::Pin& pin) {
    const std::lock_guard lock(mutex_);
    Column& column = pins_.emplace_back();
    static_cast<TableSink::Pin&>(column) = pin;
    if (!column.columns.empty()) column.fix({1, pin.columns.size()});
    return pins_.size() - 1;
}

void TableWriter::Column::fix(const Shape& first) {
    shape = first;
    cells.resize(first.size());
}

/// Whether a sample has the pin's columns; the first one may differ from what was expected.
bool TableWriter::Column::takes(const Shape& sample) {
    if (isExpectation &&
        columnNames(name, shape.rows, shape.cols) == columnNames(name, sample.rows, sample.cols)) {
        shape = sample;
    }
    isExpectation = false;
    return columns.empty() ? shape == sample : size() == sample.size();
}

void TableWriter::Column::refuse(const Shape& sample) const {
    if (!columns.empty())
        throw Poco::DataFormatException(wrongColumnCount(name, columns.size(), sample.rows, sample.cols));
    throw Poco::DataFormatException(wrongShape(name, shape, sample.rows, sample.cols));
}

void TableWriter::put(std::size_t index, double time, const double* elements, std::size_t rows,
                      std::size_t cols) {
    const std::lock_guard lock(mutex_);
    Column& pin = pins_[index];
    if (hasRow_ && (time != time_ || pin.filled)) endRow();
    if (pin.size() == 0) {
        pin.fix({rows, cols});
        if (begun_ && rows * cols > 0) {
            order_.push_back(index);
            isRagged_ = true;
        }
    }
    if (!pin.takes({rows, cols})) pin.refuse({rows, cols});
    if (!hasRow_) ++rows_;
    hasRow_ = true;
    time_ = time;
    pin.filled = true;
    std::copy(elements, elements + rows * cols, pin.cells.begin());
    if (++filled_ == pins_.size()) {
        endRow();  // whatever comes next begins another
    } else {
        startTicks();
    }
}

void TableWriter::endRow(double time) {
    const std::lock_guard lock(mutex_);
    if (!hasRow_) {
        ++rows_;
        time_ = time;
    }
    endRow();
}

void TableWriter::endRow() {
    hasRow_ = false;
    filled_ = 0;
    if (!begun_ && held_.size() < kMostHeldRows && !knowsColumns()) {
        holdRow();
    } else {
        if (!begun_) beginTable();
        writeRow(out_, time_);
    }
    for (Column& pin : pins_) pin.filled = false;
}

void TableWriter::holdRow() {
    HeldRow row{time_, {}};
    for (std::size_t i = 0; i < pins_.size(); ++i) {
        if (pins_[i].filled) row.cells.emplace_back(i, pins_[i].cells);
    }
    held_.push_back(std::move(row));
}

bool TableWriter::knowsColumns() const {
    return std::all_of(pins_.begin(), pins_.end(), [this](const Column& pin) {
        return pin.size() > 0 || (file_.isLive() && pin.expected.size() > 0);
    });
}

/// Writes the header and the rows held back for it; the row being filled keeps its cells.
void TableWriter::beginTable() {
    begun_ = true;
    if (file_.isLive()) {
        for (Column& pin : pins_) {
            if (pin.size() > 0) continue;
            pin.fix(pin.expected);
            pin.isExpectation = true;
        }
    }
    if (shown_ > 0) file_.restart();
    orderColumns();
    file_.header(header());
    writeHeldRows(out_);
    held_ = {};
}

void TableWriter::orderColumns() {
    order_.clear();
    for (std::size_t i = 0; i < pins_.size(); ++i) {
        if (pins_[i].size() > 0) order_.push_back(i);
    }
}

template <class Rows>
void TableWriter::writeHeldRows(Rows& rows) {
    const std::vector<Column> current = pins_;
    for (const HeldRow& row : held_) {
        for (Column& pin : pins_) pin.filled = false;
        for (const auto& [index, cells] : row.cells) {
            pins_[index].filled = true;
            pins_[index].cells = cells;
        }
        writeRow(rows, row.time);
    }
    pins_ = current;
}

template <class Rows>
void TableWriter::writeRow(Rows& rows, double time) {
    rows.number(time);
    for (const std::size_t index : order_) {
        const Column& pin = pins_[index];
        if (pin.filled) {
            rows.cells(pin.cells.data(), pin.cells.size());
        } else {
            rows.emptyCells(pin.cells.size());
        }
    }
    rows.endRow();
}

// Without new samples

void TableWriter::startTicks() {
    if (ticks_ || !(file_.isLive() || (file_.isReplaceable() && !begun_))) return;
    ticks_ = true;
    out_.startTicks();
}

/// [writing thread]
bool TableWriter::tick() {
    const std::unique_lock lock(mutex_, std::try_to_lock);
    if (!lock) return true;  // a sample is just coming
    if (!file_.isLive()) {
        if (!begun_) showHeldRows();
    } else if (hasRow_ && rows_ == rowsAtTick_) {
        endRow();
    }
    rowsAtTick_ = rows_;
    ticks_ = file_.isLive() ? hasRow_ : !begun_;
    return ticks_;
}

/// Writes the held rows to the unfinished file, under a header that may change.
void TableWriter::showHeldRows() {
    if (held_.size() == shown_) return;
    shown_ = held_.size();
    file_.restart();
    orderColumns();
    file_.header(header());
    writeHeldRows(file_);
    file_.flush();
}

std::string TableWriter::header() const {
    std::string text = "t";
    for (const std::size_t index : order_) {
        const Column& pin = pins_[index];
        const auto names =
            pin.columns.empty() ? columnNames(pin.name, pin.shape.rows, pin.shape.cols) : pin.columns;
        for (const std::string& name : names) text += "," + headerCell(name);
    }
    return text;
}

void TableWriter::finish() {
    bool ragged = false;
    {
        const std::lock_guard lock(mutex_);
        if (hasRow_) endRow();
        if (!begun_) beginTable();
        std::swap(ragged, isRagged_);
    }
    out_.finish();
    file_.finish();
    if (ragged) padEarlierRows();
}

void TableWriter::padEarlierRows() {
    if (!file_.isReplaceable()) {
        throw Poco::WriteFileException(
            "a pin sent its first sample after row " + std::to_string(kMostHeldRows),
            "'" + file_.path() + "' cannot be gone through again: rows before it are short");
    }
    LineReader lines(openSource(file_.path()));
    ResultFile padded(file_.path());
    std::string_view line;
    std::size_t separators = 0;
    for (const std::size_t index : order_) separators += pins_[index].size();
    lines.next(line);
    padded.header(header());
    while (lines.next(line)) {
        const auto there = static_cast<std::size_t>(std::count(line.begin(), line.end(), ','));
        padded.text(line);
        padded.text(std::string(separators - std::min(separators, there), ','));
        padded.endRow();
    }
    padded.finish();
}

}  // namespace Kavelin::RecordingIO
