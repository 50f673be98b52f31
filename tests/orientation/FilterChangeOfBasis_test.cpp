#include "orientation/FilterChangeOfBasis.h"

#include "support/FilterTest.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Harness = FilterHarness<FilterChangeOfBasis>;

Matrix someMatrix() { return (Matrix(3, 3) << 1, 2, 3, 4, 5, 6, 7, 8, 10).finished(); }

/// Feeds one matrix, processes, returns what came out ("nothing" is 0x0).
Matrix step(Harness& h, const Matrix& x) {
    h.clear();
    h.feed("input matrix", 2.5, x);
    h.process();
    if (h.sends().empty()) return {};
    EXPECT_EQ(h.sends().back().t, 2.5);
    return h.sends().back().value;
}

TEST(FilterChangeOfBasis, KeepsItsBasisWhateverBecomesOfThePin) {
    Harness h;
    h.feed("Change-Of-Basis", 0.0, 2 * Matrix::Identity(3, 3));
    EXPECT_EQ(step(h, someMatrix()), 4 * someMatrix());
    Core::AbstractInputPin& pin = h.filter().getInputPin("Change-Of-Basis");
    pin.rebuildBuffer();
    EXPECT_EQ(step(h, someMatrix()), 4 * someMatrix()) << "rebuffered";
    Core::disconnect(pin);
    EXPECT_EQ(step(h, someMatrix()), 4 * someMatrix()) << "detached";
    Core::LayoutManager layout("layout");
    layout.add(h.filter());
    EXPECT_EQ(step(h, someMatrix()), 4 * someMatrix()) << "in a layout";
}

TEST(FilterChangeOfBasis, ChoosesTheInverseByTheElementsOfTheBasis) {
    struct Row {
        const char* name;
        Matrix basis, expected;  // 0x0: nothing sent
    };
    const Matrix x = someMatrix();
    const Matrix turn = Eigen::AngleAxisd(0.7, Eigen::Vector3d(2, -1, 2) / 3).toRotationMatrix();
    const Matrix columns = turn.leftCols(2);
    // one filter goes through all of them
    const Row rows[] = {{"identity", Matrix::Identity(3, 3), x},
                        {"a rotation", turn, turn.transpose() * x * turn},
                        {"a singular 2x2 has no Q", Matrix::Ones(2, 2), {}},
                        {"4x3 does not fit", Matrix::Ones(4, 3), {}},
                        {"3x2: the Q of the rotation", columns, turn.transpose() * x * columns},
                        {"4x4 does not fit", Matrix::Identity(4, 4), {}},
                        {"a singular 4x4", Matrix::Ones(4, 4), {}},
                        {"3x2 with the Q of the 4x4", columns, {}},
                        {"no elements", Matrix(0, 0), {}},
                        {"a scaling is transposed", 3 * Matrix::Identity(3, 3), 9 * x},
                        {"1x9 is read row by row", row({0, 1, 0, 1, 0, 0, 0, 0, 1}),
                         (Matrix(3, 3) << 5, 4, 6, 2, 1, 3, 8, 7, 10).finished()}};
    for (const std::string property : {"1", "0"}) {  // Deliberate: it makes no difference
        Harness h;
        h.set("Orthonormal Change Of Basis", property);
        for (const Row& row_ : rows) {
            h.feed("Change-Of-Basis", 0.0, row_.basis);
            EXPECT_THAT(step(h, x), isNearMatrix(row_.expected)) << row_.name;
            EXPECT_THAT(step(h, x.reshaped<Eigen::RowMajor>(9, 1)), isNearMatrix(row_.expected)) << row_.name;
        }
    }
}

TEST(ChangeOfBasisComputer, TakesNoOrthonormalBasisOfLessThanNineElements) {
    const ChangeOfBasisComputer::Basis small = Matrix::Identity(2, 2);
    EXPECT_THROW(ChangeOfBasisComputer().setOrthonormalBasis(small), std::invalid_argument);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
