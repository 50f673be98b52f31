#pragma once

#include <Kavelin/Core/Filter.h>
#include <Kavelin/Core/Source.h>
#include <Kavelin/Typed/Matrix.h>
#include <Kavelin/Typed/OutputPin.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace Kavelin::Python {

/// Samples for one pin with their time stamps, which do not decrease. The memory is lent.
struct Stream {
    std::string pin;
    const double* stamps = nullptr;
    const double* values = nullptr;  ///< one sample behind the other, each row by row
    std::size_t count = 0;
    Core::PinShape shape;
};

/// The source in front of a filter: an output pin for each input that is fed. In a layout's round it sends the samples of
/// all streams that have the round's time, as a reader sends a row. A sample with a NaN in it is no value and is not sent;
/// one with an infinite value is passed over too, as by a reader.
class ArraySource final : public Core::Filter, public Core::Source {
public:
    static constexpr const char* kName = "arrays";

    ArraySource() : Core::Filter(kName, true) {}
    std::string typeName() const override { return "ArraySource"; }

    /// Makes sure that `input` is fed from here.
    void feed(Core::AbstractInputPin& input);
    /// Sends one sample at once.  @return whether it was a value  @pre feed
    bool send(const std::string& pin, double t, const double* values, Core::PinShape shape);

    /// What the next run sends.  @pre feed, for each
    void load(const std::vector<Stream>& streams);
    /// Forgets them.
    void unload() { lanes_.clear(); }
    /// How far a stream is.
    struct Progress {
        std::size_t done = 0;  ///< samples sent or passed over
        std::size_t missing = 0;
        std::size_t infinite = 0;
    };
    /// Calls `tell` with each stream and its progress.
    template <class Tell>
    void eachDone(Tell tell) const {
        for (const Lane& lane : lanes_) tell(lane.stream, lane.progress);
    }

    double nextTimeStamp() const override { return next_; }
    bool atEnd() const override { return isStopped_ || !hasNext_; }
    void interrupt() override { isStopped_ = true; }
    void resume() override { isStopped_ = false; }
    void process() override;

private:
    using Output = Core::OutputPin<Core::Matrix>;
    struct Lane {
        Stream stream;
        Output* output = nullptr;
        Progress progress{};
    };

    static bool send(Output& output, double t, const double* values, Core::PinShape shape);
    Output* find(const std::string& pin) const;
    void findNext();

    std::vector<std::unique_ptr<Output>> outputs_;
    std::vector<Lane> lanes_;
    double next_ = 0.0;
    bool hasNext_ = false;
    bool isStopped_ = false;
};

}  // namespace Kavelin::Python
