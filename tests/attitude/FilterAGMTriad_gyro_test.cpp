#include "attitude/FilterAGMTriad_gyro.h"

#include "support/FilterTest.h"
#include "support/WallClock.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

const Matrix kAcc = column({0, 0, 2});
const Matrix kMag = column({3, 0, 4});
const Matrix kStill = column({0, 0, 0});

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
    Matrix sent(const char* pin) { return h_.sent(pin).at(0).value; }

    FilterHarness<FilterAGMTriad_gyro> h_;
};

TEST_F(FilterAGMTriadGyroTest, ShowsZeroWhileItWorksWithItsOwnValuesUntilTheyAreWritten) {
    EXPECT_EQ(h_.get("Init time") + h_.get("A"), "00");
    EXPECT_EQ(send(10.0), 0u);
    EXPECT_EQ(send(10.1), 0u) << "within the 0.2 s that are not shown";
    EXPECT_EQ(send(10.25), 4u);
    send(10.3, column({2, 0, 2}));
    const double across = 0.0005 * 2,
                 up = 0.9995 * (2.0 / 3 * 2) + 0.0005 * 2;  // two of three samples summed
    EXPECT_NEAR(sent("attitude")(2, 0), across / std::hypot(across, up), 1e-12) << "gain 0.0005, not 0";
    EXPECT_THROW(h_.set("Init time", "11"), Poco::RangeException);
    EXPECT_EQ(send(20.9), 0u) << "what was refused has reached the working copy";
}

TEST_F(FilterAGMTriadGyroTest, TakesItsThreeInputsTogetherAndSendsFourWithOneReadingOfTheWallClock) {
    h_.set("Init time", "0");
    h_.set("A", "0");
    send(0);
    h_.clear();
    h_.feed("3a", 0.1, kAcc);
    h_.feed("3a", 9, kAcc);
    h_.feed("3m", 0.3, kMag);
    h_.process(2);
    EXPECT_TRUE(h_.sends().empty());
    h_.feed("3g", 0.2, (Matrix(3, 3) << 0, 0, 1, 7, 7, 7, 7, 7, 7).finished());
    h_.process(2);
    const char* pins[] = {"attitudeQ", "attitude", "Acceleration Propre", "Perturbation Magnetique"};
    ASSERT_EQ(h_.sends().size(), 4u);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(h_.sends()[i].pin, pins[i]);
        EXPECT_EQ(h_.sends()[i].t, h_.sends()[0].t);
    }
    EXPECT_THAT(h_.sends()[0].t, IsWallClock());
    // The latest of the three times, and the first row of the square.
    EXPECT_THAT(sent("attitude"),
                isNearMatrix(AbsoluteAttitudeComputer::axisAngleToRotation(-0.3, Vector3::UnitZ())));
    EXPECT_THAT(sent("attitudeQ"), isNearMatrix(column({std::cos(0.15), 0, 0, -std::sin(0.15)})));
}

TEST_F(FilterAGMTriadGyroTest, ShapeTestIsLooseButNeedsThreeElements) {
    struct Row {
        Matrix sample;
        bool passes;
    };
    const Row rows[] = {{kStill, true},          {Matrix::Ones(3, 3), true}, {column({0, 0, 0, 9}), true},
                        {row({0, 0, 0}), false}, {column({0, 0}), false},    {Matrix(3, 0), false},
                        {Matrix(), false},       {Matrix::Zero(2, 2), false}};
    h_.set("Init time", "0");
    for (const Row& r : rows) {
        EXPECT_EQ(send(1, kAcc, kMag, r.sample), r.passes ? 4u : 0u)
            << r.sample.rows() << "x" << r.sample.cols();
        EXPECT_EQ(send(1, kAcc, r.sample, kStill), r.passes ? 4u : 0u);
        EXPECT_EQ(send(1, r.sample, kMag, kStill), r.passes ? 4u : 0u);
    }
}

TEST_F(FilterAGMTriadGyroTest, RestartsOnlyForAFirstElementOfOne) {
    h_.set("Init time", "0.5");
    send(0);
    for (const Matrix& no : {row({0.5}), row({0, 1}), Matrix()}) h_.feed("reset", 0, no);
    h_.process(3);
    EXPECT_EQ(send(1.1), 4u);
    h_.feed("reset", 0, row({1, 0}));
    EXPECT_EQ(send(1.2), 0u);
    EXPECT_EQ(send(1.8), 4u);
    h_.command("Ref");
    EXPECT_EQ(send(1.9), 0u);
}

TEST_F(FilterAGMTriadGyroTest, AbsoluteReferenceCountsFromTheRestartAfterItsOwn) {
    h_.set("Init time", "0");
    h_.set("Absolute Reference", "1");
    send(1);
    EXPECT_THAT(sent("Acceleration Propre"), isNearMatrix(kStill)) << "restarted, by the old value";
    h_.command("Ref");
    send(1);
    EXPECT_THAT(sent("Acceleration Propre"), isNearMatrix(column({0, 0, 1})))
        << "2 minus a reference of length 1";
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
