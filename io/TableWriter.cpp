#include "io/TableWriter.h"

#include <Poco/Exception.h>

#include <algorithm>

#include "io/LineReader.h"

namespace Kavelin::RecordingIO {

namespace {

/// A name as a header cell: in quotes where it would be taken apart.
std::string headerCell(const std::string& name) {
    if (name.find_first_of(",;\t\"\n") == std::string::npos) return name;
    std::string cell = "\"";
    for (const char c : name) {
        if (c == '"') cell += '"';
        cell += c == '\n' ? ' ' : c;
    }
    return cell + "\"";
}

}  // namespace

std::vector<std::string> columnNames(const std::string& pin, std::size_t rows, std::size_t cols) {
    if (rows * cols == 1) return {pin};
    if (rows * cols == 3) return {pin + ".x", pin + ".y", pin + ".z"};
    if (rows * cols == 4) return {pin + ".w", pin + ".x", pin + ".y", pin + ".z"};
    std::vector<std::string> names;
    const std::string between = rows > 10 || cols > 10 ? "." : "";
    for (std::size_t r = 0; r < rows; ++r) {
        for (std::size_t c = 0; c < cols; ++c) {
            names.push_back(pin + "." + std::to_string(r) + between + std::to_string(c));
        }
    }
    return names;
}

TableWriter::~TableWriter() {
    try {
        finish();
    } catch (const Poco::Exception&) {
        // What found room is kept; `finish` is there for those who want to know.
    }
}

std::size_t TableWriter::addPin(const std::string& name) {
    pins_.emplace_back().name = name;
    return pins_.size() - 1;
}

void TableWriter::put(std::size_t index, double time, const double* elements, std::size_t rows,
                      std::size_t cols) {
    Pin& pin = pins_[index];
    if (hasRow_ && (time != time_ || pin.filled)) endRow();
    if (pin.size() == 0) {
        pin.rows = rows;
        pin.cols = cols;
        pin.cells.resize(rows * cols);
        if (begun_ && rows * cols > 0) {
            order_.push_back(index);
            isRagged_ = true;
        }
    }
    if (rows != pin.rows || cols != pin.cols) {
        throw Poco::DataFormatException("pin '" + pin.name + "' began with " + std::to_string(pin.rows) +
                                        "x" + std::to_string(pin.cols) + " and now sends " +
                                        std::to_string(rows) + "x" + std::to_string(cols) + ": not written");
    }
    if (!hasRow_) ++rows_;
    hasRow_ = true;
    time_ = time;
    pin.filled = true;
    std::copy(elements, elements + rows * cols, pin.cells.begin());
}

void TableWriter::endRow() {
    hasRow_ = false;
    if (!begun_ && held_.size() < kMostHeldRows && !allShapesKnown()) {
        holdRow();
    } else {
        if (!begun_) beginTable();
        writeRow(time_);
    }
    for (Pin& pin : pins_) pin.filled = false;
}

void TableWriter::holdRow() {
    HeldRow row{time_, {}};
    for (std::size_t i = 0; i < pins_.size(); ++i) {
        if (pins_[i].filled) row.cells.emplace_back(i, pins_[i].cells);
    }
    held_.push_back(std::move(row));
}

bool TableWriter::allShapesKnown() const {
    return std::all_of(pins_.begin(), pins_.end(), [](const Pin& pin) { return pin.size() > 0; });
}

/// Writes the header and the rows held back for it; the row being filled keeps its cells.
void TableWriter::beginTable() {
    begun_ = true;
    for (std::size_t i = 0; i < pins_.size(); ++i) {
        if (pins_[i].size() > 0) order_.push_back(i);
    }
    file_.header(header());
    const std::vector<Pin> current = pins_;
    for (HeldRow& row : held_) {
        for (Pin& pin : pins_) pin.filled = false;
        for (auto& [index, cells] : row.cells) {
            pins_[index].filled = true;
            pins_[index].cells = std::move(cells);
        }
        writeRow(row.time);
    }
    pins_ = current;
    held_ = {};
}

void TableWriter::writeRow(double time) {
    file_.number(time);
    for (const std::size_t index : order_) {
        const Pin& pin = pins_[index];
        if (pin.filled) {
            file_.cells(pin.cells.data(), pin.cells.size());
        } else {
            file_.emptyCells(pin.cells.size());
        }
    }
    file_.endRow();
}

std::string TableWriter::header() const {
    std::string text = "t";
    for (const std::size_t index : order_) {
        for (const std::string& name : columnNames(pins_[index].name, pins_[index].rows, pins_[index].cols)) {
            text += "," + headerCell(name);
        }
    }
    return text;
}

void TableWriter::finish() {
    if (hasRow_) endRow();
    if (!begun_) beginTable();
    const bool ragged = isRagged_;
    isRagged_ = false;
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
