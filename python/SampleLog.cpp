#include "python/SampleLog.h"

namespace Kavelin::Python {

using Core::Matrix;

void SampleTable::add(double t, const Matrix& value, std::size_t expected) {
    const Core::PinShape its = Core::shapeOf(value);
    const auto size = static_cast<std::size_t>(value.size());
    if (stamps.empty()) {
        shape = its;
        stamps.reserve(expected);
        elements.reserve(expected * size);
    } else if (unlike.empty() && its != shape) {
        const std::ptrdiff_t each = shape.rows * shape.cols;
        for (std::size_t i = 0; i < stamps.size(); ++i)
            unlike.emplace_back(Eigen::Map<const Matrix>(
                elements.data() + static_cast<std::ptrdiff_t>(i) * each, shape.rows, shape.cols));
        elements = {};
    }
    if (unlike.empty())
        elements.insert(elements.end(), value.data(), value.data() + size);
    else
        unlike.push_back(value);
    stamps.push_back(t);
}

void SampleLog::receive(const Sample& sample) {
    if (table_ != nullptr) {
        table_->add(sample.timeStamp, sample.value, expected_);
        return;
    }
    if (queue_.size() == kQueue) {
        queue_.pop_front();
        ++dropped_;
    }
    queue_.push_back(sample);
}

}  // namespace Kavelin::Python
