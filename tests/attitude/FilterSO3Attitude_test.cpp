#include "attitude/FilterSO3Attitude.h"

#include "support/FilterTest.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

class FilterSO3Test : public testing::Test {
protected:
    // Every n-th sample of each sensor.
    void run(const std::vector<MotionSample>& samples, std::size_t accEvery = 1, std::size_t fieldEvery = 1) {
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const MotionSample& s = samples[i];
            if (i % accEvery == 0) h_.feed("3a", s.t, s.acc.transpose());
            h_.feed("3g", s.t, s.rate.transpose());
            if (i % fieldEvery == 0) h_.feed("3m", s.t, s.field.transpose());
            h_.process(4);  // more than can have come
        }
    }
    std::vector<double> times() const {
        std::vector<double> all;
        for (const Sent& sent : h_.sent("attitudeQ")) all.push_back(sent.t);
        return all;
    }

    FilterHarness<FilterSO3Attitude> h_;
};

TEST_F(FilterSO3Test, SendsEverythingInOrder) {
    h_.feed("3a", 1, row({0, 0, 9.81}));
    h_.feed("3g", 1, row({0, 0, 0}));
    h_.feed("3m", 1, row({0, 20, -40}));
    h_.process();
    std::vector<std::string> sent;
    for (const Sent& s : h_.sends()) sent.push_back(s.pin);
    EXPECT_EQ(sent, (std::vector<std::string>{"attitudeQ", "attitude", "3g_bias", "3a_bias", "3m_hardiron",
                                              "3a_lin", "sigma", "flag_rest", "flag_mag", "flag_mag_body"}));
    EXPECT_THAT(h_.sends()[0].value, isNearMatrix(row({1, 0, 0, 0})));
    EXPECT_THAT(h_.sends()[1].value, isNearMatrix(Matrix(Matrix::Identity(3, 3))));
    EXPECT_THAT(h_.sends()[6].value, isNearMatrix(row({0.139, kPi})));
}

TEST_F(FilterSO3Test, SendsWhatItFound) {
    SensorErrors errors{.rateBias = {0.03, 0, -0.02}, .fieldBias = {12, -5, 4}};
    const auto samples = record(Motion(), 60, 100, errors);
    run(samples);
    const Matrix q = h_.sent("attitudeQ").back().value;
    EXPECT_THAT(q, isSameRotationAs(samples.back().truth.wxyz(), 0.06));
    EXPECT_THAT(h_.sent("attitude").back().value, isSameRotationAs(q.transpose(), 1e-9));
    EXPECT_THAT(h_.sent("3g_bias").back().value, isNearMatrix(row({0.03, 0, -0.02}), 1e-3));
    EXPECT_THAT(h_.sent("3m_hardiron").back().value, isNearMatrix(row({12, -5, 4}), 0.5));
    EXPECT_EQ(h_.sent("flag_mag_body")[100].value, row({0}));
    EXPECT_EQ(h_.sent("flag_mag_body").back().value, row({1}));
    EXPECT_LT(h_.sent("sigma").back().value.maxCoeff(), 0.1);
}

TEST_F(FilterSO3Test, ARateTakesTheAccelerationOfItsOwnInstant) {
    h_.feed("3g", 1.0, row({0, 0, 0}));
    h_.process();
    EXPECT_TRUE(h_.sends().empty()) << "it waits for an acceleration";
    h_.feed("3a", 1.0, row({0, 0, 9.81}));
    h_.process();
    for (const double t : {1.01, 1.02, 1.03}) h_.feed("3g", t, row({0, 0, 0}));
    h_.process(3);
    EXPECT_THAT(times(), ElementsAre(1.0));
    h_.feed("3a", 1.025, row({2.5, 0, 9.81}));
    h_.process(3);
    EXPECT_THAT(times(), ElementsAre(1.0, 1.01, 1.02));
    EXPECT_NEAR(h_.sent("3a_lin")[1].value(0), 1, 0.1) << "on the line between its neighbours";
    h_.feed("3a", 1.2, row({0, 0, 9.81}));
    h_.process();
    EXPECT_EQ(h_.sent("3a_lin").back().value, h_.sent("3a_lin")[2].value) << "too far apart for a line";
    h_.feed("3g", 0.5, row({0, 0, 0}));
    h_.process();
    EXPECT_EQ(times().size(), 4u) << "the clock was set back: this rate waits for its own acceleration";
}

TEST_F(FilterSO3Test, SlowAccelerationsAndFieldsCostLittle) {
    const auto samples = record(Motion(), 30, 200);
    run(samples, 2, 5);
    ASSERT_GE(times().size(), samples.size() - 1);
    double most = 0;
    for (const Sent& sent : h_.sent("attitudeQ")) {
        if (sent.t < 5) continue;
        const auto i = static_cast<std::size_t>(std::lround(sent.t * 200));
        const Eigen::Quaterniond q(sent.value(0), sent.value(1), sent.value(2), sent.value(3));
        most = std::max(most, q.angularDistance(samples[i].truth.q_earth_sensor));
    }
    EXPECT_LT(most, 0.02);
}

TEST_F(FilterSO3Test, BadShapesAreDroppedAndPropertiesReachTheEstimator) {
    for (const Matrix& bad : {column({0, 0, 9.81}), row({0, 0}), Matrix()}) {
        h_.feed("3a", 0, bad);
        h_.feed("3g", 0, bad);
        h_.feed("quat_0", 0, bad);
        h_.process(3);
    }
    EXPECT_TRUE(h_.sends().empty());
    const auto samples = record(Motion({.yaw = {}, .pitch = {}, .roll = {}}), 5, 100);
    h_.set("Use 3m", "0");
    h_.set("Rest time", "3");
    run(samples);
    EXPECT_EQ(h_.sent("sigma").back().value(1), kPi) << "no field, no heading";
    EXPECT_EQ(h_.sent("flag_rest")[290].value, row({0}));
    EXPECT_EQ(h_.sent("flag_rest").back().value, row({1}));
    h_.command("Reset");
    h_.clear();
    h_.set("Accelerometer range", "1");
    run(samples);
    EXPECT_TRUE(h_.sends().empty()) << "every acceleration is clipped";
    h_.set("Accelerometer range", "0");
    h_.command("Reset");
    h_.feed("quat_0", 0, row({0, 0, 0, 2}));
    run(samples);
    EXPECT_THAT(h_.sent("attitudeQ").back().value, isSameRotationAs(Eigen::Vector4d(0, 0, 0, 1), 0.05));
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
