#pragma once

#include <Kavelin/Core/PairingReport.h>
#include <Kavelin/Core/PinManager.h>
#include <Kavelin/Core/PropertyBagOwner.h>

#include <memory>

namespace Kavelin::Core {

class PairingWatch;

/// A processing block: takes samples from its input pins, computes, sends on its output pins.
class KAVELIN_API Filter : public PinManager, public PropertyBagOwner {
public:
    /// @param schedulable whether a layout calls `process`; false for a mere holder of pins and properties.
    Filter(const std::string& name, bool schedulable);
    ~Filter() override;

    /// Calls `process` as a layout does, kept apart from property writes, commands and connection changes:
    /// for a program that drives a filter itself.  @throws what `process` throws. [any one thread at a time,
    /// while no layout runs the filter]
    void processOnce();
    /// The filter's class name, the same text as its factory's.
    std::string typeName() const override = 0;

    bool isSchedulable() const { return schedulable_; }

    /// How well the samples of its inputs matched since it entered its layout; no sets if it has fewer than
    /// two inputs to match. [layout thread, or the layout not running]
    PairingReport getPairing() const;
    /// For the host library alone: begins to compare the time stamps of the inputs that are connected now.
    /// @return null while there is nothing to compare.
    PairingWatch* watchPairing(const TopologyLock&);
    std::unique_ptr<PairingWatch>& getPairingWatch(const TopologyLock&) { return pairing_; }
    const PairingWatch* getPairingWatch(const TopologyLock&) const { return pairing_.get(); }

protected:
    void setManager(LayoutManager* layout) override;

private:
    friend class LayoutManager;  // calls setManager, which filters of other modules know as protected

    const bool schedulable_;
    std::unique_ptr<PairingWatch> pairing_;  // null while there is nothing to compare
};

}  // namespace Kavelin::Core
