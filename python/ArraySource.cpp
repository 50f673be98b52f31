#include "python/ArraySource.h"

#include <Kavelin/Core/ConnectionOptions.h>

#include <algorithm>
#include <cmath>

namespace Kavelin::Python {

using Core::Matrix;

ArraySource::Output* ArraySource::find(const std::string& pin) const {
    const auto found = std::find_if(outputs_.begin(), outputs_.end(),
                                    [&](const auto& output) { return output->getName() == pin; });
    return found == outputs_.end() ? nullptr : found->get();
}

void ArraySource::feed(Core::AbstractInputPin& input) {
    Output* output = find(input.getName());
    if (output == nullptr) {
        Core::PinContent content = input.content();
        content.takes = nullptr;
        output = outputs_.emplace_back(std::make_unique<Output>(input.getName(), this, content)).get();
    }
    if (input.getConnectedOutput() != output) Core::connect(*output, input);
}

bool ArraySource::send(Output& output, double t, const double* values, Core::PinShape shape) {
    const std::ptrdiff_t size = shape.rows * shape.cols;
    if (std::any_of(values, values + size, [](double element) { return std::isnan(element); })) return false;
    output.value() = Eigen::Map<const Matrix>(values, shape.rows, shape.cols);
    output.send(t);
    return true;
}

bool ArraySource::send(const std::string& pin, double t, const double* values, Core::PinShape shape) {
    return send(*find(pin), t, values, shape);
}

void ArraySource::load(const std::vector<Stream>& streams) {
    lanes_.clear();
    for (const Stream& stream : streams) lanes_.push_back({.stream = stream, .output = find(stream.pin)});
    findNext();
}

void ArraySource::process() {
    for (Lane& lane : lanes_) {
        const Stream& stream = lane.stream;
        Progress& its = lane.progress;
        if (its.done == stream.count || stream.stamps[its.done] > next_) continue;
        const auto each = static_cast<std::size_t>(stream.shape.rows * stream.shape.cols);
        const double* const values = stream.values + its.done++ * each;
        if (std::any_of(values, values + each, [](double element) { return std::isinf(element); }))
            ++its.infinite;
        else if (!send(*lane.output, next_, values, stream.shape))
            ++its.missing;
    }
    findNext();
}

void ArraySource::findNext() {
    hasNext_ = false;
    for (const Lane& lane : lanes_) {
        if (lane.progress.done == lane.stream.count) continue;
        const double t = lane.stream.stamps[lane.progress.done];
        if (!hasNext_ || t < next_) next_ = t;
        hasNext_ = true;
    }
}

}  // namespace Kavelin::Python
