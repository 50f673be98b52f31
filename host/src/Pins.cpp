#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/ConnectionOptions.h>
#include <Kavelin/Core/Names.h>
#include <Kavelin/Core/PinManager.h>
#include <Kavelin/Core/StateArchive.h>
#include <Poco/Exception.h>

#include <algorithm>
#include <cstring>

#include "Layout.h"
#include "NameList.h"
#include "Topology.h"

namespace Kavelin::Core {

namespace {

template <class P>
[[noreturn]] void failUnknownPin(const char* direction, const PinManager& owner, const std::vector<P*>& pins,
                                 const std::string& name) {
    throw Poco::NotFoundException("Filter '" + owner.getName() + "' has no " + direction + " pin '" + name +
                                  "'; it has " + listNames(namesOf(pins)));
}

template <class P>
void addPin(std::vector<P*>& pins, P* pin) {
    if (findNamed(pins, pin->getName()) != nullptr) {
        throw Poco::ExistsException("A pin '" + pin->getName() + "' of that direction exists already");
    }
    pins.push_back(pin);
}

void noteTopologyChange(const Pin& pin, const TopologyLock& lock) {
    if (Layout* layout = layoutOf(pin)) layout->noteTopologyChange(lock);
}

}  // namespace

Pin::Pin(const std::string& name, PinManager* owner) : NamedObject(name), manager_(owner) {
    if (owner != nullptr) owner->getPinList(TopologyLock()).all.push_back(this);
}
Pin::~Pin() {
    if (manager_ != nullptr) std::erase(manager_->getPinList(TopologyLock()).all, this);
}

Synchronizer* Pin::getSynchronizer() const {
    return manager_ == nullptr ? nullptr : manager_->getSynchronizer();
}

std::string Pin::fullName() const {
    return manager_ == nullptr ? getName() : manager_->getName() + ":" + getName();
}

AbstractInputPin::AbstractInputPin(const std::string& name, PinManager* owner) : Pin(name, owner) {
    if (owner == nullptr) {
        ownTally_ = std::make_unique<InputTally>();
        tally_ = ownTally_.get();
        return;
    }
    const TopologyLock lock;
    addPin(owner->getPinList(lock).inputs, this);
    tally_ = &owner->getInputTally(lock);
}

AbstractInputPin::~AbstractInputPin() {
    if (getManager() != nullptr) std::erase(getManager()->getPinList(TopologyLock()).inputs, this);
}

void AbstractInputPin::setBufferAttributes(unsigned size, bool lifo, bool synchronous) {
    const TopologyLock lock;  // a layout plans by them
    bufferSize_ = size;
    lifo_ = lifo;
    synchronous_ = synchronous;
}

std::string AbstractInputPin::shapesTaken() const {
    return content().takesText.empty() ? shapeText(content().shape) : std::string(content().takesText);
}

void AbstractInputPin::setIsFedFromElsewhere(bool elsewhere) {
    Layout* const layout = elsewhere ? layoutOf(*this) : nullptr;
    inbox_ = layout == nullptr ? nullptr : &layout->inbox;
}

void AbstractInputPin::saveUse(StateWriter& to) const {
    to(lastTimeStamp_);
    if (to.isWhole()) to(consumed_, passedOver_, misfits_);
}

void AbstractInputPin::restoreUse(StateReader& from) {
    from(lastTimeStamp_);
    if (from.isWhole()) from(consumed_, passedOver_, misfits_);
}

void AbstractInputPin::wakeLayout() { inbox_->noteFed(); }

AbstractOutputPin::AbstractOutputPin(const std::string& name, PinManager* owner) : Pin(name, owner) {
    if (owner != nullptr) addPin(owner->getPinList(TopologyLock()).outputs, this);
}

AbstractOutputPin::~AbstractOutputPin() {
    if (getManager() != nullptr) std::erase(getManager()->getPinList(TopologyLock()).outputs, this);
}

void AbstractOutputPin::notifyAttached(AbstractInputPin& input, bool& running) {
    const Layout* layout = layoutOf(input);
    running = layout != nullptr && layout->state.isRunning();
}

void AbstractOutputPin::notifyDetached(AbstractInputPin& input) { noteTopologyChange(input, TopologyLock()); }

unsigned AbstractOutputPin::getSynchronousCount() const {
    const TopologyLock lock;
    const auto isSynchronous = [](const AbstractInputPin* input) { return input->getIsSynchronous(); };
    return static_cast<unsigned>(std::count_if(connected_.begin(), connected_.end(), isSynchronous));
}

void AbstractOutputPin::recordConnection(AbstractInputPin& input) {
    const TopologyLock lock;
    input.setConnectedOutput(this, lock);
    connected_.push_back(&input);
    Layout* const reader = layoutOf(input);
    const Layout* const writer = layoutOf(*this);
    if (reader != nullptr && writer != nullptr && reader != writer)
        reader->neighbours.noteConnection(*writer, lock);
    noteTopologyChange(input, lock);
    noteTopologyChange(*this, lock);
}

void AbstractOutputPin::eraseConnection(AbstractInputPin& input) {
    const TopologyLock lock;
    input.setConnectedOutput(nullptr, lock);
    std::erase(connected_, &input);
    noteTopologyChange(input, lock);
    noteTopologyChange(*this, lock);
}

PinManager::PinManager(const std::string& name) : NamedObject(name) {}
PinManager::~PinManager() = default;

AbstractInputPin* PinManager::findInputPin(const std::string& pinName) const {
    return findNamed(pins_.inputs, pinName);
}
AbstractOutputPin* PinManager::findOutputPin(const std::string& pinName) const {
    return findNamed(pins_.outputs, pinName);
}

AbstractInputPin& PinManager::getInputPin(const std::string& pinName) {
    AbstractInputPin* pin = findInputPin(pinName);
    if (pin == nullptr) {
        // A new pin changes what a running layout must check before each process.
        const Synchronizer::DisablerLocker locker(getSynchronizer(), nullptr);
        pin = demandInputPin(pinName);
    }
    if (pin == nullptr) failUnknownPin("input", *this, pins_.inputs, pinName);
    return *pin;
}

AbstractOutputPin& PinManager::getOutputPin(const std::string& pinName) const {
    AbstractOutputPin* pin = findOutputPin(pinName);
    if (pin == nullptr) failUnknownPin("output", *this, pins_.outputs, pinName);
    return *pin;
}

AbstractInputPin* PinManager::demandInputPin(const std::string&) { return nullptr; }

void PinManager::setManager(LayoutManager* layout) {
    {
        const TopologyLock lock;
        layout_ = layout;
        for (const AbstractInputPin* input : pins_.inputs) {
            const AbstractOutputPin* output = input->getConnectedOutput();
            if (output != nullptr) noteTopologyChange(*output, lock);
        }
        for (const AbstractOutputPin* output : pins_.outputs) {
            for (const AbstractInputPin* input : output->getConnectedInputs(lock))
                noteTopologyChange(*input, lock);
        }
    }
    rebuildBuffers();
}

void PinManager::rebuildBuffers() {
    for (AbstractInputPin* input : pins_.inputs) {
        AbstractOutputPin* output = input->getConnectedOutput();
        const Synchronizer::DisablerLocker locker(getSynchronizer(),
                                                  output ? output->getSynchronizer() : nullptr);
        input->rebuildBuffer();
    }
    for (AbstractOutputPin* output : pins_.outputs) {
        for (AbstractInputPin* input : output->getAttachedInputs()) {
            const Synchronizer::DisablerLocker locker(getSynchronizer(), input->getSynchronizer());
            input->rebuildBuffer();
        }
    }
}

void connect(AbstractOutputPin& output, AbstractInputPin& input, const ConnectionOptions& options) {
    if (std::strcmp(output.payloadType(), input.payloadType()) != 0) {
        throw Poco::InvalidArgumentException("Cannot connect '" + output.fullName() + "' to '" +
                                             input.fullName() + "': the first sends " + output.payloadType() +
                                             ", the second takes " + input.payloadType());
    }
    const Synchronizer::DisablerLocker locker(output.getSynchronizer(), input.getSynchronizer());
    if (const AbstractOutputPin* source = input.getConnectedOutput()) {
        throw Poco::ExistsException("Input pin '" + input.fullName() + "' already has a source, '" +
                                    source->fullName() + "'; disconnect it first");
    }
    input.setBufferAttributes(options.bufferSize, options.lifo, options.synchronous);
    output.attachInput(input, options.direct);
}

void disconnect(AbstractInputPin& input) {
    if (AbstractOutputPin* output = input.getConnectedOutput()) output->detachInput(input, false);
}

}  // namespace Kavelin::Core
