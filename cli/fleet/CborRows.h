#pragma once

#include <cstdint>

#include "cli/fleet/BatchRows.h"

namespace Kavelin::Cli {

/// Rows of numbers in CBOR (RFC 8949).
class CborRows : public BatchRows {
public:
    /// Whether a payload is none of text: it begins as an array or a map does, or with the mark of CBOR.
    static bool isCbor(std::string_view payload);

    /// @param columns as openBatch
    CborRows(std::string_view payload, const std::string& columns);

    std::vector<std::string> firstLines(char separator) const override;
    Next next(const RecordingIO::Schema& schema, RecordingIO::RowBuilder& cells) override;

    /// What the payload holds.
    struct Content {
        struct Row {
            std::size_t begin;  ///< of its cells, among all
            std::size_t end;
        };

        std::vector<double> cells;  ///< NaN: null; infinite: neither that nor a number
        std::vector<Row> rows;
        std::vector<std::string> columns;
        bool hasColumns = false;
        bool hasRows = false;
    };

private:
    Content content_;
    std::size_t next_ = 0;
};

}  // namespace Kavelin::Cli
