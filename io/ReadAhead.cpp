#include "io/ReadAhead.h"

#include <limits>

namespace Kavelin::RecordingIO {

namespace {

constexpr std::size_t kBatches = 4;
constexpr std::size_t kBatchLines = 256;

}  // namespace

ReadAhead::ReadAhead(RecordingReader reader) : reader_(std::move(reader)), taken_(std::make_unique<Batch>()) {
    for (std::size_t i = 0; i < kBatches; ++i) empty_.push_back(std::make_unique<Batch>());
    thread_ = std::thread([this] { run(); });
}

ReadAhead::~ReadAhead() {
    {
        const std::lock_guard lock(mutex_);
        closing_ = true;
    }
    changed_.notify_all();
    reader_.close();
    thread_.join();
}

// In the reading thread
// --------------------------------------------------------------------------------------------

void ReadAhead::run() {
    while (!ended_) {
        std::unique_ptr<Batch> batch = emptyBatch();
        if (!batch) return;
        fill(*batch);
        handOver(std::move(batch));
    }
}

/// Until the batch is full, or bytes would have to be waited for while there is something to hand over.
void ReadAhead::fill(Batch& batch) {
    std::size_t rows = 0;
    batch.met.clear();
    batch.faults.clear();
    do {
        const Next next = reader_.next();
        batch.met.push_back(next);
        if (next == Next::kRow) {
            if (rows == batch.rows.size()) batch.rows.emplace_back();
            batch.rows[rows++] = reader_.row();
        } else if (next == Next::kFault) {
            batch.faults.push_back({reader_.fault(), reader_.message()});
        }
        ended_ = next == Next::kEnd;
    } while (!ended_ && batch.met.size() < kBatchLines && reader_.hasNextLine());
    batch.consumed = reader_.source().consumed();
}

std::unique_ptr<ReadAhead::Batch> ReadAhead::emptyBatch() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return closing_ || !empty_.empty(); });
    if (closing_) return nullptr;
    std::unique_ptr<Batch> batch = std::move(empty_.back());
    empty_.pop_back();
    return batch;
}

void ReadAhead::handOver(std::unique_ptr<Batch> batch) {
    {
        const std::lock_guard lock(mutex_);
        full_.push_back(std::move(batch));
    }
    changed_.notify_all();
}

// Whoever takes the rows
// -------------------------------------------------------------------------------------------

std::optional<ReadAhead::Next> ReadAhead::next() {
    if (met_ == taken_->met.size() && !takeBatch()) return std::nullopt;
    const Next next = taken_->met[met_];
    if (next == Next::kEnd) return next;  // and again, for who asks again
    ++met_;
    if (next == Next::kRow) row_ = rowsTaken_++;
    if (next == Next::kFault) fault_ = faultsTaken_++;
    return next;
}

bool ReadAhead::takeBatch() {
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return interrupted_ || !full_.empty(); });
        if (full_.empty()) return false;
        empty_.push_back(std::move(taken_));
        taken_ = std::move(full_.front());
        full_.pop_front();
    }
    changed_.notify_all();
    met_ = rowsTaken_ = faultsTaken_ = 0;
    return true;
}

double ReadAhead::progress() const {
    const std::uint64_t total = reader_.source().total();
    if (total == 0) return std::numeric_limits<double>::quiet_NaN();
    return static_cast<double>(taken_->consumed) / static_cast<double>(total);
}

void ReadAhead::interrupt() {
    {
        const std::lock_guard lock(mutex_);
        interrupted_ = true;
    }
    changed_.notify_all();
}

void ReadAhead::resume() {
    const std::lock_guard lock(mutex_);
    interrupted_ = false;
}

}  // namespace Kavelin::RecordingIO
