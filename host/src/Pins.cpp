#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/ConnectionOptions.h>
#include <Kavelin/Core/LayoutManager.h>
#include <Kavelin/Core/PinManager.h>
#include <Poco/Exception.h>

#include <algorithm>
#include <cstring>

#include "NameList.h"
#include "Topology.h"

namespace Kavelin::Core {

std::mutex& topologyMutex() {
    static std::mutex mutex;
    return mutex;
}

std::vector<LayoutManager*>& runningLayouts() {
    static std::vector<LayoutManager*> layouts;
    return layouts;
}

namespace {

template <class P>
P* findByName(const std::vector<P*>& pins, const std::string& name) {
    const auto found = std::find_if(pins.begin(), pins.end(), [&](P* pin) { return pin->getName() == name; });
    return found == pins.end() ? nullptr : *found;
}

template <class P>
[[noreturn]] void failUnknownPin(const char* direction, const PinManager& owner, const std::vector<P*>& pins,
                                 const std::string& name) {
    std::vector<std::string> names;
    for (const P* pin : pins) names.push_back(pin->getName());
    throw Poco::NotFoundException("Filter '" + owner.getName() + "' has no " + direction + " pin '" + name +
                                  "'; it has " + listNames(names));
}

template <class P>
void addPin(std::vector<P*>& pins, P* pin) {
    std::lock_guard lock(topologyMutex());
    if (findByName(pins, pin->getName()) != nullptr) {
        throw Poco::ExistsException("A pin '" + pin->getName() + "' of that direction exists already");
    }
    pins.push_back(pin);
}

LayoutManager* layoutOf(const Pin& pin) {
    return pin.getManager() == nullptr ? nullptr : pin.getManager()->getManager();
}

}  // namespace

Pin::Pin(const std::string& name, PinManager* owner) : NamedObject(name), manager_(owner) {
    if (owner != nullptr) owner->pins_.push_back(this);
}
Pin::~Pin() {
    if (manager_ != nullptr) std::erase(manager_->pins_, this);
}

Synchronizer* Pin::getSynchronizer() const {
    return manager_ == nullptr ? nullptr : manager_->getSynchronizer();
}

std::string Pin::fullName() const {
    return manager_ == nullptr ? getName() : manager_->getName() + ":" + getName();
}

AbstractInputPin::AbstractInputPin(const std::string& name, PinManager* owner) : Pin(name, owner) {
    if (owner == nullptr) return;
    addPin(owner->inputs_, this);
    received_ = &owner->received_;
    taken_ = &owner->taken_;
}

AbstractInputPin::~AbstractInputPin() {
    std::lock_guard lock(topologyMutex());
    if (getManager() != nullptr) std::erase(getManager()->inputs_, this);
}

void AbstractInputPin::setBufferAttributes(unsigned size, bool lifo, bool synchronous) {
    bufferSize_ = size;
    lifo_ = lifo;
    synchronous_ = synchronous;
}

std::string AbstractInputPin::shapesTaken() const {
    return content().takesText.empty() ? shapeText(content().shape) : std::string(content().takesText);
}

void AbstractInputPin::setIsFedFromElsewhere(bool elsewhere) {
    fedLayout_ = elsewhere ? layoutOf(*this) : nullptr;
}

void AbstractInputPin::noteReceivedFromElsewhere() { fedLayout_->noteFed(); }

AbstractOutputPin::AbstractOutputPin(const std::string& name, PinManager* owner) : Pin(name, owner) {
    if (owner != nullptr) addPin(owner->outputs_, this);
}

AbstractOutputPin::~AbstractOutputPin() {
    std::lock_guard lock(topologyMutex());
    if (getManager() != nullptr) std::erase(getManager()->outputs_, this);
}

void AbstractOutputPin::notifyAttached(AbstractInputPin& input, bool& running) {
    const LayoutManager* layout = layoutOf(input);
    running = layout != nullptr && layout->isRunning();
}

void AbstractOutputPin::notifyDetached(AbstractInputPin& input) {
    std::lock_guard lock(topologyMutex());
    noteTopologyChange(layoutOf(input));
}

unsigned AbstractOutputPin::getSynchronousCount() const {
    std::lock_guard lock(topologyMutex());
    const auto isSynchronous = [](const AbstractInputPin* input) { return input->getIsSynchronous(); };
    return static_cast<unsigned>(std::count_if(recorded_.begin(), recorded_.end(), isSynchronous));
}

void AbstractOutputPin::recordConnection(AbstractInputPin& input) {
    std::lock_guard lock(topologyMutex());
    input.connected_.store(this);
    recorded_.push_back(&input);
    noteTopologyChange(layoutOf(input));
    noteTopologyChange(layoutOf(*this));
}

void AbstractOutputPin::eraseConnection(AbstractInputPin& input) {
    std::lock_guard lock(topologyMutex());
    input.connected_.store(nullptr);
    std::erase(recorded_, &input);
    noteTopologyChange(layoutOf(input));
    noteTopologyChange(layoutOf(*this));
}

void AbstractOutputPin::noteTopologyChange(LayoutManager* layout) {
    if (layout != nullptr) layout->noteTopologyChange();
}

PinManager::PinManager(const std::string& name) : NamedObject(name) {}
PinManager::~PinManager() = default;

AbstractInputPin* PinManager::findInputPin(const std::string& pinName) const {
    return findByName(inputs_, pinName);
}
AbstractOutputPin* PinManager::findOutputPin(const std::string& pinName) const {
    return findByName(outputs_, pinName);
}

AbstractInputPin& PinManager::getInputPin(const std::string& pinName) {
    AbstractInputPin* pin = findInputPin(pinName);
    if (pin == nullptr) {
        // A new pin changes what a running layout asks before each process.
        const Synchronizer::DisablerLocker locker(getSynchronizer(), nullptr);
        pin = demandInputPin(pinName);
    }
    if (pin == nullptr) failUnknownPin("input", *this, inputs_, pinName);
    return *pin;
}

AbstractOutputPin& PinManager::getOutputPin(const std::string& pinName) const {
    AbstractOutputPin* pin = findOutputPin(pinName);
    if (pin == nullptr) failUnknownPin("output", *this, outputs_, pinName);
    return *pin;
}

AbstractInputPin* PinManager::demandInputPin(const std::string&) { return nullptr; }

void PinManager::setManager(LayoutManager* layout) {
    {
        std::lock_guard lock(topologyMutex());
        layout_ = layout;
        for (const AbstractInputPin* input : inputs_) {
            const AbstractOutputPin* output = input->getConnectedOutput();
            if (output != nullptr) AbstractOutputPin::noteTopologyChange(layoutOf(*output));
        }
        for (const AbstractOutputPin* output : outputs_) {
            for (const AbstractInputPin* input : output->recorded_)
                AbstractOutputPin::noteTopologyChange(layoutOf(*input));
        }
    }
    rebuildBuffers();
}

void PinManager::rebuildBuffers() {
    for (AbstractInputPin* input : inputs_) {
        AbstractOutputPin* output = input->getConnectedOutput();
        const Synchronizer::DisablerLocker locker(getSynchronizer(),
                                                  output ? output->getSynchronizer() : nullptr);
        input->rebuildBuffer();
    }
    for (AbstractOutputPin* output : outputs_) {
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
