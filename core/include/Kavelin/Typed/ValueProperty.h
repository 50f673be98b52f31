#pragma once

#include <Kavelin/Core/AbstractProperty.h>
#include <Kavelin/Core/PropertyBagOwner.h>
#include <Kavelin/Core/Synchronizer.h>
#include <Kavelin/Typed/TextForm.h>
#include <Poco/Any.h>
#include <Poco/Exception.h>
#include <Util/System/Functor.h>

#include <functional>
#include <string>
#include <utility>

namespace Kavelin::Core {

/// Whether a write of `b` over `a` changes anything.
template <class T>
bool isSameValue(const T& a, const T& b) {
    return a == b;
}
inline bool isSameValue(const Matrix& a, const Matrix& b) {
    return a.rows() == b.rows() && a.cols() == b.cols() && a == b;
}

/// A property that holds a T. A handler is called with each new value before it is taken,
/// and can refuse it by raising.
template <class T>
class ValueProperty : public AbstractProperty {
public:
    using Handler = Util::System::Functor<void, Util::System::Seq<const T&>>;

    ValueProperty(const std::string& name, PropertyBagOwner* owner, T value, Handler handler = {})
        : AbstractProperty(name, owner), value_(std::move(value)), handler_(std::move(handler)) {
        this->setForm(kPropertyForm<ValueProperty>);
    }

    void accept(Util::System::AbstractVisitor& visitor) const override {
        if (!Util::System::visitAs(visitor, *this)) AbstractProperty::accept(visitor);
    }
    bool isWritable() const override { return writable_; }
    bool isEnabled() const override { return enabled_; }
    /// @throws Poco::DataFormatException when the value cannot be written.
    void serialize(std::string& out) const override {
        const Synchronizer::DisablerLocker locker(getSynchronizer(), nullptr);
        out = TextForm<T>::write(value_);
    }
    void deSerialize(const std::string& text) override { set(TextForm<T>::read(text)); }
    /// Takes a holder of a T, and one of what `getAny` gives.
    void setAny(const Poco::Any& value) override {
        if (const auto* reference = Poco::AnyCast<std::reference_wrapper<const T>>(&value)) {
            set(T(reference->get()));
            return;
        }
        const T* typed = Poco::AnyCast<T>(&value);
        if (typed == nullptr)
            throw Poco::BadCastException("RefAnyCast: Failed to convert between const Any types");
        set(*typed);
    }
    /// Holds a `std::reference_wrapper<const T>` to the value itself, so it always shows the present one; it
    /// ends with the property, and is to be read as `value()` is.
    Poco::Any getAny() const override { return std::cref(value_); }
    /// Raises to refuse a value; the default asks the writable flag, then the handler.
    /// @throws Poco::NoPermissionException, and what the handler throws.
    virtual void validate(const T& value) const {
        requireWritable();
        callHandler(value);
    }
    std::string writeExact() const {
        const Synchronizer::DisablerLocker locker(getSynchronizer(), nullptr);
        return TextForm<T>::exact(value_);
    }
    void readExact(const std::string& text) { set(TextForm<T>::readExact(text)); }
    PropertyDescription describeForm() const {
        PropertyDescription description;
        description.kind = TextForm<T>::kind();
        return description;
    }

    /// The value, read under the property's lock: what a filter's `process` uses. Correct in a layout, where
    /// it costs one thread-local look-up, and in a program that calls `process` itself. [any thread]
    T get() const {
        const Synchronizer* const synchronizer = getSynchronizer();
        if (synchronizer == nullptr || synchronizer->isHeldHere()) [[likely]]
            return value_;
        return getLocked();
    }
    /// The value in place, for what is too large to copy.  [synchronizer entered or disabled]
    const T& value() const { return value_; }
    /// Checks, assigns, tells the observers if the value changed.
    /// @throws what `validate` throws; the old value then stays and observers are not told. [any thread]
    void set(const T& value) {
        const Synchronizer::DisablerLocker locker(getSynchronizer(), nullptr);
        try {
            validate(value);
        } catch (...) {
            noteRefused(TextForm<T>::exact(value));
            throw;
        }
        assign(value);
    }

    /// Replaces the handler, with the synchronizer held disabled.
    void setHandler(Handler handler) {
        const Synchronizer::DisablerLocker locker(getSynchronizer(), nullptr);
        handler_ = std::move(handler);
    }
    /// Tells the observers if it is a change.  [any thread]
    void setWritable(bool writable) {
        const Synchronizer::DisablerLocker locker(getSynchronizer(), nullptr);
        if (writable == writable_) return;
        writable_ = writable;
        notifyAttributeChanged();
    }
    /// Sets the flag that says whether the property currently has an effect. The caller notifies.
    void setEnabled(bool enabled) { enabled_ = enabled; }
    using AbstractProperty::notifyAttributeChanged;

protected:
    void requireWritable() const {
        if (!writable_) throw Poco::NoPermissionException("Property '" + getName() + "' is not writable");
    }
    void callHandler(const T& value) const {
        if (handler_ && !isSettling()) handler_(value);
    }
    /// Puts a validated value in place and tells the observers if it changed. [synchronizer disabled]
    void assign(const T& value) {
        const ScopedChangeValueNotifier notifier(this, hasObservers() && !isSameValue(value, value_));
        value_ = value;
        noteTaken();
    }

private:
    [[gnu::noinline]] T getLocked() const {
        const Synchronizer::DisablerLocker locker(getSynchronizer(), nullptr);
        return value_;
    }

    T value_;
    bool enabled_ = true;
    bool writable_ = true;
    Handler handler_;
};

}  // namespace Kavelin::Core
