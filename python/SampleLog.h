#pragma once

#include <Kavelin/Typed/InputPin.h>
#include <Kavelin/Typed/Matrix.h>

#include <cstdint>
#include <deque>
#include <vector>

namespace Kavelin::Python {

/// Samples one behind the other. Usually all have one shape; then their elements lie in one block.
struct SampleTable {
    std::vector<double> stamps;
    std::vector<double> elements;  ///< of all samples, row by row
    Core::PinShape shape;          ///< of each; where none came, the pin's own
    std::vector<Core::Matrix>
        unlike{};  ///< all samples, where they have several shapes; `elements` is empty then

    /// @param expected how many samples there may be, for the memory
    void add(double t, const Core::Matrix& value, std::size_t expected = 0);
};

/// Hears what one output pin sends, in the moment of sending, and keeps it: in a queue, or while there is one in a table.
/// [the thread that runs the filter]
class SampleLog final : public Core::InputPin<Core::Matrix> {
public:
    using Sample = Core::TimeStampedData<Core::Matrix>;
    static constexpr std::size_t kQueue = Core::AbstractInputPin::kDefaultBufferSize;

    explicit SampleLog(const std::string& name)
        : Pin(name, nullptr), Core::InputPin<Core::Matrix>(name, nullptr) {}
    void receive(const Sample& sample) override;

    /// From now on samples go into `table`, which is lent; null: into the queue again.
    void writeTo(SampleTable* table, std::size_t expected = 0) {
        table_ = table;
        expected_ = expected;
    }
    /// The samples not taken yet, oldest first. When it is full, the oldest is dropped.
    std::deque<Sample>& queue() { return queue_; }
    /// How many were dropped since this was last asked.
    std::uint64_t takeDropped() { return std::exchange(dropped_, 0); }

private:
    SampleTable* table_ = nullptr;
    std::size_t expected_ = 0;
    std::deque<Sample> queue_;
    std::uint64_t dropped_ = 0;
};

}  // namespace Kavelin::Python
