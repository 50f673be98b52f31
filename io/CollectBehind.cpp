#include "io/CollectBehind.h"

#include <utility>

namespace Kavelin::RecordingIO {

CollectBehind::CollectBehind(bool isRelativeToStart) : collector_(isRelativeToStart) {
    thread_ = std::thread([this] { run(); });
}

CollectBehind::~CollectBehind() {
    exchange_.close();
    thread_.join();
}

void CollectBehind::handOver() {
    exchange_.giveFull(std::move(filling_));
    filling_ = exchange_.takeEmpty();
}

Evidence CollectBehind::evidence() {
    std::promise<Evidence> answer;
    filling_->asked = &answer;
    handOver();
    return answer.get_future().get();
}

// In the thread

void CollectBehind::run() {
    while (std::unique_ptr<Batch> batch = exchange_.takeFull()) {
        for (const ResultSample& sample : batch->samples) collector_.add(sample);
        batch->samples.clear();
        if (std::promise<Evidence>* const asked = std::exchange(batch->asked, nullptr))
            asked->set_value(collector_.evidence());
        exchange_.giveEmpty(std::move(batch));
    }
}

}  // namespace Kavelin::RecordingIO
