#include "attitude/FilterAGMTriad_gyro.h"

#include <vector>

#include "support/FilterHarness.h"
#include "support/Matchers.h"
#include "support/WallClock.h"

namespace Kavelin::OrientationInternal {
namespace {

using Testing::column;
using Testing::FilterHarness;
using Testing::row;
using Tests::isNearMatrix;

const Matrix kAcc = column({0, 0, 2});
const Matrix kMag = column({3, 0, 4});
const Matrix kStill = column({0, 0, 0});
const Matrix kIdentity = Matrix::Identity(3, 3);

class FilterAGMTriadGyroTest : public testing::Test {
protected:
    /// Feeds one triple and tells how many samples were sent.
    std::size_t send(double t, const Matrix& acc = kAcc, const Matrix& mag = kMag,
                     const Matrix& rate = kStill) {
        h_.clear();
        h_.feed("3a", t, acc);
        h_.feed("3m", t, mag);
        h_.feed("3g", t, rate);
        h_.process();
        return h_.sends().size();
    }
    void restart(double first) {
        h_.feed("reset", 0, row({first}));
        h_.process();
    }

    FilterHarness<FilterAGMTriad_gyro> h_;
};

TEST_F(FilterAGMTriadGyroTest, SendsItsFourPinsInOrderWithOneReadingOfTheWallClock) {
    h_.set("Init time", "0");
    ASSERT_EQ(send(1), 4u);
    const char* pins[] = {"attitudeQ", "attitude", "Acceleration Propre", "Perturbation Magnetique"};
    const Matrix values[] = {column({1, 0, 0, 0}), kIdentity, kStill, kStill};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(h_.sends()[i].pin, pins[i]);
        EXPECT_THAT(h_.sends()[i].value, isNearMatrix(values[i]));
        EXPECT_EQ(h_.sends()[i].t, h_.sends()[0].t);
    }
    EXPECT_THAT(h_.sends()[0].t, Tests::IsWallClock());
}

TEST_F(FilterAGMTriadGyroTest, ShowsZeroWhileItWorksWithItsOwnValuesUntilTheyAreWritten) {
    EXPECT_EQ(h_.get("Init time"), "0");
    EXPECT_EQ(h_.get("A"), "0");
    EXPECT_EQ(send(10.0), 0u);
    EXPECT_EQ(send(10.1), 0u) << "within the 0.2 s that are not shown";
    EXPECT_EQ(send(10.25), 4u);
    const Matrix acc = column({2, 0, 2});
    send(10.3, acc);
    // Half of the mean acceleration of two of three samples is what the blend makes of its prediction.
    const Matrix tilted = h_.sent("attitude").at(0).value;
    const double blended = 0.0005 * 2, up = 0.9995 * (2.0 / 3 * 2) + 0.0005 * 2;
    EXPECT_NEAR(tilted(2, 0), blended / std::hypot(blended, up), 1e-12) << "gain 0.0005, not 0";
}

TEST_F(FilterAGMTriadGyroTest, RefusedValuesHaveReachedTheWorkingCopies) {
    EXPECT_THROW(h_.set("Init time", "11"), Poco::RangeException);
    send(0);
    EXPECT_EQ(send(10.9), 0u);
    EXPECT_EQ(send(11.1), 4u);
    EXPECT_EQ(h_.get("Init time"), "0");
}

TEST_F(FilterAGMTriadGyroTest, HoldsWhatItHasUntilAllThreeAreThere) {
    h_.set("Init time", "0");
    h_.feed("3a", 1, kAcc);
    h_.feed("3a", 2, 2 * kAcc);
    h_.feed("3m", 1, kMag);
    h_.process(3);
    EXPECT_TRUE(h_.sends().empty());
    EXPECT_FALSE(h_.filter().getInputPin("3a").isEmpty());
    h_.feed("3g", 1, kStill);
    h_.process(2);
    EXPECT_EQ(h_.sends().size(), 4u);
    EXPECT_EQ(h_.filter().getInputPin("3a").getLastTimeStamp(), 1);
    EXPECT_TRUE(h_.filter().getInputPin("3a").isHolding()) << "the second waits for its partners";
}

TEST_F(FilterAGMTriadGyroTest, ShapeTestIsLooseButNeedsThreeElements) {
    const Matrix square = (Matrix(3, 3) << 0, 0, 0.1, 7, 7, 7, 7, 7, 7).finished();
    struct Row {
        Matrix rate;
        bool passes;
    };
    const Row rows[] = {{kStill, true},          {square, true},          {column({0, 0, 0, 9}), true},
                        {row({0, 0, 0}), false}, {column({0, 0}), false}, {row({1}), false},
                        {Matrix(3, 0), false},   {Matrix(), false},       {Matrix::Zero(2, 2), false}};
    for (const Row& r : rows) {
        h_.set("Init time", "0");
        EXPECT_EQ(send(1, kAcc, kMag, r.rate), r.passes ? 4u : 0u) << r.rate.rows() << "x" << r.rate.cols();
        EXPECT_EQ(send(1, kAcc, r.rate, kStill), r.passes ? 4u : 0u);
        EXPECT_EQ(send(1, r.rate, kMag, kStill), r.passes ? 4u : 0u);
    }
    EXPECT_TRUE(h_.filter().getInputPin("3a").isEmpty()) << "a triple that fails is dropped whole";
}

TEST_F(FilterAGMTriadGyroTest, UsesTheFirstRowOfASquareAndTheLatestOfTheThreeTimes) {
    h_.set("Init time", "0");
    h_.set("A", "0");
    send(0);
    h_.clear();
    h_.feed("3a", 0.1, kAcc);
    h_.feed("3m", 0.3, kMag);
    h_.feed("3g", 0.2, (Matrix(3, 3) << 0, 0, 1, 7, 7, 7, 7, 7, 7).finished());
    h_.process();
    const Matrix3 back = AbsoluteAttitudeComputer::axisAngleToRotation(-0.3, Vector3::UnitZ());
    EXPECT_THAT(h_.sent("attitude").at(0).value, isNearMatrix(back));
}

TEST_F(FilterAGMTriadGyroTest, GainOneIsTheFrameOfTheRawVectors) {
    h_.set("Init time", "0");
    h_.set("A", "1");
    send(0);
    send(1, column({1, -2, 9}), column({20, 5, -30}), column({9, 9, 9}));
    EXPECT_THAT(h_.sent("attitude").at(0).value,
                isNearMatrix(AbsoluteAttitudeComputer::frameFromGravityAndField({1, -2, 9}, {20, 5, -30})));
}

TEST_F(FilterAGMTriadGyroTest, RestartsOnlyForAFirstElementOfOne) {
    h_.set("Init time", "0.5");
    send(0);
    ASSERT_EQ(send(1), 4u);
    for (const double no : {0.5, 0.0, -1.0, 2.0}) restart(no);
    h_.feed("reset", 0, Matrix());
    h_.process();
    EXPECT_EQ(send(1.1), 4u);
    restart(1.0);
    EXPECT_EQ(send(1.2), 0u);
    EXPECT_EQ(send(1.8), 4u);
    h_.command("Ref");
    EXPECT_EQ(send(1.9), 0u);
}

TEST_F(FilterAGMTriadGyroTest, AbsoluteReferenceCountsFromTheRestartAfterItsOwn) {
    h_.set("Init time", "0");
    const auto proper = [this] {
        send(1);
        return h_.sent("Acceleration Propre").at(0).value;
    };
    EXPECT_THAT(proper(), isNearMatrix(kStill));
    h_.set("Absolute Reference", "1");
    EXPECT_THAT(proper(), isNearMatrix(kStill)) << "restarted, by the old value";
    h_.command("Ref");
    EXPECT_THAT(proper(), isNearMatrix(column({0, 0, 1}))) << "minus the idealised reference of length 1";
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
