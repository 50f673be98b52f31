#pragma once

#include <Kavelin/Core/PinManager.h>
#include <Kavelin/Core/PropertyBagOwner.h>

namespace Kavelin::Core {

/// A processing block: takes samples from its input pins, computes, sends on its output pins.
class KAVELIN_API Filter : public PinManager, public PropertyBagOwner {
public:
    /// @param schedulable whether a layout calls `process`; false for a block that only holds pins and
    /// properties.
    Filter(const std::string& name, bool schedulable);
    ~Filter() override;

    /// Consumes what the input pins hold and sends the results.  [layout thread]
    virtual void process() = 0;
    /// The filter's class name, the same text as its factory's.
    virtual std::string typeName() const = 0;

    bool isSchedulable() const { return schedulable_; }

protected:
    void setManager(LayoutManager* layout) override;

private:
    friend class LayoutManager;
    const bool schedulable_;
};

}  // namespace Kavelin::Core
