#pragma once

#include <Kavelin/Core/PairingReport.h>
#include <Kavelin/Core/SampleInterval.h>

#include <array>
#include <cstdint>
#include <vector>

namespace Kavelin::Core {

class AbstractInputPin;
class StateReader;
class StateWriter;

/// Compares the time stamps of what each call of a filter's `process` consumes, one sample of each input.
///
/// An input belongs to the sets as long as every call that consumes anything consumes as many of its samples
/// as of the others. The first call that does without an input, or takes several of its samples, shows that
/// the filter can; from there on, the sets are counted without that input.
class PairingWatch {
public:
    /// Takes over the filter's connected inputs; keeps what is known of those it already had.
    void update(const std::vector<AbstractInputPin*>& inputs);
    /// To be called after each call of `process`.  [layout thread]
    void note();
    /// [layout thread, or the layout not running]
    PairingReport report() const;
    /// Whether there are inputs to compare.
    bool isOn() const { return lanes_.size() > 1; }

    /// For a snapshot. Pins are named.
    void save(StateWriter& to) const;
    void restore(StateReader& from, const std::vector<AbstractInputPin*>& inputs);

private:
    struct Lane {
        AbstractInputPin* pin;
        std::uint64_t seen;      // of its samples consumed
        std::uint64_t consumed;  // by the last call
        SampleInterval interval;
    };

    void leaveOutOthers();
    void compare();
    void judge(double difference);

    static AbstractInputPin* pinCalled(const std::string& name, const std::vector<AbstractInputPin*>& inputs);

    std::vector<Lane> lanes_;
    std::vector<const AbstractInputPin*> others_;  // inputs that are not part of the sets
    PairingReport sofar_;
    std::array<double, 16> early_{};  // differences before the interval was known
    std::size_t earlyCount_ = 0;
};

}  // namespace Kavelin::Core
