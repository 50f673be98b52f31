#include "io/recording/TableWriter.h"

#include <Poco/Exception.h>
#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "io/recording/LineReader.h"
#include "io/recording/ResultPath.h"
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

TableWriter::TableWriter(const std::string& path, const Progress& progress)
    : file_(continuable(path, progress), progress.place_), table_(progress.table_) {}

TableWriter::~TableWriter() {
    try {
        finish();
    } catch (const Poco::Exception&) {
        // The rows that fitted are kept; only `finish` reports a failure.
    }
}

std::size_t TableWriter::add(const TableSink::Pin& pin) {
    const std::lock_guard lock(mutex_);
    Column& column = table_.pins.emplace_back();
    static_cast<TableSink::Pin&>(column) = pin;
    if (!column.columns.empty()) column.fix({1, pin.columns.size()});
    return table_.pins.size() - 1;
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
    Column& pin = table_.pins[index];
    if (table_.hasRow && (time != table_.time || pin.filled)) endRow();
    if (pin.size() == 0) {
        pin.fix({rows, cols});
        if (table_.begun && rows * cols > 0) {
            table_.order.push_back(index);
            table_.widths.emplace_back(table_.rows - (table_.hasRow ? 1 : 0), table_.order.size());
            table_.isRagged = true;
        }
    }
    if (!pin.takes({rows, cols})) pin.refuse({rows, cols});
    if (!table_.hasRow) ++table_.rows;
    table_.hasRow = true;
    table_.time = time;
    pin.filled = true;
    std::copy(elements, elements + rows * cols, pin.cells.begin());
    if (++table_.filled == table_.pins.size()) {
        endRow();  // whatever comes next begins another
    } else {
        startTicks();
    }
}

void TableWriter::endRow(double time) {
    const std::lock_guard lock(mutex_);
    if (!table_.hasRow) {
        ++table_.rows;
        table_.time = time;
    }
    endRow();
}

void TableWriter::endRow() {
    table_.hasRow = false;
    table_.filled = 0;
    if (!table_.begun && table_.held.size() < kMostHeldRows && !knowsColumns()) {
        holdRow();
    } else {
        if (!table_.begun) beginTable();
        writeRow(out_, table_.time);
    }
    for (Column& pin : table_.pins) pin.filled = false;
}

void TableWriter::holdRow() {
    HeldRow row{table_.time, {}};
    for (std::size_t i = 0; i < table_.pins.size(); ++i) {
        if (table_.pins[i].filled) row.cells.emplace_back(i, table_.pins[i].cells);
    }
    table_.held.push_back(std::move(row));
}

bool TableWriter::knowsColumns() const {
    return std::all_of(table_.pins.begin(), table_.pins.end(), [this](const Column& pin) {
        return pin.size() > 0 || (file_.isLive() && pin.expected.size() > 0);
    });
}

/// Writes the header and the rows held back for it; the row being filled keeps its cells.
void TableWriter::beginTable() {
    table_.begun = true;
    if (file_.isLive()) {
        for (Column& pin : table_.pins) {
            if (pin.size() > 0) continue;
            pin.fix(pin.expected);
            pin.isExpectation = true;
        }
    }
    if (table_.shown > 0) file_.restart();
    orderColumns();
    table_.widths = {{0, table_.order.size()}};
    file_.header(header());
    writeHeldRows(out_);
    table_.held = {};
}

void TableWriter::orderColumns() {
    table_.order.clear();
    for (std::size_t i = 0; i < table_.pins.size(); ++i) {
        if (table_.pins[i].size() > 0) table_.order.push_back(i);
    }
}

template <class Rows>
void TableWriter::writeHeldRows(Rows& rows) {
    const std::vector<Column> current = table_.pins;
    for (const HeldRow& row : table_.held) {
        for (Column& pin : table_.pins) pin.filled = false;
        for (const auto& [index, cells] : row.cells) {
            table_.pins[index].filled = true;
            table_.pins[index].cells = cells;
        }
        writeRow(rows, row.time);
    }
    table_.pins = current;
}

template <class Rows>
void TableWriter::writeRow(Rows& rows, double time) {
    rows.number(time);
    for (const std::size_t index : table_.order) {
        const Column& pin = table_.pins[index];
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
    if (ticks_ || !(file_.isLive() || (file_.isReplaceable() && !table_.begun))) return;
    ticks_ = true;
    out_.startTicks();
}

/// [writing thread]
bool TableWriter::tick() {
    const std::unique_lock lock(mutex_, std::try_to_lock);
    if (!lock) return true;  // a sample is just coming
    if (!file_.isLive()) {
        if (!table_.begun) showHeldRows();
    } else if (table_.hasRow && table_.rows == rowsAtTick_) {
        endRow();
    }
    rowsAtTick_ = table_.rows;
    ticks_ = file_.isLive() ? table_.hasRow : !table_.begun;
    return ticks_;
}

/// Writes the held rows to the unfinished file, under a header that may change.
void TableWriter::showHeldRows() {
    if (table_.held.size() == table_.shown) return;
    table_.shown = table_.held.size();
    file_.restart();
    orderColumns();
    file_.header(header());
    writeHeldRows(file_);
    file_.flush();
}

bool TableWriter::Filling::isSound(std::size_t pinCount) const {
    const auto isPin = [this](std::size_t index) { return index < pins.size(); };
    const auto hasItsCells = [&](const auto& cell) {
        return isPin(cell.first) && cell.second.size() == pins[cell.first].size();
    };
    return pins.size() == pinCount && std::ranges::all_of(order, isPin) &&
           std::ranges::all_of(pins, [](const Column& pin) { return pin.cells.size() == pin.size(); }) &&
           std::ranges::all_of(
               held, [&](const HeldRow& row) { return std::ranges::all_of(row.cells, hasItsCells); }) &&
           std::ranges::all_of(widths, [this](const auto& width) { return width.second <= order.size(); });
}

std::string TableWriter::Filling::header(std::size_t pinsShown) const {
    std::string text = "t";
    for (std::size_t i = 0; i < pinsShown; ++i) {
        const Column& pin = pins[order[i]];
        const auto names =
            pin.columns.empty() ? columnNames(pin.name, pin.shape.rows, pin.shape.cols) : pin.columns;
        for (const std::string& name : names) text += "," + headerCell(name);
    }
    return text;
}

std::size_t TableWriter::Filling::separators(std::size_t pinsShown) const {
    std::size_t count = 0;
    for (std::size_t i = 0; i < pinsShown; ++i) count += pins[order[i]].size();
    return count;
}

/// Rows shown under a header that may change do not count: they are still held.
TableWriter::Progress TableWriter::settle() {
    out_.settle();
    const std::lock_guard lock(mutex_);
    Progress progress;
    progress.table_ = table_;
    if (table_.begun)
        progress.place_ = file_.place();
    else
        progress.table_.shown = 0;
    return progress;
}

void TableWriter::finish() {
    bool ragged = false;
    {
        const std::lock_guard lock(mutex_);
        if (table_.hasRow) endRow();
        if (!table_.begun) beginTable();
        std::swap(ragged, table_.isRagged);
    }
    out_.finish();
    file_.finish();
    if (ragged) padEarlierRows();
}

void TableWriter::padEarlierRows() {
    const auto fail = [](const std::string& why) {
        throw Poco::WriteFileException(
            "a pin sent its first sample after row " + std::to_string(kMostHeldRows),
            why + ": rows before it are short");
    };
    if (!file_.isReplaceable()) fail("'" + file_.path() + "' cannot be gone through again");
    try {
        writePadded();
    } catch (const Poco::WriteFileException& failure) {
        fail(failure.message());
    }
}

void TableWriter::writePadded() {
    LineReader lines(openSource(file_.path()));
    ResultFile padded(file_.path());
    padded.requireWhole();
    std::string_view line;
    const std::size_t separators = table_.separators(table_.order.size());
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

/// Gives the table as it was before `padEarlierRows`, up to `progress`.  @return whether it is that one
bool TableWriter::unpad(const std::string& path, const Progress& progress, std::ostream* to) {
    const Filling& table = progress.table_;
    const ResultPlace& place = progress.place_;
    if (table.widths.empty() || !std::filesystem::is_regular_file(path)) return false;
    LineReader lines(openSource(path));
    ResultPlace found;
    const auto give = [&](std::string_view line) {
        const std::string text = std::string(line) + "\n";
        const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
        found.sum = static_cast<std::uint32_t>(::crc32(found.sum, bytes, static_cast<unsigned>(text.size())));
        found.bytes += text.size();
        if (to != nullptr) *to << text;
    };
    std::string_view line;
    auto width = table.widths.begin();
    if (!lines.next(line)) return false;
    give(table.header(width->second));
    for (; found.rows < place.rows && lines.next(line); ++found.rows) {
        while (width + 1 != table.widths.end() && (width + 1)->first <= found.rows) ++width;
        const auto there = static_cast<std::size_t>(std::count(line.begin(), line.end(), ','));
        line.remove_suffix(there - std::min(there, table.separators(width->second)));
        give(line);
    }
    return found == place;
}

void TableWriter::requireContinuable(const std::string& path, const Progress& progress,
                                     std::size_t pinCount) {
    if (!progress.table_.isSound(pinCount)) throw Poco::DataFormatException("its table is damaged");
    try {
        ResultFile::requireContinuable(path, progress.place_);
    } catch (const Poco::DataFormatException&) {
        if (!unpad(path, progress, nullptr)) throw;
    }
}

/// The path; where the table was finished and gone through, the unfinished one is there again.
const std::string& TableWriter::continuable(const std::string& path, const Progress& progress) {
    try {
        ResultFile::requireContinuable(path, progress.place_);
    } catch (const Poco::DataFormatException&) {
        const std::string unfinished = resultPath(path).temporary;
        if (unfinished.empty() || !unpad(path, progress, nullptr)) throw;
        std::ofstream file(unfinished, std::ios::binary);
        unpad(path, progress, &file);
        if (!file.flush()) throw Poco::WriteFileException("cannot write '" + unfinished + "'");
    }
    return path;
}

}  // namespace Kavelin::RecordingIO
