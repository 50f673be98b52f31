#pragma once

#include <limits>
#include <string>

#include "core/ValueProperty.h"

namespace Kavelin::Core {

// Named, since g++ 12 fails on a call in the default of a member that a designated initialiser leaves out.
template <class T>
inline constexpr T kLowest = std::numeric_limits<T>::lowest();
template <class T>
inline constexpr T kHighest = std::numeric_limits<T>::max();

/// Range, step, default and unit of a property, to be read at a glance where it is declared.
template <class T>
struct Range {
    T minimum = kLowest<T>;
    T maximum = kHighest<T>;
    T step = T{};  ///< a hint for who edits the value; not enforced
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
        : ValueProperty<T>(name, owner, range.value, std::move(handler)), range_(range) {}

    void accept(Util::System::AbstractVisitor& visitor) const override {
        if (!Util::System::visitAs(visitor, *this)) ValueProperty<T>::accept(visitor);
    }
    /// @throws Poco::NoPermissionException, what the handler throws, Poco::RangeException.
    void validate(const T& value) const override {
        this->requireWritable();
        // Deliberate: the handler hears of a value before its range is tested, so it also sees, and has acted
        // on, values that are then refused.
        this->callHandler(value);
        if (value < range_.minimum || value > range_.maximum) {
            throw Poco::RangeException(streamed(value) + " does not fit in [" + streamed(range_.minimum) +
                                       ";" + streamed(range_.maximum) +
                                       "], (step : " + streamed(range_.step) + ")");
        }
    }
    PropertyDescription describe() const override {
        PropertyDescription description = ValueProperty<T>::describe();
        description.unit = range_.unit;
        description.minimum = TextForm<T>::exact(range_.minimum);
        description.maximum = TextForm<T>::exact(range_.maximum);
        description.step = TextForm<T>::exact(range_.step);
        return description;
    }

    T getMinimum() const { return range_.minimum; }
    T getMaximum() const { return range_.maximum; }
    T getStep() const { return range_.step; }
    /// Changes the bounds; a value outside of them moves to the minimum.  [any thread]
    void setRange(T minimum, T maximum, T step) {
        const Synchronizer::DisablerLocker locker(this->getSynchronizer(), nullptr);
        range_.minimum = minimum;
        range_.maximum = maximum;
        range_.step = step;
        if (this->value() < minimum || this->value() > maximum) this->assignUnchecked(minimum);
        this->notifyAttributeChanged();
    }

private:
    Range<T> range_;
};

}  // namespace Kavelin::Core
