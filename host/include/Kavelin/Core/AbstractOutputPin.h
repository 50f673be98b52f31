#pragma once

#include <Kavelin/Core/Pin.h>

#include <vector>

namespace Kavelin::Core {

class AbstractInputPin;
class StateReader;
class StateWriter;
class TopologyLock;

/// Writing end of any number of connections.
class KAVELIN_API AbstractOutputPin : public virtual Pin {
public:
    AbstractOutputPin(const std::string& name, PinManager* owner);
    ~AbstractOutputPin() override;

    /// Connects `input` to this pin.  @param direct the caller vouches that both ends run in one thread
    /// although neither filter is in a layout.
    /// @throws Poco::InvalidArgumentException when `input` carries another payload type
    /// @throws Poco::ExistsException when it has a source already; nothing has changed then.  [any thread]
    virtual void attachInput(AbstractInputPin& input, bool direct) = 0;
    /// Undoes it. Does nothing when `input` is not attached here, or when `onlySynchronous` is set and it is
    /// not synchronous.  [any thread]
    virtual void detachInput(AbstractInputPin& input, bool onlySynchronous) = 0;
    /// The attached pins.  [synchronizers disabled]
    virtual std::vector<AbstractInputPin*> getAttachedInputs() const = 0;
    /// For snapshots: the sample.  [layout thread, or the layout not running]
    virtual void saveState(StateWriter& to) const = 0;
    /// Sends nothing.  @throws Poco::DataFormatException
    virtual void restoreState(StateReader& from) = 0;
    /// The input whose samples this pin hands on: then its content is that of their source. Null
    /// for a pin with a content of its own.
    const AbstractInputPin* getHandsOn() const { return handsOn_; }
    bool getHandsOnTransposed() const { return handsOnTransposed_; }
    /// @param input of the same filter.  [the filter's constructor, or synchronizers disabled]
    void setHandsOn(const AbstractInputPin& input, bool transposed = false) {
        handsOn_ = &input;
        handsOnTransposed_ = transposed;
    }
    /// How many synchronous input pins are attached.
    unsigned getSynchronousCount() const;
    /// The input pins that are connected to this one. For the host library alone.
    const std::vector<AbstractInputPin*>& getConnectedInputs(const TopologyLock&) const { return connected_; }

protected:
    /// Called after a synchronous input pin was attached.  @param running set when the reader's layout is
    /// running, so that its filter may already be waiting for this pin.
    void notifyAttached(AbstractInputPin& input, bool& running);
    /// Called when a synchronous input pin is detached: a reader that waits for it is woken.
    void notifyDetached(AbstractInputPin& input);
    /// The typed pin records each new and each ended connection, so that layouts learn of it.
    void recordConnection(AbstractInputPin& input);
    void eraseConnection(AbstractInputPin& input);

private:
    std::vector<AbstractInputPin*> connected_;  // guarded by the topology lock
    const AbstractInputPin* handsOn_ = nullptr;
    bool handsOnTransposed_ = false;
};

}  // namespace Kavelin::Core
