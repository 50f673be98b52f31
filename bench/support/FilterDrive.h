#pragma once

#include <Kavelin/Core/AbstractProperty.h>
#include <Kavelin/Core/ConnectionOptions.h>
#include <Kavelin/Core/Filter.h>
#include <Kavelin/Typed/InputPin.h>
#include <Kavelin/Typed/OutputPin.h>

#include <memory>
#include <vector>

namespace Kavelin::Tests {

/// Drives one filter through real pins as a layout in one thread does: an output pin feeds each input pin
/// through its default buffer, and each output pin is read.
class DrivenFilter {
public:
    /// Connects a filter; it must go before this does, so that its pins detach from those here.
    void attach(Core::Filter& filter) {
        filter_ = &filter;
        for (Core::AbstractInputPin* input : filter.getInputPins()) {
            feeders_.push_back(std::make_unique<Core::OutputPin<Core::Matrix>>(input->getName(), nullptr));
            Core::connect(*feeders_.back(), *input, {.direct = true});
        }
        for (Core::AbstractOutputPin* output : filter.getOutputPins()) {
            takers_.push_back(std::make_unique<Core::InputPin<Core::Matrix>>(output->getName(), nullptr));
            Core::connect(*output, *takers_.back(), {.direct = true});
        }
    }

    /// Sends one sample to the input pin that was created as number `input`.
    template <class Value>
    void send(std::size_t input, double t, const Value& value) {
        feeders_[input]->value() = value;
        feeders_[input]->send(t);
    }
    /// Calls process once and reads what came out; gives the number of samples read.
    int process() {
        filter_->processOnce();
        int count = 0;
        for (const auto& taker : takers_) count += taker->readNext() ? 1 : 0;
        return count;
    }
    /// The sample that output pin number `output` sent last and `process` read.
    const Core::Matrix& received(std::size_t output) const { return takers_[output]->value(); }
    bool hasReceived(std::size_t output) const { return takers_[output]->hasValue(); }
    /// Writes a property from its text form.
    void set(const char* property, const char* text) {
        filter_->getPropertyBag().get(property).deSerialize(text);
    }

private:
    Core::Filter* filter_ = nullptr;
    std::vector<std::unique_ptr<Core::OutputPin<Core::Matrix>>> feeders_;
    std::vector<std::unique_ptr<Core::InputPin<Core::Matrix>>> takers_;
};

/// The same with a filter of its own.
template <class F>
class FilterDrive : public DrivenFilter {
public:
    FilterDrive() { attach(filter_); }
    F& filter() { return filter_; }

private:
    F filter_{"benched"};
};

}  // namespace Kavelin::Tests
