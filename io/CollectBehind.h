#pragma once

#include <cstddef>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "evaluation/EvidenceCollector.h"
#include "io/recording/BatchExchange.h"

namespace Kavelin::RecordingIO {

/// Collects evidence in a thread of its own, some hundred rows behind: it costs as much as half an estimator, and no
/// row waits for it. Where less than a batch comes between two questions, no thread is needed, and none is made.
class CollectBehind {
public:
    /// @param isRelativeToStart as that of EvidenceCollector
    explicit CollectBehind(bool isRelativeToStart);
    ~CollectBehind();
    CollectBehind(const CollectBehind&) = delete;
    CollectBehind& operator=(const CollectBehind&) = delete;

    /// @param sample its time not before that of the last one
    void add(const ResultSample& sample) {
        filling_->samples.push_back(sample);
        if (filling_->samples.size() == kBatchRows) handOver();
    }
    /// Of all samples added so far; waits for the thread to come to their end.
    Evidence evidence() { return collected().evidence(); }
    /// The same with all that is collected; to be read and changed until the next `add`.
    EvidenceCollector& collected();

private:
    static constexpr std::size_t kBatchRows = 384;
    static constexpr std::size_t kBatches = 2;  // one of them is being filled

    struct Batch {
        Batch() { samples.reserve(kBatchRows); }

        std::vector<ResultSample> samples;
        std::promise<void>* asked = nullptr;  // kept when they have been taken
    };

    void handOver();
    void take(std::vector<ResultSample>& samples);
    void run();

    EvidenceCollector collector_;  // the thread's, while it is behind
    bool isBehind_ = false;        // the thread may have batches to take
    BatchExchange<Batch> exchange_{kBatches};
    std::unique_ptr<Batch> filling_ = exchange_.takeEmpty();
    std::thread thread_;
};

}  // namespace Kavelin::RecordingIO
