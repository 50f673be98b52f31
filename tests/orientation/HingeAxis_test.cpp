#include "orientation/joint/HingeAxis.h"

#include "attitude/rotation/AngleConstants.h"
#include "orientation/joint/HingePairing.h"
#include "support/HingeMotion.h"
#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Eigen::AngleAxisd;
using Eigen::Quaterniond;

const Quaterniond kTilted(AngleAxisd(1.1, Vector3(1, -2, 0.5).normalized()));
const Quaterniond kTurned(AngleAxisd(2.4, Vector3(-0.3, 1, 1).normalized()));

/// About the hinge alone, which is level: thigh and shank in a plane, as in walking straight on.
MotionSettings inOnePlane() {
    MotionSettings plane;
    plane.yaw = {0.4, 0, {}, {}};
    plane.pitch = {};
    return plane;
}

MotionSettings atRest() {
    MotionSettings still = inOnePlane();
    still.roll = {};
    return still;
}

struct Trial {
    MotionSettings d;
    Curve angle = HingeMotion::Settings{}.angle;
    double noise = 0.005;
    double outliers = 0.0;  // share of the samples with a knock
    double ball = 0.0;      // rad/s, of G across the hinge
    double heading = 0.0;   // rad, of the attitudes of G
    Vector3 bias{0.02, -0.03, 0.01};
    Vector3 axis = Vector3::UnitX();
};

struct Recorded {
    std::vector<JointSample> samples;
    HingeMotion motion;
};

Recorded record(const Trial& trial, double seconds = 40.0) {
    HingeMotion motion({trial.d, trial.angle, trial.axis, kTilted, kTurned});
    std::mt19937 engine(7);
    std::normal_distribution<double> normal;
    const auto noise = [&](double size) -> Vector3 {
        const double x = normal(engine), y = normal(engine), z = normal(engine);
        return size * Vector3(x, y, z);
    };
    JointSamples samples;
    for (double t = 0.0; t < seconds; t += 0.01) {
        const auto state = motion.at(t);
        const bool isKnock = std::uniform_real_distribution<double>()(engine) < trial.outliers;
        const Quaterniond turn(AngleAxisd(trial.heading, Vector3::UnitZ()));
        samples.add({fromEigen(state.d.q_earth_sensor), fromEigen(turn * state.g.q_earth_sensor),
                     state.d.rate + trial.bias + noise(isKnock ? 3.0 : trial.noise),
                     state.g.rate + trial.bias + noise(trial.noise) +
                         trial.ball * Vector3(std::sin(3 * t), std::cos(2.3 * t), std::sin(4.1 * t))});
    }
    return {samples.kept(), motion};
}

double angleBetweenLines(const Vector3& a, const Vector3& b) {
    return std::acos(std::min(1.0, std::abs(a.dot(b)))) * kRadiansToDegrees;
}

TEST(HingeAxis, IsFoundInBothUnitsWhateverTheMounting) {
    struct Row {
        const char* name;
        Trial trial;
        double tolerance;  // degrees
    };
    const Row rows[] = {
        {"all ways", {}, 0.2},
        {"one plane", {.d = inOnePlane()}, 1.0},
        {"knocks in every tenth sample", {.d = {}, .outliers = 0.1}, 1.0},
        {"rates that give a little across the hinge", {.d = {}, .ball = 0.1}, 3.0},
    };
    for (const Row& row : rows) {
        const Recorded recorded = record(row.trial);
        const HingeAxis hinge = findHingeAxis(recorded.samples, row.trial.bias, row.trial.bias);
        EXPECT_LT(angleBetweenLines(hinge.d, recorded.motion.axisInD()), row.tolerance) << row.name;
        EXPECT_LT(angleBetweenLines(hinge.g, recorded.motion.axisInG()), row.tolerance) << row.name;
        EXPECT_EQ(hinge.weakness(), HingeAxis::Weakness::kNone) << row.name;
    }
}

TEST(HingeAxis, IsRefusedWhereTheMotionDoesNotTellIt) {
    using Weakness = HingeAxis::Weakness;
    struct Row {
        const char* name;
        Trial trial;
        Weakness weakness;
        double leastShareOfD, greatestShareOfD;
    };
    const Row rows[] = {
        {"nothing moves", {.d = atRest(), .angle = {}}, Weakness::kNoMotion, 0, 1},
        {"unit D rests", {.d = atRest()}, Weakness::kUndetermined, 0.9, 1},
        {"the joint is stiff", {.d = {}, .angle = {}}, Weakness::kUndetermined, 0.2, 0.8},
        {"no hinge", {.d = {}, .ball = 2.0}, Weakness::kNotAHinge, 0, 1},
    };
    for (const Row& row : rows) {
        const HingeAxis hinge = findHingeAxis(record(row.trial).samples, row.trial.bias, row.trial.bias);
        EXPECT_EQ(hinge.weakness(), row.weakness) << row.name;
        EXPECT_GE(hinge.slopeShareOfD, row.leastShareOfD) << row.name;
        EXPECT_LE(hinge.slopeShareOfD, row.greatestShareOfD) << row.name;
    }
}

TEST(HingePairing, TurnsBothAxesTheSameWayAndFindsTheHeading) {
    struct Row {
        const char* name;
        Trial trial;
        bool hasCommonHeading, isCertain;
    };
    const Vector3 oblique = Vector3(1, 0, 0.7).normalized();
    const Row rows[] = {
        {"one earth frame", {.d = inOnePlane()}, true, true},
        {"headings of their own, all ways", {.d = {}, .heading = 2.5}, false, true},
        {"headings of their own, oblique hinge", {.d = {}, .heading = -1.5, .axis = oblique}, false, true},
        {"headings of their own, one plane", {.d = inOnePlane(), .heading = 2.5}, false, false},
    };
    for (const Row& row : rows) {
        const Recorded recorded = record(row.trial);
        for (const double sign_d : {1.0, -1.0}) {
            for (const double sign_g : {1.0, -1.0}) {
                HingeAxis hinge = findHingeAxis(recorded.samples, row.trial.bias, row.trial.bias);
                hinge.d = sign_d * recorded.motion.axisInD();
                hinge.g = sign_g * recorded.motion.axisInG();
                const HingePairing pairing = pairHingeAxes(recorded.samples, hinge, row.trial.bias,
                                                           row.trial.bias, {row.hasCommonHeading, {}});
                EXPECT_EQ(pairing.isCertain, row.isCertain) << row.name;
                if (!row.isCertain) continue;
                EXPECT_EQ(pairing.isOpposite, sign_d != sign_g) << row.name;
                EXPECT_NEAR(std::remainder(pairing.heading + row.trial.heading, 2 * kPi), 0.0, 0.01)
                    << row.name;
                EXPECT_TRUE(pairing.fits()) << row.name;
            }
        }
    }
    const Recorded ball = record({.d = {}, .ball = 2.0});
    HingeAxis hinge;
    hinge.d = ball.motion.axisInD();
    hinge.g = ball.motion.axisInD();
    EXPECT_FALSE(pairHingeAxes(ball.samples, hinge, Vector3::Zero(), Vector3::Zero(), {}).fits())
        << "axes that point elsewhere";
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
