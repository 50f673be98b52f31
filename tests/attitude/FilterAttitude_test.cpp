#include "attitude/FilterAttitude.h"

#include <Kavelin/Core/AbstractProperty.h>

#include "support/FilterTest.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

const Matrix kUp = row({0, 0, 9.81});
const Matrix kField = row({20, 0, -40});
const Matrix kIdentity = Matrix::Identity(3, 3);

class FilterAttitudeTest : public testing::Test {
protected:
    /// Feeds one pair; an empty matrix where nothing was sent.
    Matrix send(const Matrix& acc, const Matrix& mag) {
        h_.clear();
        h_.feed("3a", 1, acc);
        h_.feed("3m", 2, mag);
        h_.process();
        return h_.sends().empty() ? Matrix() : h_.sends()[0].value;
    }
    Matrix send(const MotionSample& s) { return send(s.acc.transpose(), s.field.transpose()); }

    FilterHarness<FilterAttitude> h_;
};

TEST_F(FilterAttitudeTest, StaticModesAreTheTrueAttitudeRelativeToTheReference) {
    const Eigen::Matrix3d R_nwu_enu = Eigen::AngleAxisd(-std::acos(0.0), Vector3::UnitZ()).toRotationMatrix();
    const auto samples = record(Motion(), 20, 10);
    h_.set("Coef 3a", "1");  // the field turned all the way: both frames are north, west, up
    Eigen::Matrix3d reference = Eigen::Matrix3d::Identity();
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const Eigen::Matrix3d truth = R_nwu_enu * samples[i].truth.R_earth_sensor;
        h_.set("Mode", i % 2 == 0 ? "static" : "static with coef");  // one reference for both
        if (i == 60) {
            h_.command("Reference");
            reference = truth;
            EXPECT_EQ(send(kUp, row({1, 2})).size(), 0) << "a dropped pair leaves the request";
        }
        ASSERT_THAT(send(samples[i]), isNearMatrix(truth * reference.transpose(), 1e-12)) << i;
    }
}

TEST_F(FilterAttitudeTest, DynamicModesFollowATurnAboutTheirAxis) {
    const Curve turn{0.4, 0, {1.3, 0.2, 0.3}, {0.2, 0.6, 1}};
    struct Row {
        const char* mode;
        Curve yaw, pitch, roll;
        Matrix along;  // a field with no part in the plane
    };
    const Row rows[] = {{"dynamic yaw", turn, {}, {}, row({0, 0, 5})},
                        {"dynamic pitch", {}, turn, {}, row({0, -5, 0})},
                        {"dynamic roll", {}, {}, turn, row({5, 0, 0})}};
    for (const Row& r : rows) {
        SCOPED_TRACE(r.mode);
        MotionSettings settings;
        settings.yaw = r.yaw;
        settings.pitch = r.pitch;
        settings.roll = r.roll;
        const auto samples = record(Motion(settings), 10, 10);
        h_.set("Mode", r.mode);
        h_.command("Reference");
        EXPECT_EQ(send(kUp, r.along).size(), 0) << "nothing sent, and the request waits";
        for (const auto& s : samples) {
            const Eigen::Matrix3d truth =
                samples[0].truth.R_earth_sensor.transpose() * s.truth.R_earth_sensor;
            ASSERT_THAT(send(s), isNearMatrix(truth, 1e-12)) << s.t;
        }
    }
}

TEST_F(FilterAttitudeTest, DynamicHorizontalMeasuresAboutGravityAndTurnsAboutZ) {
    MotionSettings settings;
    settings.yaw = {0.4, 0, {1.3, 0.2, 0.3}, {}};
    settings.pitch = settings.roll = {};
    settings.pitch.offset = 0.7;  // the unit is tilted, and stays so
    settings.roll.offset = -1.2;
    h_.set("Mode", "dynamic horizontal");
    EXPECT_THAT(send(kUp, row({7, 3, 0})), isNearMatrix(kIdentity))
        << "before a reference: from y, in y and z";
    h_.command("Reference");
    for (const auto& s : record(Motion(settings), 10, 10)) {
        const double yaw = settings.yaw.at(s.t).value - settings.yaw.at(0).value;
        const Matrix3 expected = AbsoluteAttitudeComputer::axisAngleToRotation(yaw, Vector3::UnitZ());
        ASSERT_THAT(send(s), isNearMatrix(expected, 1e-12)) << s.t;
    }
    h_.command("Reference");
    EXPECT_TRUE(send(kUp, kUp).hasNaN()) << "this mode does not ask for a field along its axis";
}

TEST_F(FilterAttitudeTest, ModeTellsWhetherTheCoefficientsHaveAnEffect) {
    struct Observer : Core::PropertyObserver {
        void attributeChanged(const Core::AbstractProperty& property) override {
            heard += property.getName() + (property.isEnabled() ? " on, " : " off, ");
        }
        std::string heard;
    } observer;
    auto& bag = h_.filter().getPropertyBag();
    for (const char* name : {"Coef 3a", "Coef 3m"}) bag.get(name).addObserver(observer);
    h_.set("Mode", "static with coef");
    h_.set("Mode", "-1");  // below the labels: accepted, and sends nothing
    EXPECT_EQ(send(kUp, kField).size(), 0);
    EXPECT_EQ(observer.heard, "Coef 3a on, Coef 3m on, Coef 3a off, Coef 3m off, ");
    for (const char* name : {"Coef 3a", "Coef 3m"}) bag.get(name).removeObserver(observer);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
