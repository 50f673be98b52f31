#include <Kavelin/Core/Filter.h>
#include <Kavelin/Core/LayoutManager.h>

#include "Layout.h"
#include "PairingWatch.h"

namespace Kavelin::Core {

Filter::Filter(const std::string& name, bool schedulable)
    : PinManager(name), PropertyBagOwner(PinManager::getSynchronizer()), schedulable_(schedulable) {}

Filter::~Filter() {
    if (getManager() != nullptr) getManager()->inside().forget(*this);
}

void Filter::processOnce() {
    const Synchronizer::ProcessScope scope(*getSynchronizer());
    process();
}

void Filter::setManager(LayoutManager* layout) {
    PinManager::setManager(layout);
    pairing_.reset();
}

PairingReport Filter::getPairing() const {
    return pairing_ == nullptr ? PairingReport() : pairing_->report();
}

PairingWatch* Filter::watchPairing(const TopologyLock&) {
    auto watch = pairing_ == nullptr ? std::make_unique<PairingWatch>() : std::move(pairing_);
    watch->update(getInputPins());
    if (watch->isOn()) pairing_ = std::move(watch);
    return pairing_.get();
}

}  // namespace Kavelin::Core
