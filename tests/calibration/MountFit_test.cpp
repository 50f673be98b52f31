#include "calibration/mount/MountFit.h"

#include "calibration/model/Unsuitable.h"
#include "simulation/Random.h"
#include "support/TestKit.h"

namespace Kavelin::Calibration {
namespace {

using namespace Tests;
using Eigen::AngleAxisd;
using Eigen::Quaterniond;
using Eigen::Vector3d;

/// A segment that stands still, bends about its z and straightens some times, and stands still again.
struct Bending {
    Quaterniond q_segment_sensor = Quaterniond::Identity();
    double still = 3.0;    // s
    double angle = 1.2;    // rad, to which it bends
    int times = 4;         // each 2 s
    double wobble = 0.1;   // rad/s, about x and y
    double hingeTilt = 0;  // rad
    double noise = 1.0;
    std::uint64_t seed = 1;
};

SensorRecording recorded(const Bending& motion) {
    RecordingIO::Random random(motion.seed);
    const auto noise = [&](double deviation) -> Vector3d {
        return motion.noise * deviation * Vector3d(random.normal(), random.normal(), random.normal());
    };
    const Vector3d bias = 0.02 * Vector3d(random.normal(), random.normal(), random.normal());
    const Quaterniond back = motion.q_segment_sensor.conjugate();
    SensorRecording recording;
    // y is up in the pose, but for what the hinge's tilt leaves.
    const Quaterniond start(AngleAxisd(kPi / 2 - motion.hingeTilt, Vector3d::UnitX()));
    Quaterniond q = start;
    const double end = motion.still + 2.0 * motion.times;
    for (double t = 0.0; t < end + motion.still; t += 0.01) {
        const double phase = kPi * (t - motion.still);  // a bend and back in 2 s
        const bool moves = t > motion.still && t < end;
        const Vector3d rate =
            moves ? Vector3d(motion.wobble * std::sin(2.3 * phase), motion.wobble * std::sin(1.7 * phase),
                             motion.angle / 2 * kPi * std::sin(phase))
                  : Vector3d::Zero();
        q = (q * Quaterniond(AngleAxisd(rate.norm() * 0.01, rate.stableNormalized()))).normalized();
        recording.acceleration.times.push_back(t);
        recording.acceleration.values.push_back(back * (q.conjugate() * Vector3d(0, 0, 9.81)) + noise(0.03));
        recording.rate.times.push_back(t);
        recording.rate.values.push_back(back * rate + bias + noise(0.003));
    }
    return recording;
}

TEST(MountFit, FindsTheSegmentsAxesOfTwoHundredMountings) {
    double greatest = 0.0, squares = 0.0;
    for (std::uint64_t seed = 1; seed <= 200; ++seed) {
        RecordingIO::Random random(1000 + seed);
        const Quaterniond mounting =
            Quaterniond(random.normal(), random.normal(), random.normal(), random.normal()).normalized();
        const MountCalibration mount =
            calibrateMount(recorded({.q_segment_sensor = mounting, .seed = seed}), {});
        const double error = mount.q_segment_sensor.angularDistance(mounting);
        greatest = std::max(greatest, error);
        squares += std::pow(error / std::max(mount.hingeUncertainty, 0.005), 2);
        EXPECT_EQ(mount.opinion.grade, Grade::kGood) << seed;
        EXPECT_NEAR(mount.turned, 4 * 2.4, 0.3);
    }
    EXPECT_LT(greatest, 2.0 * kPi / 180);
    EXPECT_LT(std::sqrt(squares / 200), 2.0) << "the uncertainty tells the error";
}

TEST(MountFit, SaysWhatIsWeakAndRefusesWhatDoesNotFixTheAxes) {
    const auto opinion = [](const Bending& motion) {
        const Opinion is = calibrateMount(recorded(motion), {}).opinion;
        return std::string(is.grade == Grade::kGood   ? "good"
                           : is.grade == Grade::kFair ? "fair"
                                                      : "poor") +
               (is.remarks.empty() ? "" : ": " + is.remarks.front());
    };
    EXPECT_EQ(opinion({.still = 3.0}), "good");
    EXPECT_THAT(opinion({.wobble = 0.25}), HasSubstr("fair: "));
    EXPECT_THAT(opinion({.hingeTilt = 0.8}),
                HasSubstr("fair: the axis is 46 degrees off the level in the pose"));
    const struct {
        Bending motion;
        MountSettings settings;
        const char* refusal;
    } rows[] = {
        {{.still = 0.2}, {}, "the unit is never still"},
        {{.times = 0}, {}, "nothing turns in"},
        {{.angle = 0.25, .times = 1, .wobble = 0}, {}, "adds up to"},
        {{.wobble = 3.0}, {}, "is about several axes: 75 % of the rate"},
        {{.hingeTilt = 1.4}, {}, "the axis of the turn is 10 degrees from the vertical in the pose"},
        {{}, {.pose = Interval{4, 6}, .turn = {}}, "the unit is not still in the pose 4..6 s"},
        {{}, {.pose = Interval{40, 60}, .turn = {}}, "the pose 40..60 s holds 0 samples of both sensors"},
        {{}, {.pose = Interval{0, 2}, .turn = Interval{0, 2}}, "nothing turns in 0..2 s"},
    };
    for (const auto& row : rows)
        EXPECT_THAT(outcome([&] { calibrateMount(recorded(row.motion), row.settings); }),
                    HasSubstr(row.refusal));
    SensorRecording lacking = recorded({});
    lacking.rate = {};
    EXPECT_THAT(outcome([&] { calibrateMount(lacking, {}); }), HasSubstr("there are no rates"));
    EXPECT_THAT(outcome([&] { calibrateMount({}, {}); }), HasSubstr("there is no acceleration"));
}

TEST(MountFit, TheFirstBendIsPositiveWhicheverWayItGoes) {
    for (const double angle : {1.2, -1.2}) {
        const Quaterniond q = calibrateMount(recorded({.angle = angle, .wobble = 0}), {}).q_segment_sensor;
        EXPECT_NEAR((q * Vector3d::UnitZ()).z(), angle > 0 ? 1.0 : -1.0, 0.01);
        EXPECT_NEAR((q * Vector3d::UnitY()).y(), 1.0, 0.01) << "up stays up";
    }
}

}  // namespace
}  // namespace Kavelin::Calibration
