#pragma once

#include <Kavelin/Typed/ValueProperty.h>

#include <limits>
#include <string>

namespace Kavelin::Core {

// Named, since g++ 12 fails on a call in the default of a member that a designated initialiser leaves out.
template <class T>
inline constexpr T kLowest = std::numeric_limits<T>::lowest();
template <class T>
inline constexpr T kHighest = std::numeric_limits<T>::max();

/// Range, step, default and unit of a property, readable at a glance where it is declared. A bound that is
/// left out is the type's; a default outside the bounds becomes the minimum.
template <class T>
struct Range {
    T minimum = kLowest<T>;
    T maximum = kHighest<T>;
    T step = T{};  ///< a hint for editors of the value, 0 for none; not enforced
    T value = T{};
    const char* unit = "";
};

/// A number within bounds, both included.
template <class T>
class RangeProperty : public ValueProperty<T> {
public:
    using Handler = typename ValueProperty<T>::Handler;

    RangeProperty(const std::string& name, PropertyBagOwner* owner, const Range<T>& range,
                  Handler handler = {})
        : ValueProperty<T>(name, owner, defaultOf(range), std::move(handler)), range_(range) {
        this->setForm(kPropertyForm<RangeProperty>);
    }

    void accept(Util::System::AbstractVisitor& visitor) const override {
        if (!Util::System::visitAs(visitor, *this)) ValueProperty<T>::accept(visitor);
    }
    /// @throws Poco::NoPermissionException, what the handler throws, Poco::RangeException.
    void validate(const T& value) const override {
        this->requireWritable();
        // Deliberate: the handler is called before the range is tested, so it also sees, and acts on, values
        // that are then refused.
        this->callHandler(value);
        if (isOutside(range_, value)) {
            throw Poco::RangeException(streamed(value) + " does not fit in [" + streamed(range_.minimum) +
                                       ";" + streamed(range_.maximum) +
                                       "], (step : " + streamed(range_.step) + ")");
        }
    }
    PropertyDescription describeForm() const {
        PropertyDescription description = ValueProperty<T>::describeForm();
        description.unit = range_.unit;
        description.minimum = TextForm<T>::exact(range_.minimum);
        description.maximum = TextForm<T>::exact(range_.maximum);
        description.step = TextForm<T>::exact(range_.step);
        return description;
    }

    T getMinimum() const { return range_.minimum; }
    T getMaximum() const { return range_.maximum; }
    T getStep() const { return range_.step; }
    /// Changes the bounds. A value outside them moves to the minimum as by `set`, with check, handler and
    /// observers; then the observers are told of the new bounds.
    /// @throws what `validate` throws for that move; bounds and value stay as they were then.  [any thread]
    void setRange(T minimum, T maximum, T step) {
        const Synchronizer::DisablerLocker locker(this->getSynchronizer(), nullptr);
        const Range<T> old = range_;
        range_.minimum = minimum;
        range_.maximum = maximum;
        range_.step = step;
        if (isOutside(range_, this->value())) {
            try {
                validate(minimum);
            } catch (...) {
                range_ = old;
                throw;
            }
            this->assign(minimum);
        }
        this->notifyAttributeChanged();
    }

private:
    // A value that is neither below nor above, such as NaN, is inside.
    static bool isOutside(const Range<T>& range, T value) {
        return value < range.minimum || value > range.maximum;
    }
    static T defaultOf(const Range<T>& range) {
        return isOutside(range, range.value) ? range.minimum : range.value;
    }

    Range<T> range_;
};

}  // namespace Kavelin::Core
