#include "cli/fleet/ResultLines.h"

#include "io/RowSamples.h"
#include "io/recording/TableWriter.h"

namespace Kavelin::Cli {

ResultLines::ResultLines(const std::string& name, const std::vector<RecordingIO::HeaderEntry>& columns)
    : Filter(name, true) {
    for (const RecordingIO::HeaderEntry& entry : columns) {
        columns_.push_back(std::unique_ptr<Column>(
            new Column{{entry.pin, this, OrientationInternal::AnyTime{}}, entry.columns.size()}));
        for (const std::string& column : entry.columns) header_ += "," + RecordingIO::headerCell(column);
    }
}

void ResultLines::process() {
    const auto& first = columns_.front();
    while (first->pin.readNext()) {
        const double time = first->pin.lastTimeStamp();
        rows_.number(time);
        for (const auto& column : columns_) {
            const bool isThere = column == first || RecordingIO::goesOnTo(column->pin, time);
            RecordingIO::writeCells(rows_, column->pin, isThere, column->size);
        }
        rows_.endRow();
    }
}

}  // namespace Kavelin::Cli
