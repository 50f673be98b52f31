#pragma once

#include <Kavelin/Core/InputTally.h>
#include <Kavelin/Core/Pin.h>
#include <Kavelin/Core/PinCounts.h>
#include <Kavelin/Core/Stage.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace Kavelin::Core {

class AbstractOutputPin;
class LayoutInbox;
class StateReader;
class StateWriter;
class TopologyLock;

/// What the host asks a typed input pin, by way of `AbstractInputPin`, whose functions of the same names say
/// what they mean. A class of its own, so that the pin's virtual operations stand in their fixed order.
class InputPinState {
public:
    virtual bool isEmpty() const = 0;
    virtual bool isHolding() const = 0;
    virtual PinCounts getCounts() const = 0;
    virtual bool isOverHalfFull() const = 0;
    virtual void rebuildBuffer() = 0;
    virtual std::shared_ptr<Stage> beginStaging(RoundCounter) { return nullptr; }
    virtual void saveState(StateWriter& to) const = 0;
    virtual void restoreState(StateReader& from) = 0;

protected:
    ~InputPinState() = default;
};

/// Reading end of a connection. The host owns the attributes that decide how samples are kept (size, order,
/// synchronous flag); the typed pin reads them when it builds its buffer.
class KAVELIN_API AbstractInputPin : public virtual Pin {
public:
    static constexpr unsigned kDefaultBufferSize = 1024;

    AbstractInputPin(const std::string& name, PinManager* owner);
    ~AbstractInputPin() override;

    /// False: the filter never waits for this pin, whatever its connection says. True at the start.
    /// [any thread, synchronizers disabled; or the filter's constructor]
    void setIsBlocking(bool blocking) { blocking_ = blocking; }
    bool getIsBlocking() const { return blocking_; }

    /// False: samples of this pin need not have the time of those that the filter takes with them, or the
    /// filter checks that itself. True at the start for a blocking pin. [as setIsBlocking]
    void setIsPaired(bool paired) { paired_ = paired; }
    bool getIsPaired() const { return blocking_ && paired_; }

    /// True for a blocking pin of a synchronous connection.
    bool getIsSynchronous() const { return blocking_ && synchronous_; }
    /// Whether the connection is synchronous, be the pin blocking or not.
    bool getIsConnectedSynchronously() const { return synchronous_; }
    /// Samples kept: 1 is a single value, 0 keeps nothing.
    unsigned getBufferSize() const { return bufferSize_; }
    /// Set: the newest sample is read first.
    bool getIsLifo() const { return lifo_; }
    /// They take effect with the next `rebuildBuffer`, which a new connection brings.
    /// [synchronizers disabled]
    void setBufferAttributes(unsigned size, bool lifo, bool synchronous);

    /// The attached output pin, null while there is none.
    AbstractOutputPin* getConnectedOutput() const { return connected_.load(); }
    /// For the host library alone.
    void setConnectedOutput(AbstractOutputPin* output, const TopologyLock&) { connected_.store(output); }
    /// The most recently consumed sample's time stamp, 0.0 before the first.  [reader's thread]
    double getLastTimeStamp() const { return lastTimeStamp_; }
    /// True when there is nothing to take.  [reader's thread]
    bool isEmpty() const { return state_->isEmpty(); }
    /// True when a sample was taken from the buffer and is not consumed yet.  [reader's thread]
    bool isHolding() const { return state_->isHolding(); }
    /// [any thread, synchronizers disabled or no thread writing]
    PinCounts getCounts() const { return state_->getCounts(); }
    /// Samples that the filter used, and those that it took and passed over because nothing matches them.
    /// [reader's thread, or no thread reading]
    std::uint64_t getConsumed() const { return consumed_; }
    std::uint64_t getPassedOver() const { return passedOver_; }
    /// Of those that the filter took: samples of a shape that the pin does not take.  [as getConsumed]
    std::uint64_t getMisfits() const { return misfits_; }
    /// Shapes that the pin takes, for messages: "1x3", "3 elements".
    std::string shapesTaken() const;
    /// True when more than half of a buffer that drops when full is taken.  [any thread]
    bool isOverHalfFull() const { return state_->isOverHalfFull(); }
    /// Chooses and builds a new buffer; what was buffered is discarded.  [synchronizers disabled]
    void rebuildBuffer() { state_->rebuildBuffer(); }
    /// From now on samples go onto a stage first, marked with the writer's round, until the stage is closed
    /// or a new buffer is built. Null for a pin that cannot. [synchronizers disabled]
    std::shared_ptr<Stage> beginStaging(RoundCounter round) { return state_->beginStaging(std::move(round)); }
    /// For snapshots: what is buffered, held, and was consumed last; the counts.
    /// [synchronizers disabled, or no thread reading or writing; not in a run with threads]
    void saveState(StateWriter& to) const { state_->saveState(to); }
    /// @throws Poco::DataFormatException
    void restoreState(StateReader& from) { state_->restoreState(from); }

protected:
    /// The typed pin registers in its constructor the object that answers.
    void setState(InputPinState& state) { state_ = &state; }
    /// The typed pin tells its host that its writer, in the same thread, put a sample into its buffer.
    /// @param added false when it pushed out another.  [writer's thread]
    void noteReceived(bool added) { tally_->noteReceived(added); }
    /// The same of a writer that may run on another thread.  [writer's thread]
    void noteReceivedFromElsewhere() {
        if (inbox_ != nullptr) wakeLayout();
    }
    /// The typed pin tells its host that it took a sample out of its buffer.  [reader's thread]
    void noteTaken() { ++tally_->taken; }
    /// The typed pin tells its host that it threw away what its buffer held.
    /// [reader's thread, or synchronizers disabled]
    void noteDiscarded() {
        lastTimeStamp_ = 0.0;
        tally_->noteDiscarded();
    }
    /// The typed pin tells its host what became of the sample that it took.  [reader's thread]
    void noteConsumed(double timeStamp) {
        lastTimeStamp_ = timeStamp;
        ++consumed_;
    }
    void notePassedOver() { ++passedOver_; }
    void noteMisfit() { ++misfits_; }
    /// What this class keeps, for a snapshot.
    void saveUse(StateWriter& to) const;
    void restoreUse(StateReader& from);
    /// The typed pin tells whether its writer may run on another thread.  [synchronizers disabled]
    void setIsFedFromElsewhere(bool elsewhere);

private:
    void wakeLayout();

    InputPinState* state_ = nullptr;
    bool blocking_ = true;
    bool paired_ = true;
    bool synchronous_ = false;
    bool lifo_ = false;
    unsigned bufferSize_ = kDefaultBufferSize;
    std::atomic<AbstractOutputPin*> connected_{nullptr};
    std::unique_ptr<InputTally> ownTally_;  // of a pin without a filter
    LayoutInbox* inbox_ = nullptr;  // of the layout to wake, where the writer may run on another thread
    std::uint64_t misfits_ = 0;
    std::uint64_t passedOver_ = 0;

    // What each sample touches, beside the same of the typed pin.
    std::uint64_t consumed_ = 0;
    double lastTimeStamp_ = 0.0;
    InputTally* tally_;  // the filter's, or the pin's own
};

}  // namespace Kavelin::Core
