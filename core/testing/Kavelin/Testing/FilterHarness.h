#pragma once

#include <Kavelin/Core/CommandProperty.h>
#include <Kavelin/Core/ConnectionOptions.h>
#include <Kavelin/Core/Filter.h>
#include <Kavelin/Typed/InputPin.h>
#include <Kavelin/Typed/OutputPin.h>

#include <initializer_list>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace Kavelin::Tests {

using Core::Matrix;

/// A 1xN row.
inline Matrix row(std::initializer_list<double> values) {
    Matrix matrix(1, static_cast<Eigen::Index>(values.size()));
    Eigen::Index i = 0;
    for (const double value : values) matrix(0, i++) = value;
    return matrix;
}

/// An Nx1 column.
inline Matrix column(std::initializer_list<double> values) { return row(values).transpose(); }

/// What a filter sent: pin, time stamp, value.
struct Sent {
    std::string pin;
    double t;
    Matrix value;
};

/// Hears what one output pin sends, in the moment of sending.
class ListeningPin final : public Core::InputPin<Matrix> {
public:
    ListeningPin(const std::string& name, std::vector<Sent>& log)
        : Pin(name, nullptr), Core::InputPin<Matrix>(name, nullptr), log_(log) {}
    void receive(const Core::TimeStampedData<Matrix>& sample) override {
        log_.push_back({getName(), sample.timeStamp, sample.value});
    }

private:
    std::vector<Sent>& log_;
};

/// Drives one filter alone: feeds its input pins, calls process, keeps what it sends.
template <class F>
class FilterHarness {
public:
    explicit FilterHarness(const std::string& name = "under test") : filter_(std::make_unique<F>(name)) {
        for (Core::AbstractOutputPin* output : filter_->getOutputPins()) {
            listeners_.push_back(std::make_unique<ListeningPin>(output->getName(), log_));
            output->attachInput(*listeners_.back(), true);
        }
    }

    F& filter() { return *filter_; }

    /// Puts one sample into an input pin (a FIFO of 1024 unless `feeding` said otherwise).
    void feed(const std::string& pin, double t, const Matrix& value) {
        Core::OutputPin<Matrix>& feeder = feeding(pin, {});
        feeder.value() = value;
        feeder.send(t);
    }
    void process(int times = 1) {
        for (int i = 0; i < times; ++i) filter_->processOnce();
    }
    /// Everything sent since the last `clear`, in order.
    const std::vector<Sent>& sends() const { return log_; }
    /// The same for one pin.
    std::vector<Sent> sent(const std::string& pin) const {
        std::vector<Sent> some;
        for (const Sent& one : log_) {
            if (one.pin == pin) some.push_back(one);
        }
        return some;
    }
    void clear() { log_.clear(); }

    /// Writes a property from its text form.
    void set(const std::string& property, const std::string& text) {
        filter_->getPropertyBag().get(property).deSerialize(text);
    }
    /// The same for each of "name=text name=text ...".
    void setAll(const std::string& assignments) {
        std::istringstream words(assignments);
        for (std::string word; words >> word;) {
            const std::size_t at = word.find('=');
            set(word.substr(0, at), word.substr(at + 1));
        }
    }
    std::string get(const std::string& property) const {
        std::string text;
        filter_->getPropertyBag().get(property).serialize(text);
        return text;
    }
    void command(const std::string& property) {
        dynamic_cast<Core::CommandProperty&>(filter_->getPropertyBag().get(property)).activate();
    }
    /// The output pin that feeds an input pin, connected at the first call with these options.
    Core::OutputPin<Matrix>& feeding(const std::string& pin, const Core::ConnectionOptions& options) {
        auto& feeder = feeders_[pin];
        if (feeder == nullptr) {
            feeder = std::make_unique<Core::OutputPin<Matrix>>("feeder of " + pin, nullptr);
            Core::connect(*feeder, filter_->getInputPin(pin), options);
        }
        return *feeder;
    }

private:
    std::vector<Sent> log_;
    std::vector<std::unique_ptr<ListeningPin>> listeners_;
    std::map<std::string, std::unique_ptr<Core::OutputPin<Matrix>>> feeders_;
    std::unique_ptr<F> filter_;  // goes first: its pins detach from those above
};

}  // namespace Kavelin::Tests
