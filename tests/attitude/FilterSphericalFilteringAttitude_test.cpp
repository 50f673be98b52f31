#include "attitude/FilterSphericalFilteringAttitude.h"

#include "support/DisturbedMotion.h"
#include "support/FilterTest.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

class FilterSphericalTest : public testing::Test {
protected:
    void feed(const MotionSample& s, bool withField = true) {
        h_.feed("3a", s.t, s.acc.transpose());
        h_.feed("3g", s.t, s.rate.transpose());
        if (withField) h_.feed("3m", s.t, s.field.transpose());
    }
    void run(const std::vector<MotionSample>& samples, bool withField = true) {
        for (const MotionSample& s : samples) {
            feed(s, withField);
            h_.process();
        }
    }

    FilterHarness<FilterSphericalFilteringAttitude> h_;
};

TEST_F(FilterSphericalTest, SendsEverythingInOrderWithTheLargestTimeStamp) {
    h_.feed("3a", 1.0, row({0, 0, 9.81}));
    h_.feed("3g", 1.5, row({0, 0, 0}));
    h_.feed("3m", 1.2, row({0, 20, -40}));
    h_.process();
    std::vector<std::string> pins;
    for (const auto& sent : h_.sends()) {
        pins.push_back(sent.pin);
        EXPECT_EQ(sent.t, 1.5);
    }
    EXPECT_EQ(pins, (std::vector<std::string>{"attitudeQ", "attitude", "3g_bias", "3a_prop", "flag_rest",
                                              "flag_mag"}));
    EXPECT_THAT(h_.sends()[0].value, isNearMatrix(row({1, 0, 0, 0})));
    EXPECT_THAT(h_.sends()[1].value, isNearMatrix(Matrix(Matrix::Identity(3, 3))));
    EXPECT_EQ(h_.sends()[5].value, row({0}));
}

TEST_F(FilterSphericalTest, AccelerationAndRateAreTakenTogetherAndTheFieldOnlyIfItIsThere) {
    h_.feed("3g", 0, row({0, 0, 0}));
    h_.feed("3m", 0, row({0, 20, -40}));
    h_.process();
    EXPECT_TRUE(h_.sends().empty());
    h_.feed("3a", 0.1, row({0, 0, 9.81}));
    h_.process();
    EXPECT_EQ(h_.sent("flag_mag").back().value, row({0})) << "the field waited for its pair";
    h_.feed("3a", 0.2, row({0, 0, 9.81}));
    h_.feed("3g", 0.2, row({0, 0, 0}));
    h_.process();
    EXPECT_EQ(h_.sent("attitude").size(), 2u) << "a missing field is a step without it";
}

TEST_F(FilterSphericalTest, OfSeveralFieldsTheNewestThatIsNoLaterThanThePairCounts) {
    h_.feed("3m", 0.0, row({20, 0, -40}));
    h_.feed("3m", 0.1, row({0, 20, -40}));
    h_.feed("3m", 0.2, row({-20, 0, -40}));
    h_.feed("3a", 0.1, row({0, 0, 9.81}));
    h_.feed("3g", 0.1, row({0, 0, 0}));
    h_.process();
    EXPECT_EQ(h_.sends().back().t, 0.1);
    EXPECT_THAT(h_.sent("attitude").back().value, isNearMatrix(Matrix(Matrix::Identity(3, 3))));
    h_.feed("3a", 0.15, row({0, 0, 9.81}));
    h_.feed("3g", 0.15, row({0, 0, 0}));
    h_.process();
    EXPECT_EQ(h_.sends().back().t, 0.2) << "one that is there is taken, whenever it was";
}

TEST_F(FilterSphericalTest, PairsOfOtherShapeAreConsumedAndDropped) {
    for (const Matrix& bad : {column({0, 0, 9.81}), row({0, 0}), row({0, 0, 9.81, 1}), Matrix()}) {
        h_.feed("3a", 0, bad);
        h_.feed("3g", 0, row({0, 0, 0}));
        h_.feed("3a", 0, row({0, 0, 9.81}));
        h_.feed("3g", 0, bad);
        h_.process(2);
        EXPECT_TRUE(h_.sends().empty()) << bad;
    }
    // A field of another shape, or NaN, counts as missing.
    for (const Matrix& none : {column({0, 20, -40}), row({0, NAN, -40}), row({0, 0, 0})}) {
        h_.command("Reset");
        h_.feed("3m", 0, none);
        h_.feed("3a", 0, row({0, 0, 9.81}));
        h_.feed("3g", 0, row({0, 0, 0}));
        h_.process();
        ASSERT_FALSE(h_.sends().empty());
        EXPECT_EQ(h_.sent("flag_mag").back().value, row({1})) << none;
    }
}

TEST_F(FilterSphericalTest, FollowsTheMotionThoughAccelerationsAndRatesAreLost) {
    const auto samples = recordDisturbed({.duration = 30, .rateBias = 0.02});
    for (const std::size_t period :
         {100000U, 50U, 2U}) {  // none, one in fifty, every second acceleration lost
        SCOPED_TRACE(period);
        h_.command("Reset");
        h_.clear();
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const MotionSample& s = samples[i];
            if (i % period != 1) h_.feed("3a", s.t, s.acc.transpose());
            if (i % std::max<std::size_t>(period, 50) != 7) h_.feed("3g", s.t, s.rate.transpose());
            h_.feed("3m", s.t, s.field.transpose());
            h_.process(2);
        }
        const Matrix q = h_.sent("attitudeQ").back().value;
        EXPECT_THAT(q, isSameRotationAs(samples.back().truth.wxyz(), 0.02));
        EXPECT_THAT(h_.sent("attitude").back().value, isSameRotationAs(q.transpose(), 1e-9));
        EXPECT_THAT(h_.sent("3g_bias").back().value, isNearMatrix(row({0.01155, -0.01155, 0.01155}), 2e-3));
        EXPECT_EQ(h_.sent("flag_rest")[period == 2 ? 200 : 500].value, row({1}));
        EXPECT_EQ(h_.sent("flag_rest").back().value, row({0}));
    }
}

TEST_F(FilterSphericalTest, PropertiesReachTheEstimator) {
    const auto samples = recordDisturbed({.duration = 3.5, .rateBias = 0.02});
    h_.set("Use 3m", "0");
    run(samples);
    EXPECT_EQ(h_.sent("flag_mag").back().value, row({1})) << "a field that is not used is none";
    h_.command("Reset");
    h_.set("Use 3m", "1");
    h_.set("Bias limit", "0.01");
    h_.clear();
    run(samples);
    EXPECT_EQ(h_.sent("flag_mag").back().value, row({0}));
    for (const auto& flag : h_.sent("flag_rest"))
        ASSERT_EQ(flag.value, row({0})) << "the rate at rest is beyond the limit";
    EXPECT_THROW(h_.set("Gravity time constant", "0"), Poco::RangeException);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
