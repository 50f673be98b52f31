#pragma once

#include <Kavelin/Typed/EnumProperty.h>

#include <string>
#include <vector>

namespace Kavelin::Core {

/// A list of labels that stands for a filter's own enumeration, whose values are the indices.
template <class E, class Label>
class EnumEnumProperty : public EnumProperty<Label> {
public:
    using EnumHandler = Util::System::Functor<void, Util::System::Seq<const E&>>;

    /// @param onEnum receives each accepted value, as the enumeration, before it is in place.
    EnumEnumProperty(const std::string& name, PropertyBagOwner* owner, std::vector<Label> labels, int index,
                     EnumHandler onEnum = {})
        : EnumProperty<Label>(name, owner, std::move(labels), index), onEnum_(std::move(onEnum)) {}

    void accept(Util::System::AbstractVisitor& visitor) const override {
        if (!Util::System::visitAs(visitor, *this)) EnumProperty<Label>::accept(visitor);
    }
    void validate(const int& index) const override {
        EnumProperty<Label>::validate(index);
        validateEnum(index);
    }
    /// The last step of the check: hands the accepted value on.
    virtual void validateEnum(const int& index) const {
        if (onEnum_) onEnum_(static_cast<E>(index));
    }

    E getEnum() const { return static_cast<E>(this->get()); }
    void setEnum(E value) { this->set(static_cast<int>(value)); }
    void setEnumHandler(EnumHandler onEnum) {
        const Synchronizer::DisablerLocker locker(this->getSynchronizer(), nullptr);
        onEnum_ = std::move(onEnum);
    }

private:
    EnumHandler onEnum_;
};

}  // namespace Kavelin::Core
