#include "orientation/ChangeOfBasisComputer.h"

#include "support/Matchers.h"
#include "support/RotationCases.h"
#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Basis = ChangeOfBasisComputer::Basis;

Matrix3 someMatrix() {
    Matrix3 x;
    x << 1, 2, 3, 4, 5, 6, 7, 8, 10;
    return x;
}

TEST(ChangeOfBasisComputer, TurnsAMatrixIntoTheBasisOfARotation) {
    for (const auto& rotation : rotationCases()) {
        ChangeOfBasisComputer orthonormal, general;
        orthonormal.setOrthonormalBasis(rotation.matrix());
        EXPECT_TRUE(general.setGeneralBasis(rotation.matrix()));
        Basis a, b;
        ASSERT_TRUE(orthonormal.apply(someMatrix(), a) && general.apply(someMatrix(), b)) << rotation.name;
        EXPECT_THAT(a, isNearMatrix(rotation.matrix().transpose() * someMatrix() * rotation.matrix(), 1e-13));
        EXPECT_THAT(b, isNearMatrix(a, 1e-12)) << rotation.name;
    }
}

TEST(ChangeOfBasisComputer, TransposesWhatItIsToldIsOrthonormalAndInvertsWhatIsNot) {
    // Deliberate: a scaling taken as orthonormal is not inverted.
    const Basis scaling = Vector3(2, 2, 2).asDiagonal();
    ChangeOfBasisComputer computer;
    Basis result;
    computer.setOrthonormalBasis(scaling);
    ASSERT_TRUE(computer.apply(someMatrix(), result));
    EXPECT_THAT(result, isNearMatrix(4 * someMatrix()));
    EXPECT_TRUE(computer.setGeneralBasis(scaling));
    ASSERT_TRUE(computer.apply(someMatrix(), result));
    EXPECT_THAT(result, isNearMatrix(someMatrix()));

    computer.setOrthonormalBasis((Basis(1, 9) << 0, 1, 0, 0, 0, 1, 1, 0, 0).finished());  // read row by row
    ASSERT_TRUE(computer.apply(Vector3(1, 2, 3).asDiagonal().toDenseMatrix(), result));
    EXPECT_THAT(result, isNearMatrix(Vector3(3, 1, 2).asDiagonal().toDenseMatrix()));
    EXPECT_THROW(computer.setOrthonormalBasis(Basis::Identity(2, 2)), std::invalid_argument);
}

TEST(ChangeOfBasisComputer, KeepsTheInverseOfABasisThatHasNoneAndSkipsProductsThatDoNotExist) {
    ChangeOfBasisComputer computer;
    Basis result = Basis::Constant(1, 1, -7);
    computer.setOrthonormalBasis(Vector3(2, 2, 2).asDiagonal().toDenseMatrix());
    const Basis columns = (Basis(3, 2) << 1, 0, 0, 1, 0, 0).finished();
    EXPECT_FALSE(computer.setGeneralBasis(columns));  // the new basis with the inverse of the old one
    ASSERT_TRUE(computer.apply(someMatrix(), result));
    EXPECT_THAT(result, isNearMatrix(2 * someMatrix() * columns));

    struct Row {
        const char* name;
        Basis basis;
        bool invertible;
    };
    const Row rows[] = {{"4x4", Basis::Identity(4, 4), true},   {"1x1", Basis::Identity(1, 1), true},
                        {"singular", Basis::Ones(2, 2), false}, {"2x3", Basis::Ones(2, 3), false},
                        {"no elements", Basis(0, 0), true},     {"4x3", Basis::Ones(4, 3), false},
                        {"3x2 after these", columns, false}};
    for (const Row& row : rows) {
        EXPECT_EQ(computer.setGeneralBasis(row.basis), row.invertible) << row.name;
        result = Basis::Constant(1, 1, -7);
        EXPECT_FALSE(computer.apply(someMatrix(), result)) << row.name;
        EXPECT_EQ(result, Basis::Constant(1, 1, -7)) << row.name;
    }
    computer.setOrthonormalBasis(Basis::Identity(3, 3));
    ASSERT_TRUE(computer.apply(someMatrix(), result));
    EXPECT_EQ(result, Basis(someMatrix()));
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
