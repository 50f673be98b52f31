#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "io/writing/CollectedTable.h"

namespace Kavelin::RecordingIO {

/// How a table is written.
enum class TableKind { kCsv, kSto, kMat, kNpz, kNpy };

/// The labels of the kinds, in their order: "csv", "sto", ...
const std::vector<std::string>& tableKindLabels();

/// The kind by the name's ending; names without a known ending, and "-", are tables of comma-separated values.
/// Raises Poco::InvalidArgumentException where the ending is that of a format that is not written.
TableKind tableKindOf(const std::string& path);

/// A kind of file that is written as a whole, when all rows are there.
struct TableFormat {
    /// Writes the table, all or nothing.  Raises Poco::CreateFileException, Poco::WriteFileException.
    void (*write)(const CollectedTable& table, const std::string& path);
    /// What a reader of the file should know, one sentence each; null: nothing.
    std::vector<std::string> (*notes)(const CollectedTable& table) = nullptr;
    /// The most numbers of one array.
    std::size_t mostValues = std::numeric_limits<std::size_t>::max();
};

/// The format of a kind other than kCsv.
const TableFormat& tableFormat(TableKind kind);

/// Makes sure that a table of that kind can go to `path` and hold arrays of these names; opens nothing. Raises
/// Poco::InvalidArgumentException.
void requireFit(TableKind kind, const std::string& path, const std::vector<std::string>& names);

}  // namespace Kavelin::RecordingIO
