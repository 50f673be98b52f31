#pragma once

#include <Kavelin/Core/NamedObject.h>
#include <Kavelin/Core/Synchronizer.h>

#include <cstdint>
#include <vector>

namespace Kavelin::Core {

class AbstractInputPin;
class AbstractOutputPin;
class LayoutManager;
class Pin;

/// Something with pins: it knows them in the order of their creation, has a synchronizer, and may be in a
/// layout.
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
    /// Enters (or, with null, leaves) a layout: every buffer that depends on it is built anew.
    virtual void setManager(LayoutManager* layout);

public:
    /// Name of the class.
    virtual std::string typeName() const = 0;

    /// The layout that runs this; null when it is in none.
    LayoutManager* getManager() const { return layout_; }

    /// All pins, and those of one direction, in the order of their creation.
    const std::vector<Pin*>& getPins() const { return pins_; }
    const std::vector<AbstractInputPin*>& getInputPins() const { return inputs_; }
    const std::vector<AbstractOutputPin*>& getOutputPins() const { return outputs_; }
    /// Pin by name, null when there is none.
    AbstractInputPin* findInputPin(const std::string& pinName) const;
    AbstractOutputPin* findOutputPin(const std::string& pinName) const;
    /// Pin by name.  @throws Poco::NotFoundException naming what exists.
    AbstractInputPin& getInputPin(const std::string& pinName);
    AbstractOutputPin& getOutputPin(const std::string& pinName) const;

protected:
    /// Called for an input pin that a connection asks for by name and that does not exist. A filter that
    /// makes pins on demand returns the new one; the default has none to give.
    virtual AbstractInputPin* demandInputPin(const std::string& pinName);

private:
    friend class AbstractInputPin;
    friend class AbstractOutputPin;
    friend class LayoutManager;
    friend class Pin;

    void rebuildBuffers();

    Synchronizer synchronizer_;
    LayoutManager* layout_ = nullptr;
    std::vector<Pin*> pins_;
    std::vector<AbstractInputPin*> inputs_;
    std::vector<AbstractOutputPin*> outputs_;
    std::uint64_t received_ = 0;  // samples put into the input pins by filters of the same thread
    std::uint64_t taken_ = 0;     // samples that the input pins took out of their buffers
};

}  // namespace Kavelin::Core
