#include "io/recording/ArrayReader.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

ArrayReader::ArrayReader(std::string name, std::shared_ptr<const ArrayTable> table,
                         const ReaderOptions& options)
    : name_(std::move(name)), table_(std::move(table)) {
    try {
        schema_ = understandTable(table_->form, options);
    } catch (const Poco::DataFormatException& refusal) {
        throw Poco::DataFormatException(name_ + ": " + refusal.message());
    }
    rows_ = RowBuilder(schema_, options);
    size_ = table_->columns.empty() ? 0 : table_->columns.front().size();
}

ArrayReader::Next ArrayReader::next() {
    if (next_ == size_) return Next::kEnd;
    for (std::size_t column = 0; column < rows_.columns(); ++column) {
        if (rows_.isUsed(column)) rows_.cell(column) = table_->columns[column][next_];
    }
    ++next_;
    const RowBuilder::Taken taken = rows_.take(schema_);
    if (taken == RowBuilder::Taken::kRow) return Next::kRow;
    const bool isBackwards = taken == RowBuilder::Taken::kBackwards;
    fault_ = isBackwards ? Fault::kTimeBackwards : Fault::kNoTime;
    message_ = fmt::format("{}: row {}: ", name_, next_);
    message_ += isBackwards ? rows_.backwardsText() : "the row has no time stamp";
    return Next::kFault;
}

}  // namespace Kavelin::RecordingIO
