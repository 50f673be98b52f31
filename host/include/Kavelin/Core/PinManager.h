#pragma once

#include <Kavelin/Core/InputTally.h>
#include <Kavelin/Core/NamedObject.h>
#include <Kavelin/Core/Synchronizer.h>

#include <vector>

namespace Kavelin::Core {

class AbstractInputPin;
class AbstractOutputPin;
class LayoutManager;
class Pin;
class TopologyLock;

/// Pins in the order of their creation: all, and those of one direction.
struct PinList {
    std::vector<Pin*> all;
    std::vector<AbstractInputPin*> inputs;
    std::vector<AbstractOutputPin*> outputs;
};

/// Owner of pins: it knows them in the order of their creation, has a synchronizer, and may be in a layout.
class KAVELIN_API PinManager : public NamedObject {
public:
    explicit PinManager(const std::string& name);
    ~PinManager() override;

    // These operations stand in a fixed order, which filters of other modules rely on: process,
    // getSynchronizer, setManager, typeName, and then what this host adds.
    /// Consumes what the input pins hold and sends the results.  [layout thread]
    virtual void process() = 0;
    virtual Synchronizer* getSynchronizer() { return &synchronizer_; }

protected:
    /// Enters (or, with null, leaves) a layout: every buffer that depends on it is rebuilt.
    virtual void setManager(LayoutManager* layout);

public:
    /// Name of the class.
    virtual std::string typeName() const = 0;

    /// The layout that runs this; null when it is in none.
    LayoutManager* getManager() const { return layout_; }

    /// All pins, and those of one direction, in the order of their creation.
    const std::vector<Pin*>& getPins() const { return pins_.all; }
    const std::vector<AbstractInputPin*>& getInputPins() const { return pins_.inputs; }
    const std::vector<AbstractOutputPin*>& getOutputPins() const { return pins_.outputs; }
    /// Pin by name, null when there is none.
    AbstractInputPin* findInputPin(const std::string& pinName) const;
    AbstractOutputPin* findOutputPin(const std::string& pinName) const;
    /// Pin by name.  @throws Poco::NotFoundException naming what exists.
    AbstractInputPin& getInputPin(const std::string& pinName);
    AbstractOutputPin& getOutputPin(const std::string& pinName) const;

    /// For the host library alone: pins enter and leave the list themselves, and a layout watches the tally.
    PinList& getPinList(const TopologyLock&) { return pins_; }
    InputTally& getInputTally(const TopologyLock&) { return tally_; }

protected:
    /// Called for an input pin that a connection asks for by name and that does not exist. A filter that
    /// makes pins on demand returns the new one; the default returns null.
    virtual AbstractInputPin* demandInputPin(const std::string& pinName);

private:
    void rebuildBuffers();

    InputTally tally_;  // beside what each call changes in the synchronizer
    Synchronizer synchronizer_;
    LayoutManager* layout_ = nullptr;
    PinList pins_;
};

}  // namespace Kavelin::Core
