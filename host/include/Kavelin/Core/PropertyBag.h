#pragma once

#include <Kavelin/Core/Export.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Kavelin::Core {

class AbstractProperty;
class PropertyObserver;
class Synchronizer;

/// The properties of one owner, in the order of their creation.
class KAVELIN_API PropertyBag {
public:
    using SavedValues = std::vector<std::pair<std::string, std::string>>;  ///< name, exact text; in order

    /// @param synchronizer what a write to one of the properties holds disabled; may be null.
    explicit PropertyBag(Synchronizer* synchronizer);
    PropertyBag(const PropertyBag&) = delete;
    PropertyBag& operator=(const PropertyBag&) = delete;

    Synchronizer* getSynchronizer() const { return synchronizer_; }
    const std::vector<AbstractProperty*>& getProperties() const { return properties_; }
    /// Property by name, null when there is none.
    AbstractProperty* find(const std::string& name) const;
    /// Property by name.  @throws Poco::NotFoundException naming what exists.
    AbstractProperty& get(const std::string& name) const;

    /// Every property that has a value, in a text that reads back to exactly that value.
    SavedValues save() const;
    /// Sets the named properties in the given order, each as any write does, handlers and observers included.
    /// @throws Poco::NotFoundException for an unknown name, before anything is changed;
    /// Poco::InvalidArgumentException, naming each refused value and why, after all others have been set.
    void restore(const SavedValues& values);

    /// Observes every property of the bag. The observer is lent.
    void addObserver(PropertyObserver& observer);
    void removeObserver(PropertyObserver& observer);

private:
    friend class AbstractProperty;

    Synchronizer* synchronizer_;
    std::vector<AbstractProperty*> properties_;
    std::vector<PropertyObserver*> observers_;
};

}  // namespace Kavelin::Core
