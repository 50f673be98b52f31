#pragma once

#include <Kavelin/Core/ConnectionOptions.h>
#include <Kavelin/Core/Filter.h>
#include <Kavelin/Core/LayoutManager.h>
#include <Kavelin/Typed/InputPin.h>
#include <Kavelin/Typed/OutputPin.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "cli/validate/SampleMaker.h"
#include "cli/validate/Subject.h"

namespace Kavelin::Cli {

/// What a filter sent.
struct SentSample {
    const Core::AbstractOutputPin* pin;
    double t;
    Core::Matrix value;
    std::uint64_t call;  ///< number of the call of process in which it was sent
};

/// How the samples for a filter are kept, one of each kind that there is.
struct Buffering {
    const char* name = "simple FIFO";
    Core::ConnectionOptions options = {.direct = true};
    bool inLayout = false;  ///< the filter's, while the writer is in none
};
std::span<const Buffering> bufferKinds();

/// Drives one filter through real pins: an output pin feeds each of its inputs, and each of its outputs is heard. What is sent
/// must have the shape that its pin declares, as long as the inputs get samples of the shapes that they declare.
class FilterRig {
public:
    using Matrix = Core::Matrix;

    /// Connects all pins.  @param filter lent. Either may go first, unless the filter is in the rig's layout.
    FilterRig(const Subject& subject, Core::Filter& filter, const Buffering& buffering = bufferKinds()[0]);
    ~FilterRig();
    FilterRig(const FilterRig&) = delete;
    FilterRig& operator=(const FilterRig&) = delete;

    /// Connects pins that have come since, as with a change of a property.
    void connectNew();
    std::size_t inputs() const { return feeders_.size(); }
    const Fed& fed(std::size_t input) const { return feeders_[input].fed; }
    /// Hands the sample to the pin, and takes the one sent before in return: so nothing is allocated.
    void send(std::size_t input, double t, Matrix& sample);
    /// Calls process, as a layout does: not of a source that is at its end. Exceptions of std are counted: a layout notes them too.
    /// @throws Fault for another exception, and for a sample that is not what its pin declares
    void process();
    /// Sends a row to the pins and calls process.
    void feed(const RecordingIO::SimulatedRow& row, const Feeding& feeding);

    /// Keep what is sent, up to `kMostKept` samples, or only count it. True at the start.
    static constexpr std::size_t kMostKept = 100'000;
    void keepSent(bool keep) { keepsSent_ = keep; }
    std::vector<SentSample>& sent() { return sent_; }
    /// Forgets what was sent, called and raised so far. Samples of any shape may be in the filter from then on.
    void forget() {
        isFedAsDeclared_ = false;
        sent_.clear();
        sentCount_ = calls_ = raisedCount_ = 0;
        raised_.clear();
    }
    std::uint64_t sentCount() const { return sentCount_; }
    std::uint64_t raisedCount() const { return raisedCount_; }
    /// Class and message of the exception that process raised last.
    const std::string& raised() const { return raised_; }
    /// @throws Fault unless each input pin has accounted for all samples that it got.
    void requireCounts() const;

private:
    class Listener;
    struct Feeder {
        Fed fed;
        std::unique_ptr<Core::OutputPin<Matrix>> pin;
    };

    void note(const Core::AbstractOutputPin& pin, const Core::TimeStampedData<Matrix>& sample);
    void requireDeclared();

    const Subject& subject_;
    Core::Filter& filter_;
    Buffering buffering_;
    std::unique_ptr<Core::LayoutManager> layout_;
    std::deque<Feeder> feeders_;
    std::vector<std::unique_ptr<Listener>> listeners_;
    std::vector<SentSample> sent_;
    bool keepsSent_ = true;
    std::uint64_t sentCount_ = 0, calls_ = 0, raisedCount_ = 0;
    std::string raised_;
    bool isFedAsDeclared_ = true;
    struct {
        const Core::AbstractOutputPin* pin = nullptr;
        Core::PinShape shape;
    } misfit_;
};

/// Feeds rows one by one; each is a step that `subject` notes.
void feedRows(FilterRig& rig, const std::vector<RecordingIO::SimulatedRow>& rows, const Feeding& feeding,
              const Subject& subject);

/// @throws Fault at the first sample in which the two differ in a bit.
/// @param what tells the two apart: "the restored filter".
void requireSameBits(const std::vector<SentSample>& expected, const std::vector<SentSample>& got,
                     const std::string& what);

/// Pin and call of process, for messages.
std::string placeOf(const SentSample& sample);

}  // namespace Kavelin::Cli
