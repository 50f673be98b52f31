#pragma once

#include <Kavelin/Core/Export.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Kavelin::Core {

class AbstractProperty;
class PropertyObserver;
class Synchronizer;

/// A property's value as a bag saves it.
struct SavedValue {
    enum class Kind {
        written,  ///< was written
        initial,  ///< never written: the owner's initial value, which need not be the one it works with
        refused,  ///< was refused after the last value that was taken; the handler may have acted on it
    };
    std::string name;
    std::string text;  ///< exact
    Kind kind = Kind::written;
    bool operator==(const SavedValue&) const = default;
};

/// The properties of one owner, in the order of their creation.
class KAVELIN_API PropertyBag {
public:
    using SavedValues = std::vector<SavedValue>;

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

    /// Every writable property that has a value, in a text that reads back to exactly that value: those never written
    /// first, then accepted and refused values in their original order,
    /// as the effect of a handler depends on earlier writes.
    SavedValues save() const;
    /// Brings the owner into the state in which they were saved: sets the named properties in the given
    /// order, each as any write does, handlers and observers included; then settles them. Skips a property
    /// that was never written, neither there nor here, and already has the value.
    /// @throws Poco::NotFoundException for an unknown name, before anything is changed;
    /// Poco::InvalidArgumentException, naming each refused value and why, after all others have been set.
    void restore(const SavedValues& values);
    /// Restores those values that the handler of another property has changed since they were set. Tells the
    /// observers, calls no handler, and leaves the order of the writes as it is.
    void settle(const SavedValues& values);

    /// Observes every property of the bag. The observer is lent.
    void addObserver(PropertyObserver& observer);
    void removeObserver(PropertyObserver& observer);

private:
    friend class AbstractProperty;

    Synchronizer* synchronizer_;
    std::uint64_t writes_ = 0;  // taken or refused so far
    bool isSettling_ = false;
    std::vector<AbstractProperty*> properties_;
    std::vector<PropertyObserver*> observers_;
};

}  // namespace Kavelin::Core
