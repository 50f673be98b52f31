#include "io/recording/ReadAhead.h"

#include <limits>

namespace Kavelin::RecordingIO {

namespace {

constexpr std::size_t kBatches = 3;  // one of them is with the reader of the rows
constexpr std::size_t kBatchLines = 768;

}  // namespace

ReadAhead::ReadAhead(std::unique_ptr<RowReader> reader)
    : reader_(std::move(reader)), exchange_(kBatches), taken_(exchange_.takeEmpty()) {
    thread_ = std::thread([this] { run(); });
}

ReadAhead::~ReadAhead() {
    exchange_.close();
    reader_->close();
    thread_.join();
}

// In the reading thread

void ReadAhead::run() {
    while (!ended_) {
        std::unique_ptr<Batch> batch = exchange_.takeEmpty();
        if (!batch) return;
        fill(*batch);
        exchange_.giveFull(std::move(batch));
    }
}

/// Until the batch is full, or reading on would mean waiting while there is something to hand over.
void ReadAhead::fill(Batch& batch) {
    batch.met.clear();
    batch.rows.clear();
    batch.faults.clear();
    batch.begin = reader_->consumed();
    do {
        const Next next = reader_->next();
        batch.met.push_back(next);
        if (next == Next::kRow) {
            batch.rows.add(reader_->row());
        } else if (next == Next::kFault) {
            batch.faults.push_back({reader_->fault(), reader_->message()});
        }
        ended_ = next == Next::kEnd;
    } while (!ended_ && batch.met.size() < kBatchLines && reader_->isReady());
    batch.consumed = reader_->consumed();
}

// In the thread that takes the rows

std::optional<ReadAhead::Next> ReadAhead::next() {
    if (met_ == taken_->met.size() && !takeBatch()) return std::nullopt;
    const Next next = taken_->met[met_];
    if (next == Next::kEnd) return next;  // again at each further call
    ++met_;
    if (next == Next::kRow) taken_->rows.get(rowsTaken_++, row_);
    if (next == Next::kFault) fault_ = faultsTaken_++;
    return next;
}

bool ReadAhead::takeBatch() {
    std::unique_ptr<Batch> next = exchange_.takeFull();
    if (!next) return false;
    std::swap(taken_, next);
    exchange_.giveEmpty(std::move(next));
    met_ = rowsTaken_ = faultsTaken_ = 0;
    return true;
}

double ReadAhead::progress() const {
    const std::uint64_t total = reader_->total();
    if (total == 0) return std::numeric_limits<double>::quiet_NaN();
    const auto begin = static_cast<double>(taken_->begin), end = static_cast<double>(taken_->consumed);
    const double share =
        taken_->met.empty() ? 0.0 : static_cast<double>(met_) / static_cast<double>(taken_->met.size());
    return (begin + share * (end - begin)) / static_cast<double>(total);
}

}  // namespace Kavelin::RecordingIO
