#include "io/FilterCsvWriter.h"

#include <Poco/Exception.h>

namespace Kavelin::RecordingIO {

FilterCsvWriter::FilterCsvWriter(const std::string& name) : Filter(name, true) {}

/// Samples go into the table in the order of their time stamps, as far as they are there; equal ones in the
/// order of the pins.
void FilterCsvWriter::process() {
    takeWaiting();
    if (hasFailed_) {
        for (const auto& input : inputs_) input->waits = false;
        return;
    }
    openTable();
    for (std::size_t next = earliest(); next < inputs_.size(); next = earliest()) {
        inputs_[next]->waits = false;
        write(next);
        takeWaiting();
    }
}

std::string FilterCsvWriter::resultFile() const { return fileName_.get(); }

void FilterCsvWriter::checkRun() {
    if (fileName_.get().empty()) {
        throw Poco::InvalidArgumentException("'" + getName() + "' has no File Name: its samples are dropped");
    }
    requireTableName(fileName_.get());
}

void FilterCsvWriter::prepareRun() {
    ResultFile::requireWritable(fileName_.get());
    for (const auto& input : inputs_) {
        auto* source = input->pin.getSource();
        if (source == nullptr) continue;
        const Matrix& value = source->value();
        input->expected = {static_cast<std::size_t>(value.rows()), static_cast<std::size_t>(value.cols())};
    }
}

void FilterCsvWriter::completeRun() {
    const std::unique_ptr<TableWriter> table = std::move(table_);
    hasFailed_ = false;
    if (table) table->finish();
}

Core::AbstractInputPin* FilterCsvWriter::demandInputPin(const std::string& pinName) {
    if (pinName.empty() || pinName == "t") {
        throw Poco::InvalidArgumentException("'" + pinName +
                                             "' cannot be a pin of a table: t is the time's column");
    }
    if (table_) throw Poco::IllegalStateException("'" + getName() + "' has begun its table: no new pin now");
    return &inputs_.emplace_back(std::make_unique<Column>(pinName, this))->pin;
}

void FilterCsvWriter::openTable() {
    if (table_) return;
    hasFailed_ = true;  // until the table is there
    checkRun();
    auto table = std::make_unique<TableWriter>(fileName_.get());
    for (const auto& input : inputs_) table->addPin(input->pin.getName(), input->expected);
    table_ = std::move(table);
    hasFailed_ = false;
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

void FilterCsvWriter::write(std::size_t index) {
    const InputPin<Matrix>& pin = inputs_[index]->pin;
    const Matrix& value = pin.value();
    try {
        table_->put(index, pin.lastTimeStamp(), value.data(), static_cast<std::size_t>(value.rows()),
                    static_cast<std::size_t>(value.cols()));
    } catch (const Poco::WriteFileException&) {
        hasFailed_ = true;
        throw;
    }
}

void FilterCsvWriter::onFileName() { completeRun(); }

}  // namespace Kavelin::RecordingIO
