#include <Kavelin/Core/Filter.h>
#include <Kavelin/Core/LayoutManager.h>

namespace Kavelin::Core {

Filter::Filter(const std::string& name, bool schedulable)
    : PinManager(name), PropertyBagOwner(PinManager::getSynchronizer()), schedulable_(schedulable) {}

Filter::~Filter() {
    if (getManager() != nullptr) getManager()->forget(*this);
}

void Filter::setManager(LayoutManager* layout) { PinManager::setManager(layout); }

}  // namespace Kavelin::Core
