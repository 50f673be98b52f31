#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

#include "orientation/frames/ChangeOfBasisComputer.h"

namespace Kavelin::OrientationInternal {

/// Expresses each 3x3 matrix X in another basis P: Q X P, where Q stands for the inverse of P.
///
/// "input matrix": 9 elements, read row by row as 3x3; others are dropped. "Change-Of-Basis": the next basis,
/// looked at when a matrix came. One of 9 elements is taken as orthonormal (Q is its transpose), another one
/// is inverted, or keeps the Q before it when it has no inverse. "output matrix": stamped as the input;
/// before the first basis the input as it is, and never again after it; nothing when the product does not
/// exist (P of 4x4, say), until a basis fits again.
class FilterChangeOfBasis : public Filter, public Core::WithState<FilterChangeOfBasis> {
public:
    static constexpr const char* kTypeName = "FilterChangeOfBasis";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterChangeOfBasis(const std::string& name);
    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(computer_, hasBasis_);
    }

private:
    void takeBasis();

    static constexpr bool isAny(Core::PinShape) { return true; }

    InputPin<Matrix> basis_{"Change-Of-Basis",
                            this,
                            {.shape = {3, 3}, .takes = isAny, .takesText = "any", .isOptional = true},
                            AnyTime{}};
    InputPin<Matrix> in_{"input matrix", this, anyArrangement({.shape = {3, 3}})};
    OutputPin<Matrix> out_{"output matrix", this, {.shape = {3, 3}}};
    // Deliberate: never read. The number of elements of the basis decides how it is inverted.
    ValueProperty<bool> orthonormal_{"Orthonormal Change Of Basis", this, true};

    ChangeOfBasisComputer computer_;
    bool hasBasis_ = false;  // a basis once taken stays, whatever happens to its pin
};

}  // namespace Kavelin::OrientationInternal
