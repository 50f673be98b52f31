#pragma once

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/PinManager.h>
#include <Kavelin/Typed/BufferStrategyFactory.h>
#include <Kavelin/Typed/StagedQueue.h>
#include <Kavelin/Typed/State.h>
#include <Kavelin/Typed/TimeStampedData.h>
#include <Poco/Exception.h>

#include <atomic>
#include <cassert>
#include <memory>
#include <string>

namespace Kavelin::Core {

template <class T>
class OutputPinBase;

/// Tag for an input pin that never makes its filter wait.
struct NonBlocking {};
/// Tag for an input pin whose samples need not have the time of those that its filter takes with them.
struct AnyTime {};

/// Typed reading end: keeps what it receives in a buffer strategy, chosen by how writer and reader run.
template <class T>
class InputPinBase : public AbstractInputPin, private InputPinState {
public:
    using Sample = TimeStampedData<T>;

    InputPinBase(const std::string& name, PinManager* owner)
        : Pin(name, owner), AbstractInputPin(name, owner) {
        setState(*this);
        InputPinBase::rebuildStrategy();
    }
    ~InputPinBase() override {
        if (source_ != nullptr) source_->detach(*this, false);
        endStaging();
    }

    /// Forgets the sample held, the last time stamp and all that is buffered.
    /// [reader's thread, or synchronizers disabled]
    virtual void reset() {
        current_ = sample_ = nullptr;
        if (strategy_ != nullptr) strategy_->clear();
        noteDiscarded();
    }
    /// Rebuilds the buffer for the present source, layouts and attributes. [synchronizers disabled]
    virtual void rebuildStrategy() {
        endStaging();
        retireStrategy();
        const BufferFamily family = chooseFamily();
        setIsFedFromElsewhere(family != BufferFamily::kSimple);
        strategy_ = makeBufferStrategy<Sample>(family, getBufferSize(), getIsLifo(), getSynchronizer());
        findQuickWay(family);
        reset();
    }
    /// Called by output pins that attach or detach this one.  [synchronizers disabled]
    virtual void setSource(OutputPinBase<T>* source, bool direct) {
        source_ = source;
        direct_ = direct;
        rebuildStrategy();
    }
    /// Buffers one sample. Called by output pins only.  [writer's thread]
    virtual void receive(const Sample& sample) {
        if (lent_ != nullptr) [[likely]]
            noteReceived(lent_->put(sample));
        else if (queue_ != nullptr)
            receiveCopy(sample);
        else
            receiveOtherwise(sample);
    }
    std::shared_ptr<Stage> beginStaging(RoundCounter round) override {
        if (!isFedFromElsewhere_) return nullptr;
        stage_ = std::make_shared<StagedQueue<Sample, InputPinBase>>(*this, std::move(round));
        return stage_;
    }

    // For the owning filter's process  [layout thread]
    /// Takes and consumes the next sample; false when there is none.
    bool readNext() {
        const Sample* const sample = current_ != nullptr ? current_ : take();
        if (sample == nullptr) return false;
        use(*sample);
        return true;
    }
    /// Holds the next sample in the pin, if none is held yet; false when there is none.
    ///
    /// Deliberate: with a buffer size of 1 in the writer's thread the pin holds no copy but the writer's own
    /// sample. The writer's next `send` changes what is held, and makes it unread again: it can then be
    /// consumed twice. A size of 2 or more holds a copy.
    bool fetch() {
        if (current_ == nullptr) current_ = take();
        return current_ != nullptr;
    }
    /// Time stamp of the sample held; there must be one.
    double heldTimeStamp() const {
        assert(current_ != nullptr && "no sample is held");
        return current_->timeStamp;
    }
    /// Consumes the sample held: its time stamp becomes the last one, its value stays readable.
    void consume() {
        assert(current_ != nullptr && "no sample is held");
        use(*current_);
    }
    /// Releases the sample held, unused, because no other sample matches it.
    void passOver() {
        current_ = nullptr;
        notePassedOver();
    }
    /// The sample consumed last. The loan ends when the next one is taken (`fetch`, `readNext`), with
    /// `reset`, and with a change of the connection or of either filter's layout. Until the next sample is
    /// consumed there is none, as `hasValue` tells; calling this then is an error that a debug build asserts.
    const T& value() const {
        assert(sample_ != nullptr && "no sample was consumed since the pin was reset or reconnected");
        return sample_->value;
    }
    /// Whether a sample was consumed since the pin was last reset.
    bool hasValue() const { return sample_ != nullptr; }
    double lastTimeStamp() const { return getLastTimeStamp(); }
    /// Whether the sample consumed last has a shape that the pin takes.
    /// Others are counted, for the host to report.
    bool fits() const { return fits_; }

    /// [the filter's constructor, or synchronizers disabled]
    void setContent(const PinContent& content) {
        Pin::setContent(content);
        judged_ = kNoShape;
    }

    OutputPinBase<T>* getSource() const { return source_; }
    AbstractBufferStrategy<Sample>* getStrategy() const { return strategy_.get(); }

    const char* payloadType() const override { return PayloadName<T>::value; }
    bool isEmpty() const override { return strategy_ == nullptr || strategy_->isEmpty(); }
    bool isHolding() const override { return current_ != nullptr; }
    bool isOverHalfFull() const override { return strategy_ != nullptr && strategy_->isOverHalfFull(); }
    void rebuildBuffer() override { rebuildStrategy(); }
    PinCounts getCounts() const override {
        PinCounts counts = retired_;
        if (strategy_ != nullptr) counts += strategy_->counts();
        counts.put += unbuffered_.load(std::memory_order_relaxed);
        counts.dropped += unbuffered_.load(std::memory_order_relaxed);
        return counts;
    }

    void saveState(StateWriter& to) const override {
        const Sample* const taken = isHolding() ? current_ : sample_;
        saveUse(to);
        to(takenUse());
        if (taken != nullptr && isStored(to)) to(*taken);
        to.writeNumber(strategy_ == nullptr ? 0 : strategy_->counts().buffered);
        if (strategy_ != nullptr && isStored(to)) strategy_->visit([&](const Sample& sample) { to(sample); });
        if (to.isWhole()) saveCounts(to);
    }
    void restoreState(StateReader& from) override {
        reset();
        restoreUse(from);
        std::uint8_t use = 0;
        from(use);
        if ((use & (kHeld | kConsumed)) != 0) {
            putBack(from);
            const Sample* const taken = take();
            if ((use & kHeld) != 0) current_ = taken;
            if ((use & kConsumed) != 0) sample_ = taken;
        }
        fits_ = (use & kFits) != 0;
        judged_ = kNoShape;
        for (std::uint64_t left = from.readNumber(); left > 0; --left) putBack(from);
        if (from.isWhole()) restoreCounts(from);
    }

private:
    friend StagedQueue<Sample, InputPinBase>;

    // For snapshots: what became of the sample taken last.
    static constexpr std::uint8_t kHeld = 1, kConsumed = 2, kFits = 4;
    std::uint8_t takenUse() const {
        return static_cast<std::uint8_t>((current_ ? kHeld : 0) | (sample_ ? kConsumed : 0) |
                                         (fits_ ? kFits : 0));
    }
    // A borrowed sample is stored by its writer's pin; where that may not be saved too, by this one as well.
    bool isStored(const StateWriter& to) const { return lent_ == nullptr || to.isWhole(); }
    void putBack(StateReader& from) {
        if (strategy_ == nullptr || (lent_ != nullptr && source_ == nullptr))
            throw Poco::DataFormatException("'" + fullName() +
                                            "' has no buffer for the samples that it held");
        if (lent_ != nullptr) {
            if (from.isWhole()) from(source_->data());
            if (!lent_->isEmpty()) throw Poco::DataFormatException("'" + fullName() + "' holds one sample");
            noteReceived(lent_->put(source_->data()));
            return;
        }
        Sample sample;
        from(sample);
        if (isFedFromElsewhere_)
            buffer(sample);
        else
            noteReceived(queue_ != nullptr ? queue_->put(sample) : stack_->put(sample));
    }
    void saveCounts(StateWriter& to) const {
        const PinCounts counts = getCounts();
        to(counts.put, counts.taken, counts.dropped, counts.discarded);
    }
    void restoreCounts(StateReader& from) {
        retired_ = {};
        unbuffered_.store(0, std::memory_order_relaxed);
        const PinCounts now = getCounts();
        from(retired_.put, retired_.taken, retired_.dropped, retired_.discarded);
        retired_.put -= now.put;
        retired_.taken -= now.taken;
        retired_.dropped -= now.dropped;
        retired_.discarded -= now.discarded;
    }

    // Takes the next sample out of the buffer; null when there is none.
    const Sample* take() {
        if (lent_ == nullptr) return queue_ != nullptr && queue_->isEmpty() ? nullptr : takeCopy();
        const Sample* const sample = lent_->take();
        if (sample != nullptr) noteTaken();
        return sample;
    }
    void use(const Sample& sample) {
        sample_ = &sample;
        current_ = nullptr;
        noteConsumed(sample.timeStamp);
        const PinShape shape = shapeOf(sample.value);
        if (!(shape == judged_)) [[unlikely]]
            judge(shape);
        if (!fits_) noteMisfit();
    }

    // The other ways of a sample, called and not repeated wherever a filter reads or sends.

    [[gnu::noinline]] void receiveCopy(const Sample& sample) { noteReceived(queue_->put(sample)); }
    [[gnu::noinline]] void receiveOtherwise(const Sample& sample) {
        if (stack_ != nullptr) {
            noteReceived(stack_->put(sample));
        } else if (stage_ == nullptr || !stage_->push(sample)) {
            buffer(sample);
        }
    }
    void buffer(const Sample& sample) {
        if (strategy_ == nullptr) {
            unbuffered_.fetch_add(1, std::memory_order_relaxed);
            return;
        }
        strategy_->put(sample);
        noteReceivedFromElsewhere();
    }
    void bufferAll(SampleFeed<Sample>& feed) {
        if (strategy_ == nullptr) {
            while (feed.next() != nullptr) unbuffered_.fetch_add(1, std::memory_order_relaxed);
            return;
        }
        strategy_->putAll(feed);
        noteReceivedFromElsewhere();
    }
    [[gnu::noinline]] const Sample* takeCopy() {
        if (queue_ == nullptr) [[unlikely]]
            return takeOtherwise();
        const Sample* const sample = queue_->take();
        if (sample != nullptr) noteTaken();
        return sample;
    }
    [[gnu::noinline]] const Sample* takeOtherwise() {
        const Sample* sample = nullptr;
        if (stack_ != nullptr) {
            sample = stack_->take();
        } else if (strategy_ != nullptr) {
            strategy_->get(sample);
        }
        if (sample != nullptr) noteTaken();
        return sample;
    }
    [[gnu::noinline]] void judge(PinShape shape) {
        judged_ = shape;
        fits_ = content().fits(shape);
    }
    // Where writer and reader run in one thread, the buffer is reached without a virtual call.
    void findQuickWay(BufferFamily family) {
        isFedFromElsewhere_ = family != BufferFamily::kSimple;
        if (isFedFromElsewhere_ || strategy_ == nullptr) return;
        if (getBufferSize() == 1) {
            lent_ = simpleBuffer<SingleValuePtrBuffer<Sample>>();
        } else if (getIsLifo()) {
            stack_ = simpleBuffer<LifoBuffer<Sample>>();
        } else {
            queue_ = simpleBuffer<FifoBuffer<Sample>>();
        }
    }
    template <class Buffer>
    CountedBuffer<Buffer>* simpleBuffer() {
        return &static_cast<SimpleBufferStrategy<Buffer>&>(*strategy_).buffer();
    }
    void endStaging() {
        if (stage_ == nullptr) return;
        stage_->close();
        stage_ = nullptr;
    }
    static LayoutManager* layoutOf(const PinManager* filter) {
        return filter == nullptr ? nullptr : filter->getManager();
    }

    BufferFamily chooseFamily() const {
        if (source_ == nullptr) return BufferFamily::kSimple;
        const LayoutManager* const mine = layoutOf(getManager());
        const LayoutManager* const theirs = layoutOf(source_->getManager());
        if (mine == theirs && (mine != nullptr || direct_)) return BufferFamily::kSimple;
        if (mine != theirs && mine != nullptr && getIsSynchronous()) return BufferFamily::kSynchronized;
        return BufferFamily::kThreadSafe;
    }
    // Ends the present strategy; what it still holds counts as discarded.
    void retireStrategy() {
        if (strategy_ == nullptr) return;
        strategy_->clear();
        retired_ += strategy_->counts();
        current_ = sample_ = nullptr;
        lent_ = nullptr;
        queue_ = nullptr;
        stack_ = nullptr;
        strategy_.reset();
    }

    static constexpr PinShape kNoShape{-1, -1};

    // The buffer of a simple strategy, under its kind.
    CountedBuffer<SingleValuePtrBuffer<Sample>>* lent_ = nullptr;
    CountedBuffer<FifoBuffer<Sample>>* queue_ = nullptr;
    CountedBuffer<LifoBuffer<Sample>>* stack_ = nullptr;
    const Sample* current_ = nullptr;  // taken from the strategy, not consumed yet
    const Sample* sample_ = nullptr;   // consumed last
    PinShape judged_ = kNoShape;       // its shape
    bool fits_ = false;                // the pin takes that shape
    bool isFedFromElsewhere_ = false;  // its writer may run on another thread
    bool direct_ = false;

    OutputPinBase<T>* source_ = nullptr;
    std::unique_ptr<AbstractBufferStrategy<Sample>> strategy_;
    std::shared_ptr<StagedQueue<Sample, InputPinBase>>
        stage_;                                 // in a run with threads, of samples sent by another
    PinCounts retired_;                         // of the strategies before this one
    std::atomic<std::uint64_t> unbuffered_{0};  // received while there was no strategy
};

/// An input pin as a filter declares it: what it carries, and how its filter takes it.
template <class T>
class InputPin : public InputPinBase<T> {
public:
    InputPin(const std::string& name, PinManager* owner, const PinContent& content = {})
        : Pin(name, owner), InputPinBase<T>(name, owner) {
        this->setContent(content);
    }
    InputPin(const std::string& name, PinManager* owner, const PinContent& content, NonBlocking)
        : InputPin(name, owner, content) {
        this->setIsBlocking(false);
    }
    InputPin(const std::string& name, PinManager* owner, const PinContent& content, AnyTime)
        : InputPin(name, owner, content) {
        this->setIsPaired(false);
    }
    InputPin(const std::string& name, PinManager* owner, NonBlocking tag)
        : InputPin(name, owner, PinContent{}, tag) {}
    InputPin(const std::string& name, PinManager* owner, AnyTime tag)
        : InputPin(name, owner, PinContent{}, tag) {}
};

}  // namespace Kavelin::Core

#include <Kavelin/Typed/OutputPin.h>
