#pragma once

#include "cli/fleet/BatchRows.h"
#include "io/recording/CellReader.h"

namespace Kavelin::Cli {

/// Lines of text, as those of a recording: empty ones and comments are passed over.
class CsvRows : public BatchRows {
public:
    /// @param columns as openBatch
    CsvRows(std::string_view payload, const std::string& columns);

    std::vector<std::string> firstLines(char separator) const override;
    Next next(const RecordingIO::Schema& schema, RecordingIO::RowBuilder& cells) override;

private:
    void requireNoUnits(std::string_view names) const;
    void takeHeader(const std::string& known);

    std::string_view rest_;
    RecordingIO::CellReader reader_;
};

}  // namespace Kavelin::Cli
