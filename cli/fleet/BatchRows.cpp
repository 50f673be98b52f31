#include "cli/fleet/BatchRows.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <utility>

#include "cli/fleet/CborRows.h"
#include "cli/fleet/CsvRows.h"
#include "io/recording/TableForm.h"
#include "io/recording/TableWriter.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

namespace {

constexpr std::size_t kLongestHeader = 16384;

}  // namespace

std::string plainColumns(std::string_view header) {
    if (header.starts_with("\xEF\xBB\xBF")) header.remove_prefix(3);
    if (header.ends_with('\n')) header.remove_suffix(1);
    if (header.ends_with('\r')) header.remove_suffix(1);
    if (header.size() > kLongestHeader)
        throw Poco::DataFormatException(fmt::format(
            "the names of the columns take {} bytes; at most {} are read", header.size(), kLongestHeader));
    const RecordingIO::TableForm form = RecordingIO::formOfHeader(header);
    std::string plain;
    for (const RecordingIO::ColumnName& column : form.columns) {
        if (!plain.empty() || &column != &form.columns.front()) plain += form.separator;
        plain += RecordingIO::headerCell(column.raw);
    }
    return plain;
}

std::unique_ptr<BatchRows> openBatch(std::string_view payload, const std::string& columns) {
    if (CborRows::isCbor(payload)) return std::make_unique<CborRows>(payload, columns);
    return std::make_unique<CsvRows>(payload, columns);
}

}  // namespace Kavelin::Cli
