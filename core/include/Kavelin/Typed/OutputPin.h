#pragma once

#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/LayoutManager.h>
#include <Kavelin/Typed/InputPin.h>
#include <Kavelin/Typed/State.h>
#include <Kavelin/Typed/TimeStampedData.h>
#include <Poco/Exception.h>
#include <Poco/Timestamp.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace Kavelin::Core {

/// Where a sample goes: one attached input pin whose filter is in a layout.
struct ConnectionRecord {
    std::string layout;
    std::string filter;
    std::string pin;
};

/// Typed writing end: one current value, handed at once and in the writer's thread
/// to every attached input pin.
template <class T>
class OutputPinBase : public AbstractOutputPin {
public:
    using Sample = TimeStampedData<T>;

    OutputPinBase(const std::string& name, PinManager* owner, T initial = T())
        : Pin(name, owner), AbstractOutputPin(name, owner), data_{std::move(initial), 0.0} {}
    ~OutputPinBase() override {
        while (!attached_.empty()) detach(*attached_.back(), false);
    }

    /// The pin's own sample, to be filled in place before sending.  [layout thread]
    Sample& data() { return data_; }
    T& value() { return data_.value; }

    /// Sends the pin's sample with this time stamp. Each attached pin's buffer copies it or borrows it, as
    /// its kind does. [layout thread]
    void send(double timeStamp) {
        data_.timeStamp = timeStamp;
        for (InputPinBase<T>* input : attached_) input->receive(data_);
    }
    /// Sends with the wall clock: seconds since 15 October 1582, 00:00 UTC, in steps of 100 ns (up to the
    /// double's own resolution, about 2 us today).
    void sendNow() { send(static_cast<double>(Poco::Timestamp().utcTime()) * 1e-7); }

    /// Connects an input pin.  @throws Poco::ExistsException when it has a source; nothing has changed then.
    /// [any thread]
    void attach(InputPinBase<T>& input, bool direct) {
        const Synchronizer::DisablerLocker locker(getSynchronizer(), input.getSynchronizer());
        if (input.getSource() != nullptr) {
            throw Poco::ExistsException("Input pin '" + input.fullName() + "' already has a source, '" +
                                        input.getSource()->fullName() + "'");
        }
        attached_.insert(placeOf(input), &input);
        input.setSource(this, direct);
        recordConnection(input);
        bool running = false;
        if (input.getIsSynchronous()) notifyAttached(input, running);
    }
    /// Ends a connection. Does nothing when `input` is not attached here, or with `onlySynchronous` when it
    /// is not synchronous.  [any thread]
    void detach(InputPinBase<T>& input, bool onlySynchronous) {
        const Synchronizer::DisablerLocker locker(getSynchronizer(), input.getSynchronizer());
        const auto place = placeOf(input);
        if (place == attached_.end() || *place != &input) return;
        if (onlySynchronous && !input.getIsSynchronous()) return;
        if (input.getIsSynchronous()) notifyDetached(input);
        input.setSource(nullptr, true);
        attached_.erase(place);
        eraseConnection(input);
    }
    /// Whether anything takes what is sent: a costly result that nobody takes need not be computed.
    /// [layout thread, or synchronizers disabled]
    bool isAttached() const { return !attached_.empty(); }
    /// Where samples go: every attached pin whose filter is in a layout,
    /// in the order in which they are served.
    std::vector<ConnectionRecord> connections() const {
        const Synchronizer::DisablerLocker locker(getSynchronizer(), nullptr);
        std::vector<ConnectionRecord> records;
        for (const InputPinBase<T>* input : attached_) {
            const PinManager* filter = input->getManager();
            if (filter == nullptr || filter->getManager() == nullptr) continue;
            records.push_back({filter->getManager()->getName(), filter->getName(), input->getName()});
        }
        return records;
    }

    const char* payloadType() const override { return PayloadName<T>::value; }
    void attachInput(AbstractInputPin& input, bool direct) override { attach(typed(input), direct); }
    void detachInput(AbstractInputPin& input, bool onlySynchronous) override {
        detach(typed(input), onlySynchronous);
    }
    std::vector<AbstractInputPin*> getAttachedInputs() const override {
        return {attached_.begin(), attached_.end()};
    }
    void saveState(StateWriter& to) const override { to(data_); }
    void restoreState(StateReader& from) override { from(data_); }

private:
    // By name, not by type_info: the pin may come from another module.
    InputPinBase<T>& typed(AbstractInputPin& input) const {
        if (std::strcmp(input.payloadType(), PayloadName<T>::value) != 0) {
            throw Poco::InvalidArgumentException("'" + input.fullName() + "' takes " + input.payloadType() +
                                                 ", '" + fullName() + "' sends " + PayloadName<T>::value);
        }
        return static_cast<InputPinBase<T>&>(input);
    }
    auto placeOf(InputPinBase<T>& input) {
        return std::lower_bound(attached_.begin(), attached_.end(), &input, std::less<>{});
    }

    std::vector<InputPinBase<T>*> attached_;  // ordered by address, no pin twice
    Sample data_;
};

/// An output pin as a filter declares it: what it carries, and its value before anything is sent.
template <class T>
class OutputPin : public OutputPinBase<T> {
public:
    OutputPin(const std::string& name, PinManager* owner, T initial = T())
        : Pin(name, owner), OutputPinBase<T>(name, owner, std::move(initial)) {}
    /// The initial value is of the content's shape: the identity of an orientation, else zero.
    OutputPin(const std::string& name, PinManager* owner, const PinContent& content)
        : OutputPin(name, owner, initialValue<T>(content)) {
        this->setContent(content);
    }
};

}  // namespace Kavelin::Core
