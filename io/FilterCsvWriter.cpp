#include "io/FilterCsvWriter.h"

#include <Kavelin/Core/Names.h>
#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "io/RowSamples.h"
#include "io/recording/ColumnNames.h"
#include "io/recording/ResultPath.h"
#include "io/recording/Text.h"
#include "io/writing/TableCollector.h"

namespace Kavelin::RecordingIO {

FilterCsvWriter::FilterCsvWriter(const std::string& name) : Filter(name, true) {}

void FilterCsvWriter::process() {
    if (rows_.value().empty()) {
        writeByTime();
    } else {
        writeRows();
    }
}

/// Samples go into the table in the order of their time stamps, as far as they are there; equal ones in the
/// order of the pins.
void FilterCsvWriter::writeByTime() {
    takeWaiting();
    if (hasFailed_) {
        for (const auto& input : inputs_) input->waits = false;
        return;
    }
    openTable();
    for (std::size_t next = earliest(); next < inputs_.size(); next = earliest()) {
        inputs_[next]->waits = false;
        writing([&] { put(next); });
        takeWaiting();
    }
}

void FilterCsvWriter::writeRows() {
    if (hasFailed_) return drop();
    openTable();
    while (rowPin_->pin.readNext()) {
        const double time = rowPin_->pin.lastTimeStamp();
        writing([&] { rowFile_ ? writeRow(time) : putRow(time); });
    }
    tellRefusals();
}

void FilterCsvWriter::drop() {
    for (const auto& input : inputs_) {
        while (input->pin.readNext()) {
        }
    }
}

void FilterCsvWriter::writeRow(double time) {
    WriteBehind& rows = rowFile_->rows;
    rows.number(time);
    for (const auto& input : inputs_) {
        const std::size_t count = input->names.size();
        const bool isThere = input.get() == rowPin_ || goesOnTo(input->pin, time);
        if (writeCells(rows, input->pin, isThere, count)) [[likely]]
            continue;
        if (!isThere || input->isRefused) continue;
        const Matrix& value = input->pin.value();
        refuse(*input, wrongColumnCount(input->pin.getName(), count, static_cast<std::size_t>(value.rows()),
                                        static_cast<std::size_t>(value.cols())));
    }
    rows.endRow();
}

void FilterCsvWriter::putRow(double time) {
    std::size_t written = 0;
    for (std::size_t i = 0; i < inputs_.size(); ++i) {
        if (inputs_[i].get() != rowPin_ && !goesOnTo(inputs_[i]->pin, time)) continue;
        try {
            put(i);
            ++written;
        } catch (const Poco::DataFormatException& refusal) {
            if (!inputs_[i]->isRefused) refuse(*inputs_[i], refusal.message());
        }
    }
    if (written < inputs_.size()) table_->endRow(time);  // a row with all its cells has ended
}

void FilterCsvWriter::refuse(Column& column, const std::string& why) {
    column.isRefused = true;
    refusals_ += (refusals_.empty() ? "" : "\n") + why;
}

void FilterCsvWriter::tellRefusals() {
    if (refusals_.empty()) return;
    const std::string message = std::move(refusals_);
    refusals_.clear();
    throw Poco::DataFormatException(message);
}

std::string FilterCsvWriter::resultFile() const { return fileName_.get(); }

void FilterCsvWriter::checkRun() {
    if (fileName_.get().empty()) {
        throw Poco::InvalidArgumentException("'" + getName() + "' has no File Name: its samples are dropped");
    }
    requireFit(kind(), fileName_.get(), Core::namesOf(getInputPins()));
    if (kind() == TableKind::kSto) requireQuaternions();
    if (!rows_.get().empty()) requirePin("Rows", rows_.get());
    for (const HeaderEntry& entry : parseHeader(header_.get())) {
        requirePin("Header", entry.pin);
        if (kind() != TableKind::kSto)
            requireColumns(entry.pin, entry.columns.size());
        else if (entry.columns.size() != 1)
            throw Poco::InvalidArgumentException("Header gives '" + entry.pin + "' " +
                                                 counted(entry.columns.size(), "column") +
                                                 "; in a .sto file a sensor has one");
    }
}

void FilterCsvWriter::requireQuaternions() const {
    for (const auto& input : inputs_) {
        const Core::AbstractOutputPin* source = input->pin.getConnectedOutput();
        const Core::PinShape shape = source == nullptr ? Core::PinShape{} : contentSent(*source).shape;
        if (!shape.isFixed() || shape.rows * shape.cols == 4) continue;
        throw Poco::InvalidArgumentException("a .sto file holds quaternions, but '" + source->fullName() +
                                             "' sends " + shapeText(shape));
    }
}

TableKind FilterCsvWriter::kind() const {
    const int format = format_.get();
    return format > 0 ? static_cast<TableKind>(format - 1) : tableKindOf(fileName_.get());
}

std::vector<std::string> FilterCsvWriter::formatLabels() {
    std::vector<std::string> labels = tableKindLabels();
    labels.insert(labels.begin(), "by name");
    return labels;
}

void FilterCsvWriter::requireColumns(const std::string& pin, std::size_t names) const {
    const Core::AbstractOutputPin* source = findInputPin(pin)->getConnectedOutput();
    if (source == nullptr) return;
    const Core::PinShape shape = contentSent(*source).shape;
    if (!shape.isFixed() || shape.rows * shape.cols == static_cast<std::ptrdiff_t>(names)) return;
    throw Poco::InvalidArgumentException("Header gives '" + pin + "' " + counted(names, "column") +
                                         ", but '" + source->fullName() + "' sends " + shapeText(shape));
}

void FilterCsvWriter::requirePin(const char* property, const std::string& pinName) const {
    if (find(pinName) != inputs_.end()) return;
    const std::vector<std::string> pins = Core::namesOf(getInputPins());
    throw Poco::InvalidArgumentException(
        fmt::format("no connection leads to the pin '{}' that {} names; its pins are: {}", pinName, property,
                    pins.empty() ? "none" : listed(pins)));
}

FilterCsvWriter::Columns::const_iterator FilterCsvWriter::find(const std::string& pinName) const {
    return std::find_if(inputs_.begin(), inputs_.end(),
                        [&](const auto& input) { return input->pin.getName() == pinName; });
}

void FilterCsvWriter::prepareRun() {
    notes_.clear();
    ResultFile::requireWritable(fileName_.get());
    isPrepared_ = true;
    for (const auto& input : inputs_) {
        auto* source = input->pin.getSource();
        if (source == nullptr) continue;
        const Matrix& value = source->value();
        input->expected = {static_cast<std::size_t>(value.rows()), static_cast<std::size_t>(value.cols())};
    }
}

/// Its table may get another name before the next sample, or none may come.
void FilterCsvWriter::resumeRun() {
    if (unfinished_ && !hasFailed_) openTable();
}

/// Where the columns are known, a run without rows leaves a table without rows.
void FilterCsvWriter::completeRun() {
    const bool isWanted = isPrepared_ && !hasFailed_;
    isPrepared_ = false;
    resumeRun();
    if (isWanted && !isOpen() && !rows_.get().empty()) {
        arrangeColumns();
        if (knowsColumns()) openTable();
    }
    closeTable();
}

void FilterCsvWriter::closeTable() {
    const std::unique_ptr<TableSink> table = std::move(table_);
    const std::unique_ptr<RowFile> rowFile = std::move(rowFile_);
    unfinished_.reset();
    hasFailed_ = hasLostRows_ = false;
    if (rowFile) rowFile->finish();
    if (!table) return;
    table->finish();
    notes_ = table->notes();
}

void FilterCsvWriter::RowFile::finish() {
    rows.finish();
    file.finish();
}

std::vector<std::string> FilterCsvWriter::runErrors() const {
    const auto hasReceived = [](const auto& input) { return input->pin.getConsumed() > 0; };
    const bool isHeader = !rows_.get().empty() && knowsColumns();  // a table without rows was written
    if (inputs_.empty() || isHeader || std::any_of(inputs_.begin(), inputs_.end(), hasReceived)) return {};
    return {"no sample came: nothing to write to '" + fileName_.get() + "'"};
}

Core::AbstractInputPin* FilterCsvWriter::demandInputPin(const std::string& pinName) {
    if (pinName.empty() || pinName == "t") {
        throw Poco::InvalidArgumentException("'" + pinName +
                                             "' cannot be a pin of a table: t is the time's column");
    }
    requireNoTable("pin");
    return &inputs_.emplace_back(std::make_unique<Column>(pinName, this))->pin;
}

void FilterCsvWriter::requireNoTable(const char* what) const {
    if (hasBegun())
        throw Poco::IllegalStateException("'" + getName() + "' has begun its table: no new " + what + " now");
}

void FilterCsvWriter::openTable() {
    if (isOpen()) return;
    hasFailed_ = true;  // until the table is there
    checkRun();
    hasLostRows_ = true;
    if (unfinished_) {
        openUnfinished();
    } else {
        arrangeColumns();
        openNewTable();
    }
    hasFailed_ = hasLostRows_ = false;
}

void FilterCsvWriter::openUnfinished() {
    const Unfinished from = *std::exchange(unfinished_, {});
    if (from.rows)
        rowFile_ = std::make_unique<RowFile>(fileName_.get(), *from.rows);
    else
        table_ = std::make_unique<TableWriter>(fileName_.get(), *from.table);
}

void FilterCsvWriter::openNewTable() {
    const TableKind kind = this->kind();
    if (kind == TableKind::kCsv && rowPin_ != nullptr && knowsColumns()) {
        openRowFile();
    } else {
        std::unique_ptr<TableSink> table;
        if (kind == TableKind::kCsv)
            table = std::make_unique<TableWriter>(fileName_.get());
        else
            table = std::make_unique<TableCollector>(fileName_.get(), tableFormat(kind));
        for (const auto& input : inputs_) table->add(described(*input, kind));
        table_ = std::move(table);
    }
}

// Snapshots

void FilterCsvWriter::saveState(Core::StateWriter& to) const {
    const std::string& path = fileName_.get();
    if (!path.empty() && (kind() != TableKind::kCsv || resultPath(path).temporary.empty()))
        throw Poco::NotImplementedException(
            "'" + getName() + "': '" + path +
            "' cannot be continued: only a table of text in an ordinary file is written row by row");
    if (hasLostRows_)
        throw Poco::IllegalStateException("'" + getName() + "' has lost rows, as '" + path +
                                          "' could not be written");
    to(settled(), hasFailed_, refusals_);
    for (const auto& input : inputs_) to(input->waits, input->isRefused);
}

std::optional<FilterCsvWriter::Unfinished> FilterCsvWriter::settled() const {
    if (rowFile_) {
        rowFile_->rows.settle();
        return Unfinished{rowFile_->file.place(), {}};
    }
    if (table_) return Unfinished{{}, dynamic_cast<TableWriter&>(*table_).settle()};
    return unfinished_;
}

void FilterCsvWriter::restoreState(Core::StateReader& from) {
    std::optional<Unfinished> unfinished;
    bool hasFailed = false;
    std::string refusals;
    from(unfinished, hasFailed, refusals);
    if (unfinished && unfinished->rows.has_value() == unfinished->table.has_value())
        throw Poco::DataFormatException("its table is neither of rows nor of samples");
    if (unfinished && unfinished->rows)
        ResultFile::requireContinuable(fileName_.get(), *unfinished->rows);
    else if (unfinished)
        TableWriter::requireContinuable(fileName_.get(), *unfinished->table, inputs_.size());
    if (isOpen()) closeTable();
    unfinished_ = std::move(unfinished);
    hasFailed_ = hasFailed;
    refusals_ = std::move(refusals);
    arrangeColumns();
    for (const auto& input : inputs_) from(input->waits, input->isRefused);
}

/// A sensor of a .sto file has one column, with quaternions as its cells.
TableSink::Pin FilterCsvWriter::described(const Column& input, TableKind kind) const {
    const std::string& pin = input.pin.getName();
    if (kind != TableKind::kSto) return {pin, input.names, input.expected};
    return {input.names.empty() ? pin : input.names.front(), columnNames(pin, 1, 4), {1, 4}};
}

void FilterCsvWriter::openRowFile() {
    auto rowFile = std::make_unique<RowFile>(fileName_.get());
    std::string header = "t";
    for (const auto& input : inputs_) {
        for (const std::string& name : input->names) header += "," + headerCell(name);
    }
    rowFile->file.header(header);
    rowFile_ = std::move(rowFile);
}

/// Puts the pins that "Header" names first, in its order; the others follow in theirs.
void FilterCsvWriter::arrangeColumns() {
    for (const auto& input : inputs_) {
        input->names.clear();
        input->isRefused = false;
    }
    auto place = inputs_.begin();
    for (HeaderEntry& entry : parseHeader(header_.get())) {
        const auto found = inputs_.begin() + (find(entry.pin) - inputs_.begin());
        if (found == inputs_.end()) continue;
        (*found)->names = std::move(entry.columns);
        std::rotate(place, found, found + 1);
        ++place;
    }
    const auto rowPin = find(rows_.get());
    rowPin_ = rowPin == inputs_.end() ? nullptr : rowPin->get();
}

bool FilterCsvWriter::knowsColumns() const {
    return std::none_of(inputs_.begin(), inputs_.end(),
                        [](const auto& input) { return input->names.empty(); });
}

void FilterCsvWriter::takeWaiting() {
    for (const auto& input : inputs_) {
        if (!input->waits) input->waits = input->pin.readNext();
    }
}

std::size_t FilterCsvWriter::earliest() const {
    std::size_t best = inputs_.size();
    for (std::size_t i = 0; i < inputs_.size(); ++i) {
        if (!inputs_[i]->waits) continue;
        const bool first = best == inputs_.size();
        if (first || inputs_[i]->pin.lastTimeStamp() < inputs_[best]->pin.lastTimeStamp()) best = i;
    }
    return best;
}

void FilterCsvWriter::put(std::size_t index) {
    const InputPin<Matrix>& pin = inputs_[index]->pin;
    const Matrix& value = pin.value();
    table_->put(index, pin.lastTimeStamp(), value.data(), static_cast<std::size_t>(value.rows()),
                static_cast<std::size_t>(value.cols()));
}

/// What cannot be written ends the table: from then on samples are dropped.
template <class Act>
void FilterCsvWriter::writing(const Act& act) {
    try {
        act();
    } catch (const Poco::WriteFileException&) {
        hasFailed_ = hasLostRows_ = true;
        throw;
    }
}

void FilterCsvWriter::onFileName() { closeTable(); }

void FilterCsvWriter::onRows(const std::string&) {
    requireNoTable("rows");
    for (const auto& input : inputs_) input->waits = false;
}

void FilterCsvWriter::onHeader(const std::string& text) {
    requireNoTable("header");
    parseHeader(text);
}

}  // namespace Kavelin::RecordingIO
