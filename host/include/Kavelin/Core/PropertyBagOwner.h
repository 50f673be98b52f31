#pragma once

#include <Kavelin/Core/PropertyBag.h>

namespace Kavelin::Core {

/// Something that owns a bag of properties.
class KAVELIN_API PropertyBagOwner {
public:
    PropertyBag& getPropertyBag() { return bag_; }
    const PropertyBag& getPropertyBag() const { return bag_; }

protected:
    explicit PropertyBagOwner(Synchronizer* synchronizer) : bag_(synchronizer) {}
    ~PropertyBagOwner() = default;

private:
    PropertyBag bag_;
};

}  // namespace Kavelin::Core
