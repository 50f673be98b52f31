#pragma once

#include <Kavelin/Core/ConnectionOptions.h>
#include <Kavelin/Core/Filter.h>
#include <Kavelin/Typed/InputPin.h>
#include <Kavelin/Typed/Matrix.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

#include "soak/SoakCounts.h"

namespace Kavelin::Soak {

/// Counts what an output sends, independently of the counts of the connections.
class Tap : public Core::InputPin<Core::Matrix> {
public:
    explicit Tap(Core::AbstractOutputPin& output);
    void receive(const Core::TimeStampedData<Core::Matrix>&) override {
        sent_.fetch_add(1, std::memory_order_relaxed);
    }
    std::uint64_t sent() const { return sent_.load(std::memory_order_relaxed); }

private:
    std::atomic<std::uint64_t> sent_{0};
};

/// An input pin and what it is connected to. One thread at a time changes it.
struct Wire {
    std::size_t reader = 0;  ///< index of its filter
    Core::AbstractInputPin* input = nullptr;
    Core::AbstractOutputPin* output = nullptr;  ///< null: not connected
    std::uint64_t sentBefore = 0, putBefore = 0;
};

/// The connections between filters, and the proof that each sample sent on one is accounted for: received, dropped, discarded
/// by a change, or still buffered.
class Wiring {
public:
    Wiring(SoakCounts& counts, Failures& failures) : counts_(counts), failures_(failures) {}

    /// Takes in a filter's pins; `index` is its place among all.  [quiet]
    void add(std::size_t index, Core::Filter& filter);
    /// Forgets them, and what is connected to them: the filter is about to be destroyed.  [quiet]
    void remove(std::size_t index);

    std::vector<Wire>& wires() { return wires_; }
    struct Output {
        std::size_t writer;  ///< index of its filter
        Core::AbstractOutputPin* pin;
    };
    const std::vector<Output>& outputs() const { return outputs_; }

    /// [any thread that has the wire]
    void connect(Wire& wire, Core::AbstractOutputPin& output, const Core::ConnectionOptions& options);
    void disconnect(Wire& wire);
    void disconnectAll();

    /// Checks every connection.  [quiet: no layout runs, nobody changes anything]
    void checkAll();
    /// Of all connections so far, those of destroyed filters included.  [quiet]
    Core::PinCounts totals() const;
    std::uint64_t sent() const;

private:
    void checkSent(const Wire& wire, std::uint64_t sent, const Core::PinCounts& counts, const char* when);

    SoakCounts& counts_;
    Failures& failures_;
    std::vector<Wire> wires_;
    std::vector<Output> outputs_;
    std::map<const Core::AbstractOutputPin*, std::unique_ptr<Tap>> taps_;
    Core::PinCounts retired_;
    std::uint64_t retiredSent_ = 0;
};

}  // namespace Kavelin::Soak
