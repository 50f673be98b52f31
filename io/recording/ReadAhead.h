#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "io/recording/BatchExchange.h"
#include "io/recording/RowPack.h"
#include "io/recording/RowReader.h"

namespace Kavelin::RecordingIO {

/// Reads a recording in a thread of its own, up to two thousand rows ahead of its user, so that parsing and
/// waiting for the disk run in parallel with the filters. Rows of a live pipe are handed over as they come.
class ReadAhead {
public:
    using Next = RowReader::Next;

    explicit ReadAhead(std::unique_ptr<RowReader> reader);
    /// Ends the thread, also where it waits for bytes.
    ~ReadAhead();
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;

    const Schema& schema() const { return reader_->schema(); }
    const std::string& name() const { return reader_->name(); }
    /// Whether `next` may have to wait for a row: as ByteSource.
    bool mayWait() const { return reader_->mayWait(); }

    /// Advances to the next row, fault or the end, in the file's order; waits for it.
    /// @return nothing when `interrupt` broke the wait: the next call goes on where this one was.
    std::optional<Next> next();

    /// The row that `next` found, and the fault that it reported last; valid until the next `next`.
    const Row& row() const { return row_; }
    Fault fault() const { return taken_->faults[fault_].kind; }
    const std::string& message() const { return taken_->faults[fault_].message; }

    /// Share of the file, 0 to 1, that the rows taken so far make up; NaN for a stream without a length.
    double progress() const;

    /// From here on `next` does not wait; one that is waiting returns. [any thread]
    void interrupt() { exchange_.setInterrupted(true); }
    /// `next` waits again.  [any thread]
    void resume() { exchange_.setInterrupted(false); }

private:
    struct FaultEntry {
        Fault kind;
        std::string message;
    };
    /// What the reader met on a stretch of lines.
    struct Batch {
        std::vector<Next> met;
        RowPack rows;
        std::vector<FaultEntry> faults;
        std::uint64_t begin = 0, consumed = 0;  // bytes of the file before it, and up to here
    };

    void run();
    void fill(Batch& batch);
    bool takeBatch();

    std::unique_ptr<RowReader> reader_;  // the thread's, but for what never changes
    bool ended_ = false;                 // the thread's: it has met the end
    BatchExchange<Batch> exchange_;

    // Of the thread that takes the rows.
    std::unique_ptr<Batch> taken_;
    std::size_t met_ = 0;    // index of the next of `taken_`
    Row row_;                // the present one
    std::size_t fault_ = 0;  // index of the present fault
    std::size_t rowsTaken_ = 0;
    std::size_t faultsTaken_ = 0;

    std::thread thread_;
};

}  // namespace Kavelin::RecordingIO
