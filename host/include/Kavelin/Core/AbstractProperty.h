#pragma once

#include <Kavelin/Core/NamedObject.h>
#include <Kavelin/Core/PropertyBag.h>
#include <Poco/Any.h>
#include <Util/System/Visitor.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Kavelin::Core {

class AbstractProperty;
class PropertyBagOwner;
class Synchronizer;

/// Is told of changes of properties.
/// Called in the writing thread while the property's synchronizer is held disabled.
class KAVELIN_API PropertyObserver {
public:
    virtual ~PropertyObserver();
    virtual void valueChanged(const AbstractProperty& property);
    /// Something other than the value: range, labels, a flag.
    virtual void attributeChanged(const AbstractProperty& property);
};

/// What a person may want to know of a property. Texts are exact; what does not apply is absent.
struct PropertyDescription {
    std::string
        kind;  ///< "int", "double", "bool", "unsigned int", "text", "matrix", "enum", "file name", "command"
    std::string unit;
    std::optional<std::string> minimum, maximum, step;
    std::vector<std::string> labels;
};

class AbstractProperty;

/// How a property is kept and described. A table of functions, not virtual operations: those stand in a fixed
/// order, which typed properties continue.
struct PropertyForm {
    bool hasValue;
    std::string (*exactText)(const AbstractProperty&);
    void (*setExactText)(AbstractProperty&, const std::string&);
    PropertyDescription (*describe)(const AbstractProperty&);
};

/// The form of a class with `writeExact`, `readExact` and `describeForm`.
template <class P, bool kHasValue = true>
inline constexpr PropertyForm kPropertyForm{
    kHasValue, [](const AbstractProperty& p) { return static_cast<const P&>(p).writeExact(); },
    [](AbstractProperty& p, const std::string& text) { static_cast<P&>(p).readExact(text); },
    [](const AbstractProperty& p) { return static_cast<const P&>(p).describeForm(); }};

/// A named, observable setting in a property bag.
class KAVELIN_API AbstractProperty : public NamedObject, public Util::System::AbstractVisitable {
public:
    class KAVELIN_API ScopedChangeValueNotifier;

    /// @throws Poco::ExistsException when the bag has a property of that name.
    AbstractProperty(const std::string& name, PropertyBag* bag);
    AbstractProperty(const std::string& name, PropertyBagOwner* owner);
    ~AbstractProperty() override;

    void accept(Util::System::AbstractVisitor& visitor) const override;
    /// Whether a write can succeed at all.
    virtual bool isWritable() const { return true; }
    /// A hint for user interfaces: whether the property currently has an effect. Refuses nothing.
    virtual bool isEnabled() const { return true; }
    /// Writes the value in its text form.
    virtual void serialize(std::string& out) const = 0;
    /// Reads the text form and sets the value.  @throws Poco::DataFormatException, and what a set throws.
    virtual void deSerialize(const std::string& text) = 0;
    /// Sets the value.  @throws Poco::BadCastException for another type, and what a set throws.
    virtual void setAny(const Poco::Any& value) = 0;
    virtual Poco::Any getAny() const = 0;

    /// False for what has no value to keep (a command).
    bool hasValue() const { return form_->hasValue; }
    /// A text that `setExactText` reads back to exactly the present value.
    std::string exactText() const { return form_->exactText(*this); }
    /// Sets what `exactText` wrote; reads every text form too.  @throws as `deSerialize`.
    void setExactText(const std::string& text) { form_->setExactText(*this, text); }
    PropertyDescription describe() const { return form_->describe(*this); }

    // What the functions above do unless a derived class sets another form.
    std::string writeExact() const;
    void readExact(const std::string& text) { deSerialize(text); }
    PropertyDescription describeForm() const { return {}; }

    /// What a write holds disabled; null where the owner has none.
    Synchronizer* getSynchronizer() const { return bag_ == nullptr ? nullptr : bag_->getSynchronizer(); }

    /// The observer is lent until it is removed.  [any thread]
    void addObserver(PropertyObserver& observer);
    void removeObserver(PropertyObserver& observer);

protected:
    /// Tells observers that something other than the value changed.
    void notifyAttributeChanged() const;
    bool hasObservers() const;
    /// Each derived class sets its own in its constructor. Lent for good.
    void setForm(const PropertyForm& form) { form_ = &form; }

    /// A write was taken.  [synchronizer disabled]
    void noteTaken();
    /// A write was refused; its handler may have acted on it.  @param exactText as `exactText`.
    /// [synchronizer disabled]
    void noteRefused(std::string exactText);
    /// The value is the owner's own: forgets the writes.  [in the constructor of a property]
    void noteInitial() { taken_ = refused_ = 0; }
    /// Whether the bag is putting a value back; handlers are not called then. [synchronizer disabled]
    bool isSettling() const;

private:
    friend class PropertyBag;

    void notifyValueChanged() const;

    PropertyBag* bag_;
    std::uint64_t taken_ = 0;    // number of the bag's write that was last taken; 0: none
    std::uint64_t refused_ = 0;  // the same of the one refused
    std::string refusedText_;
    const PropertyForm* form_;
    std::vector<PropertyObserver*> observers_;
};

/// Encloses a change of value: on leaving, tells the observers of a change,
/// unless an exception is propagating.
class KAVELIN_API AbstractProperty::ScopedChangeValueNotifier {
public:
    ScopedChangeValueNotifier(const AbstractProperty* property, bool notify);
    ~ScopedChangeValueNotifier() noexcept(false);
    ScopedChangeValueNotifier(const ScopedChangeValueNotifier&) = delete;
    ScopedChangeValueNotifier& operator=(const ScopedChangeValueNotifier&) = delete;

private:
    const AbstractProperty* property_;
    bool notify_;
    int exceptions_;
};

}  // namespace Kavelin::Core
