#include <Kavelin/Core/Filter.h>
#include <Kavelin/Core/LayoutManager.h>

#include "PairingWatch.h"

namespace Kavelin::Core {

Filter::Filter(const std::string& name, bool schedulable)
    : PinManager(name), PropertyBagOwner(PinManager::getSynchronizer()), schedulable_(schedulable) {}

Filter::~Filter() {
    if (getManager() != nullptr) getManager()->forget(*this);
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

void Filter::watchPairing() {
    auto watch = pairing_ == nullptr ? std::make_unique<PairingWatch>() : std::move(pairing_);
    watch->update(getInputPins());
    if (watch->isOn()) pairing_ = std::move(watch);
}

void Filter::comparePairing() { pairing_->note(); }

}  // namespace Kavelin::Core
