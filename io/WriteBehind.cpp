#include "io/WriteBehind.h"

namespace Kavelin::RecordingIO {

namespace {

constexpr std::size_t kBatches = 4;
constexpr std::size_t kBatchRows = 512;

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
    batch_->groups.push_back(0);
    if (++batch_->rows == kBatchRows) {
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
        batch->groups.clear();
        batch->used = batch->rows = 0;
        exchange_.giveEmpty(std::move(batch));
    }
}

void WriteBehind::write(const Batch& batch) {
    const double* value = batch.values.data();
    auto group = batch.groups.begin();
    for (std::size_t row = 0; row < batch.rows; ++row) {
        file_.number(*value++);
        for (; *group != 0; ++group) {
            if (*group > 0) {
                file_.cells(value, static_cast<std::size_t>(*group));
                value += *group;
            } else {
                file_.emptyCells(static_cast<std::size_t>(-*group));
            }
        }
        ++group;
        file_.endRow();
    }
}

}  // namespace Kavelin::RecordingIO
