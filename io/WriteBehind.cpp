#include "io/WriteBehind.h"

#include <algorithm>

namespace Kavelin::RecordingIO {

namespace {

constexpr std::size_t kBatches = 4;
constexpr std::size_t kBatchRows = 256;

}  // namespace

WriteBehind::WriteBehind(ResultFile& file) : file_(file), exchange_(kBatches), batch_(exchange_.takeEmpty()) {
    thread_ = std::thread([this] { run(); });
}

WriteBehind::~WriteBehind() {
    try {
        finish();
    } catch (const Poco::Exception&) {
        // The rows that found room are kept; there is nobody left to tell.
    }
}

void WriteBehind::endRow() {
    batch_->rowEnds.push_back(batch_->values.size());
    if (batch_->rowEnds.size() == kBatchRows) {
        exchange_.giveFull(std::move(batch_));
        batch_ = exchange_.takeEmpty();
    }
    raiseFailure();
}

void WriteBehind::finish() {
    if (!thread_.joinable()) return;
    exchange_.giveFull(std::move(batch_));
    exchange_.close();
    thread_.join();
    raiseFailure();
}

void WriteBehind::raiseFailure() {
    if (!hasFailed_.load(std::memory_order_acquire)) return;
    hasFailed_.store(false);
    const std::unique_ptr<Poco::Exception> failure = std::move(failure_);
    failure->rethrow();
}

void WriteBehind::run() {
    bool isWritable = true;
    while (std::unique_ptr<Batch> batch = exchange_.takeFull()) {
        try {
            if (isWritable) write(*batch);
        } catch (const Poco::Exception& failure) {
            isWritable = false;
            failure_.reset(failure.clone());
            hasFailed_.store(true, std::memory_order_release);
        }
        batch->values.clear();
        batch->isPresent.clear();
        batch->rowEnds.clear();
        exchange_.giveEmpty(std::move(batch));
    }
}

void WriteBehind::write(const Batch& batch) {
    std::size_t begin = 0;
    for (const std::size_t end : batch.rowEnds) {
        writeRow(batch, begin, end);
        begin = end;
    }
}

/// Neighbours that are all there, or all absent, go together.
void WriteBehind::writeRow(const Batch& batch, std::size_t begin, std::size_t end) {
    file_.number(batch.values[begin]);
    for (std::size_t at = begin + 1; at < end;) {
        const bool present = batch.isPresent[at];
        std::size_t stop = at + 1;
        while (stop < end && batch.isPresent[stop] == present) ++stop;
        if (present) {
            file_.cells(batch.values.data() + at, stop - at);
        } else {
            file_.emptyCells(stop - at);
        }
        at = stop;
    }
    file_.endRow();
}

}  // namespace Kavelin::RecordingIO
