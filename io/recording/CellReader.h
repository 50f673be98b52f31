#pragma once

#include <string_view>

#include "io/recording/Fault.h"
#include "io/recording/RowBuilder.h"
#include "io/recording/Schema.h"

namespace Kavelin::RecordingIO {

/// Reads the cells of a row of text.
class CellReader {
public:
    /// Fills the cells of `rows` from a line.  @param isTerminated false: the line ended with the file
    /// @return false where a cell cannot be read, or there are too few or too many: see `refusal`.
    bool read(std::string_view line, bool isTerminated, const Schema& schema, RowBuilder& rows);
    /// Of the line read last.
    const Refusal& refusal() const { return refusal_; }

private:
    /// A line, and what it is read by.
    struct Line {
        const char* end;
        bool isTerminated;
        const Schema& schema;
        RowBuilder& rows;
    };

    bool refuse(Refusal refusal);
    bool refuseShortRow(const Line& line, std::size_t cells);
    const char* readUncommonCell(const Line& line, const char* at, std::size_t column);
    bool refuseExtraCells(const Line& line, const char* at);

    Refusal refusal_;
};

}  // namespace Kavelin::RecordingIO
