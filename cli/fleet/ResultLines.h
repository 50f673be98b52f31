#pragma once

#include <Kavelin/Typed/FilterKit.h>
#include <Kavelin/Typed/State.h>

#include <memory>
#include <string>
#include <vector>

#include "io/recording/ColumnNames.h"
#include "io/recording/RowText.h"

namespace Kavelin::Cli {

/// The lines that FilterCsvWriter would write of the same samples with "Rows", in memory.
class ResultLines : public OrientationInternal::Filter, public Core::WithoutState {
public:
    /// Makes an input for each entry; the samples of the first make the rows.
    ResultLines(const std::string& name, const std::vector<RecordingIO::HeaderEntry>& columns);

    void process() override;  // [layout thread]
    std::string typeName() const override { return "ResultLines"; }

    /// The line of column names, without its end.
    const std::string& header() const { return header_; }
    /// The rows since it was cut last.
    RecordingIO::RowText& rows() { return rows_; }

private:
    struct Column {
        OrientationInternal::InputPin<Core::Matrix> pin;
        std::size_t size;
    };

    std::vector<std::unique_ptr<Column>> columns_;
    std::string header_ = "t";
    RecordingIO::RowText rows_;
};

}  // namespace Kavelin::Cli
