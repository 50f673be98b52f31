#include "io/CollectBehind.h"

#include <utility>

namespace Kavelin::RecordingIO {

CollectBehind::CollectBehind(bool isRelativeToStart) : collector_(isRelativeToStart) {}

CollectBehind::~CollectBehind() {
    exchange_.close();
    if (thread_.joinable()) thread_.join();
}

void CollectBehind::handOver() {
    if (!thread_.joinable()) thread_ = std::thread([this] { run(); });
    isBehind_ = true;
    exchange_.giveFull(std::move(filling_));
    filling_ = exchange_.takeEmpty();
}

EvidenceCollector& CollectBehind::collected() {
    if (isBehind_) {
        std::promise<void> answer;
        filling_->asked = &answer;
        handOver();
        answer.get_future().wait();
        isBehind_ = false;
    } else {
        take(filling_->samples);
    }
    return collector_;
}

void CollectBehind::take(std::vector<ResultSample>& samples) {
    for (const ResultSample& sample : samples) collector_.add(sample);
    samples.clear();
}

// In the thread

void CollectBehind::run() {
    while (std::unique_ptr<Batch> batch = exchange_.takeFull()) {
        take(batch->samples);
        if (std::promise<void>* const asked = std::exchange(batch->asked, nullptr)) asked->set_value();
        exchange_.giveEmpty(std::move(batch));
    }
}

}  // namespace Kavelin::RecordingIO
