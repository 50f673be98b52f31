#include "io/recording/ArrayReader.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include "io/recording/RecordingReader.h"
#include "io/recording/Text.h"
#include "io/recording/TimeChoice.h"

namespace Kavelin::RecordingIO {

namespace {

const std::size_t kRowsToDecideBy = 64;

double cellOf(const ArrayView::Column& column, std::size_t row) {
    return column.first[static_cast<std::ptrdiff_t>(row) * column.step];
}

ArrayView viewOf(std::shared_ptr<const ArrayTable> table) {
    ArrayView view = ArrayView::of(*table);
    view.owner = std::move(table);
    return view;
}

}  // namespace

ArrayView ArrayView::of(const ArrayTable& table) {
    ArrayView view;
    view.form = table.form;
    for (const std::vector<double>& column : table.columns) view.columns.push_back({column.data(), 1});
    view.rows = table.columns.empty() ? 0 : table.columns.front().size();
    return view;
}

void chooseTime(ArrayView& table, const ReaderOptions& options) {
    std::vector<std::string> rows;
    for (std::size_t i = 0; i < std::min(table.rows, kRowsToDecideBy); ++i) {
        std::string row;
        for (const ArrayView::Column& column : table.columns)
            row += (row.empty() ? "" : ",") + exactText(cellOf(column, i));
        rows.push_back(std::move(row));
    }
    chooseTime(table.form, rows, hintsOf(options, true));
}

ArrayReader::ArrayReader(std::string name, std::shared_ptr<const ArrayTable> table,
                         const ReaderOptions& options)
    : ArrayReader(std::move(name), viewOf(std::move(table)), options) {}

ArrayReader::ArrayReader(std::string name, ArrayView table, const ReaderOptions& options)
    : name_(std::move(name)), table_(std::move(table)) {
    try {
        schema_ = understandTable(table_.form, options);
    } catch (const Poco::DataFormatException& refusal) {
        throw Poco::DataFormatException(name_ + ": " + refusal.message());
    }
    rows_ = RowBuilder(schema_, options);
}

ArrayReader::Next ArrayReader::next() {
    if (next_ == table_.rows) return Next::kEnd;
    ++next_;
    if (!takeCells()) return Next::kFault;
    const RowBuilder::Taken taken = rows_.take(schema_);
    return taken == RowBuilder::Taken::kRow ? Next::kRow : refuse(rows_.refusal(taken));
}

bool ArrayReader::takeCells() {
    for (std::size_t column = 0; column < rows_.columns(); ++column) {
        if (!rows_.isUsed(column)) continue;
        const double value = cellOf(table_.columns[column], next_ - 1);
        if (std::isinf(value)) {
            refuse({Fault::kNotANumber, fmt::format("column {} ({}) holds '{}', which is no number",
                                                    column + 1, table_.form.columns[column].raw, value)});
            return false;
        }
        rows_.cell(column) = value;
    }
    return true;
}

ArrayReader::Next ArrayReader::refuse(const Refusal& refusal) {
    fault_ = refusal.fault;
    message_ = fmt::format("{}: row {}: {}", name_, next_, refusal.what);
    return Next::kFault;
}

}  // namespace Kavelin::RecordingIO
