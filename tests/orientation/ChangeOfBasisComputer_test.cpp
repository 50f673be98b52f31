#include "orientation/frames/ChangeOfBasisComputer.h"

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

}  // namespace
}  // namespace Kavelin::OrientationInternal
