#include "attitude/FilterAttitude.h"

#include <Kavelin/Core/AbstractProperty.h>

#include <cmath>

#include "support/FilterHarness.h"
#include "support/Matchers.h"
#include "support/Motion.h"

namespace Kavelin::OrientationInternal {
namespace {

using Testing::column;
using Testing::FilterHarness;
using Testing::row;
using Tests::isNearMatrix;

const Matrix kUp = row({0, 0, 9.81});
const Matrix kField = row({20, 0, -40});

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
    Matrix send(const Tests::MotionSample& s) { return send(s.acc.transpose(), s.field.transpose()); }

    double coef(const char* name) { return std::stod(h_.get(name)); }

    FilterHarness<FilterAttitude> h_;
};

TEST_F(FilterAttitudeTest, PairsTheTwoPinsOneToOne) {
    for (const double t : {1.0, 2.0, 3.0}) h_.feed("3a", t, kUp);
    h_.process(3);
    EXPECT_TRUE(h_.sends().empty());
    h_.feed("3m", 10, kField);
    h_.process(2);
    ASSERT_EQ(h_.sends().size(), 1u);
    EXPECT_EQ(h_.sends()[0].t, 1) << "the first 3a waited; the stamp is that of 3a";
    h_.feed("3m", 11, kField);
    h_.feed("3m", 12, kField);
    h_.feed("3m", 13, kField);
    h_.process(5);
    ASSERT_EQ(h_.sends().size(), 3u);
    EXPECT_EQ(h_.sends()[2].t, 3);
}

TEST_F(FilterAttitudeTest, OtherThanThreeElementsDropThePairButNotARequest) {
    h_.command("Reference");
    EXPECT_EQ(send(row({0, 0, 1, 0}), kField).size(), 0);
    EXPECT_EQ(send(kUp, row({1, 0})).size(), 0);
    EXPECT_EQ(send(Matrix(), Matrix()).size(), 0);
    EXPECT_TRUE(h_.filter().getInputPin("3m").isEmpty());
    const Matrix other = column({0.2, 20, -40});
    EXPECT_THAT(send(column({1, 0, 9.5}), other), isNearMatrix(Matrix::Identity(3, 3)))
        << "the request waited";
}

TEST_F(FilterAttitudeTest, StaticModesAreTheTrueAttitudeRelativeToTheReference) {
    Eigen::Matrix3d northWestUp;
    northWestUp << 0, 1, 0, -1, 0, 0, 0, 0, 1;
    const auto samples = Tests::record(Tests::Motion(), 20, 10);
    h_.set("Coef 3a", "1");  // turned all the way, the frame is: north, west, up
    for (const char* mode : {"static", "static with coef"}) {
        h_.set("Mode", mode);
        Eigen::Matrix3d reference = Eigen::Matrix3d::Identity();
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const Eigen::Matrix3d truth = northWestUp * samples[i].truth.R_earth_sensor;
            if (i == 60) {
                h_.command("Reference");
                reference = truth;
            }
            ASSERT_THAT(send(samples[i]), isNearMatrix(truth * reference.transpose(), 1e-12))
                << mode << ", " << i;
        }
        h_.command("Reference");
        send(kUp, kField);  // the reference of a level unit: none
    }
}

TEST_F(FilterAttitudeTest, CoefficientTurnsTheFieldPartOfTheWay) {
    h_.set("Mode", "static with coef");
    h_.set("Coef 3a", "0.25");
    EXPECT_THAT(send(kUp, kField), isNearMatrix(AbsoluteAttitudeComputer::partialOrthogonalFrame(
                                       {0, 0, 9.81}, {20, 0, -40}, 0.25)));
}

TEST_F(FilterAttitudeTest, DynamicModesFollowATurnAboutTheirAxis) {
    const Tests::Curve turn{0.4, 0, {1.3, 0.2, 0.3}, {0.2, 0.6, 1}};
    struct Row {
        const char* mode;
        Tests::Curve yaw, pitch, roll;
    };
    const Row rows[] = {
        {"dynamic yaw", turn, {}, {}}, {"dynamic pitch", {}, turn, {}}, {"dynamic roll", {}, {}, turn}};
    for (const Row& r : rows) {
        SCOPED_TRACE(r.mode);
        Tests::MotionSettings settings;
        settings.yaw = r.yaw;
        settings.pitch = r.pitch;
        settings.roll = r.roll;
        const auto samples = Tests::record(Tests::Motion(settings), 10, 10);
        h_.set("Mode", r.mode);
        h_.command("Reference");
        for (const auto& s : samples) {
            const Eigen::Matrix3d truth =
                samples[0].truth.R_earth_sensor.transpose() * s.truth.R_earth_sensor;
            ASSERT_THAT(send(s), isNearMatrix(truth, 1e-12)) << s.t;
        }
    }
}

TEST_F(FilterAttitudeTest, DynamicHorizontalMeasuresAboutGravityAndTurnsAboutZ) {
    Tests::MotionSettings settings;
    settings.yaw = {0.4, 0, {1.3, 0.2, 0.3}, {}};
    settings.pitch = settings.roll = {};
    settings.pitch.offset = 0.7;  // the unit is tilted, and stays so
    settings.roll.offset = -1.2;
    const Tests::Motion motion(settings);
    h_.set("Mode", "dynamic horizontal");
    h_.command("Reference");
    const double start = settings.yaw.at(0).value;
    for (const auto& s : Tests::record(motion, 10, 10)) {
        const double yaw = settings.yaw.at(s.t).value - start;
        const Matrix3 expected = AbsoluteAttitudeComputer::axisAngleToRotation(yaw, Vector3::UnitZ());
        ASSERT_THAT(send(s), isNearMatrix(expected, 1e-12)) << s.t;
    }
}

TEST_F(FilterAttitudeTest, DynamicModesWithoutAReferenceMeasureInThePlaneOfYAndZ) {
    h_.set("Mode", "dynamic yaw");
    const Matrix3 quarterBack =
        AbsoluteAttitudeComputer::axisAngleToRotation(-std::acos(0.0), Vector3::UnitZ());
    EXPECT_THAT(send(kUp, row({7, 0, 3})), isNearMatrix(quarterBack));
    EXPECT_THAT(send(kUp, row({7, 3, 0})), isNearMatrix(Matrix::Identity(3, 3)));
}

TEST_F(FilterAttitudeTest, FieldAlongTheAxisSendsNothingAndKeepsTheRequest) {
    struct Row {
        const char* mode;
        Matrix along;
    };
    const Row rows[] = {{"dynamic yaw", row({0, 0, 5})},
                        {"dynamic pitch", row({0, -5, 0})},
                        {"dynamic roll", row({5, 0, 0})}};
    const Matrix field = row({1, 2, 3});
    for (const Row& r : rows) {
        SCOPED_TRACE(r.mode);
        h_.set("Mode", r.mode);
        h_.command("Reference");
        EXPECT_EQ(send(kUp, r.along).size(), 0);
        EXPECT_THAT(send(kUp, field), isNearMatrix(Matrix::Identity(3, 3), 1e-15));
    }
    h_.set("Mode", "dynamic horizontal");
    h_.command("Reference");
    EXPECT_TRUE(send(kUp, row({0, 0, 5})).hasNaN()) << "this one does not ask";
}

TEST_F(FilterAttitudeTest, ChangingTheModeKeepsEveryReference) {
    h_.set("Mode", "dynamic yaw");
    h_.command("Reference");
    send(kUp, kField);
    h_.set("Mode", "static");
    const Matrix tilted = row({3, 1, 9});
    h_.command("Reference");
    EXPECT_THAT(send(tilted, kField), isNearMatrix(Matrix::Identity(3, 3)));
    h_.set("Mode", "dynamic yaw");
    EXPECT_THAT(send(tilted, kField), isNearMatrix(Matrix::Identity(3, 3)));
    h_.set("Mode", "0");
    EXPECT_THAT(send(tilted, kField), isNearMatrix(Matrix::Identity(3, 3)));
}

TEST_F(FilterAttitudeTest, CoefficientsStayComplementsOfOne) {
    struct Row {
        const char* name;
        const char* value;
        double acc, mag;
    };
    const Row rows[] = {
        {"Coef 3a", "0.3", 0.3, 0.7}, {"Coef 3a", "1", 1, 0},       {"Coef 3a", "0", 0, 1},
        {"Coef 3m", "0.4", 0.6, 0.4}, {"Coef 3m", "0.4", 0.6, 0.4}, {"Coef 3a", "0.6", 0.6, 0.4},
        {"Coef 3m", "1", 0, 1},       {"Coef 3m", "0", 1, 0},       {"Coef 3a", "0.25", 0.25, 0.75},
    };
    for (const Row& r : rows) {
        h_.set(r.name, r.value);
        EXPECT_DOUBLE_EQ(coef("Coef 3a"), r.acc) << r.name << " = " << r.value;
        EXPECT_DOUBLE_EQ(coef("Coef 3m"), r.mag) << r.name << " = " << r.value;
    }
}

TEST_F(FilterAttitudeTest, RefusedCoefficientHasMovedItsComplement) {
    h_.set("Coef 3a", "0.3");
    EXPECT_THROW(h_.set("Coef 3a", "2"), Poco::RangeException);
    EXPECT_DOUBLE_EQ(coef("Coef 3a"), 0.3);
    EXPECT_DOUBLE_EQ(coef("Coef 3m"), 0);
    EXPECT_THROW(h_.set("Coef 3a", "-2"), Poco::RangeException);
    EXPECT_DOUBLE_EQ(coef("Coef 3m"), 1);
    h_.set("Coef 3m", "0.9");
    EXPECT_DOUBLE_EQ(coef("Coef 3a"), 0.1) << "no echo was left pending";
}

TEST_F(FilterAttitudeTest, ComplementThatCannotBeWrittenLeavesNoEchoPending) {
    auto& mag = dynamic_cast<RangeProperty<double>&>(h_.filter().getPropertyBag().get("Coef 3m"));
    mag.setWritable(false);
    EXPECT_THROW(h_.set("Coef 3a", "0.3"), Poco::NoPermissionException);
    mag.setWritable(true);
    h_.set("Coef 3a", "0.3");
    EXPECT_DOUBLE_EQ(coef("Coef 3m"), 0.7);
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
    h_.set("Mode", "dynamic roll");
    EXPECT_EQ(observer.heard, "Coef 3a on, Coef 3m on, Coef 3a off, Coef 3m off, ");
    for (const char* name : {"Coef 3a", "Coef 3m"}) bag.get(name).removeObserver(observer);
}

TEST_F(FilterAttitudeTest, ModeBelowTheLabelsSendsNothing) {
    h_.set("Mode", "-1");
    EXPECT_EQ(send(kUp, kField).size(), 0);
    h_.set("Mode", "0");
    EXPECT_EQ(send(kUp, kField).size(), 9);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
