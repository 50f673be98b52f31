#include "calibration/mount/MountFit.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "attitude/rotation/AngleConstants.h"
#include "calibration/model/Unsuitable.h"
#include "calibration/mount/TurnAxis.h"
#include "calibration/rest/RestFinder.h"

namespace Kavelin::Calibration {

namespace {

using Eigen::Vector3d;
using OrientationInternal::kDegreesToRadians;
using OrientationInternal::kPi;
using OrientationInternal::kRadiansToDegrees;

constexpr double kGravity = 9.81;              // m/s^2
constexpr double kGreatestGravityError = 0.2;  // as a share
constexpr double kGreatestSpread = 0.06;       // of the acceleration in a pose, as a share: 3 degrees
constexpr double kGreatestRateSpread = 0.1;    // rad/s
constexpr std::size_t kFewestSamples = 10;     // in a pose, and of a turn
constexpr double kSlowest = 0.3;               // rad/s; below, a rate says nothing of an axis
constexpr double kQuarterTurn = kPi / 2;
constexpr double kSmallestTurn = 30.0 * kDegreesToRadians;
constexpr double kGreatestAcross = 0.5;
const double kSteepest = 70.0 * kDegreesToRadians;  // off the level
const double kLevel = 30.0 * kDegreesToRadians;

/// The values of a track within an interval.
std::vector<Vector3d> valuesIn(const SensorTrack& track, const Interval& interval) {
    const auto first = std::lower_bound(track.times.begin(), track.times.end(), interval.from);
    const auto last = std::upper_bound(first, track.times.end(), interval.to);
    return {track.values.begin() + (first - track.times.begin()),
            track.values.begin() + (last - track.times.begin())};
}

struct Mean {
    Vector3d value = Vector3d::Zero();
    double spread = 0.0;  ///< RMS distance from it
};

Mean meanOf(const std::vector<Vector3d>& values) {
    Mean mean;
    for (const Vector3d& value : values) mean.value += value / static_cast<double>(values.size());
    for (const Vector3d& value : values)
        mean.spread += (value - mean.value).squaredNorm() / static_cast<double>(values.size());
    mean.spread = std::sqrt(mean.spread);
    return mean;
}

std::string text(const Interval& interval) {
    return fmt::format("{:.4g}..{:.4g} s", interval.from, interval.to);
}

void requireSensors(const SensorRecording& recording) {
    if (recording.acceleration.isEmpty())
        throw Unsuitable("there is no acceleration, which shows the vertical in the pose");
    if (recording.rate.isEmpty()) throw Unsuitable("there are no rates, which show the axis of the turn");
}

/// What a still pose tells.
struct Pose {
    Interval interval;
    Vector3d up;    ///< unit norm
    Vector3d bias;  ///< rad/s
};

Pose poseIn(const SensorRecording& recording, const Interval& interval) {
    const std::vector<Vector3d> accelerations = valuesIn(recording.acceleration, interval);
    const std::vector<Vector3d> rates = valuesIn(recording.rate, interval);
    if (std::min(accelerations.size(), rates.size()) < kFewestSamples)
        throw Unsuitable(
            fmt::format("the pose {} holds {} samples of both sensors; {} are needed, and the recording is "
                        "from {:.4g} to {:.4g} s",
                        text(interval), std::min(accelerations.size(), rates.size()), kFewestSamples,
                        recording.rate.times.front(), recording.rate.times.back()));
    const Mean acceleration = meanOf(accelerations), rate = meanOf(rates);
    const double norm = acceleration.value.norm();
    if (rate.spread > kGreatestRateSpread || acceleration.spread > kGreatestSpread * norm)
        throw Unsuitable(
            fmt::format("the unit is not still in the pose {}: its rate varies by {:.2g} deg/s and its "
                        "acceleration by {:.2g} m/s^2; hold "
                        "it still for two seconds, and name another interval with --pose",
                        text(interval), rate.spread * kRadiansToDegrees, acceleration.spread));
    if (std::abs(norm / kGravity - 1.0) > kGreatestGravityError)
        throw Unsuitable(fmt::format("the acceleration in the pose {} is {:.3g} m/s^2, not gravity",
                                     text(interval), norm));
    return {interval, acceleration.value / norm, rate.value};
}

Pose findPose(const SensorRecording& recording, const MountSettings& settings,
              const std::vector<Rest>& rests) {
    if (settings.pose) return poseIn(recording, *settings.pose);
    if (rests.empty())
        throw Unsuitable(
            "the unit is never still: hold it still for two seconds before the turn, or name a pose with "
            "--pose");
    return poseIn(recording, {rests.front().from, rests.front().to});
}

/// Angle turned about an axis since the beginning, at each sample of the rates; a gap counts as no turn.
std::vector<double> anglesAbout(const Vector3d& axis, const SensorTrack& rate, const Vector3d& bias) {
    std::vector<double> angles(rate.size(), 0.0);
    const double longest = longestStep(rate.times);
    for (std::size_t i = 1; i < rate.size(); ++i) {
        const double step = rate.times[i] - rate.times[i - 1];
        const Vector3d mean = (rate.values[i] + rate.values[i - 1]) / 2 - bias;
        angles[i] = angles[i - 1] + (step > longest ? 0.0 : mean.dot(axis) * step);
    }
    return angles;
}

/// What follows the pose, up to the first rest behind a quarter turn.
Interval turnAfter(const Pose& pose, const SensorTrack& rate, const std::vector<Rest>& rests) {
    double turned = 0.0;
    std::size_t i = 1;
    for (const Rest& rest : rests) {
        for (; i < rate.size() && rate.times[i] < rest.from; ++i) {
            if (rate.times[i] > pose.interval.to)
                turned += (rate.values[i] - pose.bias).norm() * (rate.times[i] - rate.times[i - 1]);
        }
        if (rest.from > pose.interval.to && turned > kQuarterTurn) return {pose.interval.to, rest.from};
    }
    return {pose.interval.to, rate.times.back()};
}

TurnAxis axisOf(const SensorTrack& rate, const Interval& interval, const Vector3d& bias) {
    std::vector<Vector3d> rates = valuesIn(rate, interval);
    for (Vector3d& one : rates) one -= bias;
    std::erase_if(rates, [](const Vector3d& one) { return one.norm() < kSlowest; });
    if (rates.size() < kFewestSamples)
        throw Unsuitable(
            fmt::format("nothing turns in {}: turn the segment about one axis there, by a quarter turn and "
                        "back, some times; or name the "
                        "interval of the turn with --turn",
                        text(interval)));
    const TurnAxis turn = findTurnAxis(rates);
    if (turn.across > kGreatestAcross)
        throw Unsuitable(
            fmt::format("the turn in {} is about several axes: {:.0f} % of the rate is not about the main "
                        "one, and {:.0f} % may be; bend "
                        "one joint, or name the interval of one turn with --turn",
                        text(interval), 100 * turn.across, 100 * kGreatestAcross));
    return turn;
}

/// The angles of a turn, seen from the pose.
struct Swing {
    double turned = 0.0;  ///< rad, there and back
    double mean = 0.0;    ///< rad
    double rms = 0.0;     ///< rad
};

Swing swingOf(const Vector3d& axis, const SensorTrack& rate, const Pose& pose, const Interval& turn) {
    const std::vector<double> angles = anglesAbout(axis, rate, pose.bias);
    const double middle = (pose.interval.from + pose.interval.to) / 2;
    const auto inPose = std::lower_bound(rate.times.begin(), rate.times.end(), middle) - rate.times.begin();
    const double zero = angles[std::min(static_cast<std::size_t>(inPose), angles.size() - 1)];
    Swing swing;
    double sum = 0.0, squares = 0.0, count = 0.0;
    for (std::size_t i = 1; i < angles.size(); ++i) {
        if (rate.times[i] < turn.from || rate.times[i] > turn.to) continue;
        swing.turned += std::abs(angles[i] - angles[i - 1]);
        sum += angles[i] - zero;
        squares += (angles[i] - zero) * (angles[i] - zero);
        ++count;
    }
    swing.mean = sum / std::max(count, 1.0);
    swing.rms = std::sqrt(squares / std::max(count, 1.0));
    return swing;
}

/// Whether the axis is to point the other way.
bool isReversed(const Vector3d& axis, const Swing& swing) {
    if (std::abs(swing.mean) >= 0.2 * swing.rms) return swing.mean < 0.0;
    Eigen::Index greatest = 0;
    axis.cwiseAbs().maxCoeff(&greatest);
    return axis[greatest] < 0.0;
}

Eigen::Quaterniond segmentAxes(const Vector3d& axis, const Vector3d& up) {
    const Vector3d y = (up - up.dot(axis) * axis).normalized();
    Eigen::Matrix3d R_segment_sensor;
    R_segment_sensor << y.cross(axis).transpose(), y.transpose(), axis.transpose();
    Eigen::Quaterniond q(R_segment_sensor);
    if (q.w() < 0.0) q.coeffs() = -q.coeffs();
    return q.normalized();
}

void judge(MountCalibration& mount) {
    Opinion& opinion = mount.opinion;
    const auto lower = [&](Grade grade, const std::string& remark) {
        opinion.grade = std::max(opinion.grade, grade);
        opinion.remarks.push_back(remark);
    };
    const double uncertainty = mount.hingeUncertainty * kRadiansToDegrees;
    if (uncertainty > 2.0)
        lower(uncertainty > 5.0 ? Grade::kPoor : Grade::kFair,
              fmt::format(
                  "the axis of the turn is known to {:.2g} degrees only: turn more often, about one axis",
                  uncertainty));
    if (mount.across > 0.15)
        lower(mount.across > 0.3 ? Grade::kPoor : Grade::kFair,
              fmt::format("{:.0f} % of the rate is not about the axis: bend one joint, and keep the rest of "
                          "the body still",
                          100 * mount.across));
    if (mount.hingeTilt > kLevel)
        lower(
            Grade::kFair,
            fmt::format(
                "the axis is {:.0f} degrees off the level in the pose, so that y is as much off the vertical",
                mount.hingeTilt * kRadiansToDegrees));
}

}  // namespace

MountCalibration calibrateMount(const SensorRecording& recording, const MountSettings& settings) {
    requireSensors(recording);
    std::vector<Rest> rests;
    if (!settings.pose || !settings.turn) rests = findRests(recording);
    const Pose pose = findPose(recording, settings, rests);
    const Interval turn = settings.turn ? *settings.turn : turnAfter(pose, recording.rate, rests);
    const TurnAxis found = axisOf(recording.rate, turn, pose.bias);
    const Swing swing = swingOf(found.axis, recording.rate, pose, turn);
    if (swing.turned < kSmallestTurn)
        throw Unsuitable(
            fmt::format("the turn in {} adds up to {:.0f} degrees, there and back; {:.0f} are needed",
                        text(turn), swing.turned * kRadiansToDegrees, kSmallestTurn * kRadiansToDegrees));
    const Vector3d axis = isReversed(found.axis, swing) ? Vector3d(-found.axis) : found.axis;
    MountCalibration mount;
    mount.hingeTilt = std::asin(std::min(1.0, std::abs(axis.dot(pose.up))));
    if (mount.hingeTilt > kSteepest)
        throw Unsuitable(
            fmt::format("the axis of the turn is {:.0f} degrees from the vertical in the pose, so that the "
                        "two do not fix the segment's axes; "
                        "{:.0f} are needed: take another pose, or turn about a level axis",
                        90.0 - mount.hingeTilt * kRadiansToDegrees, 90.0 - kSteepest * kRadiansToDegrees));
    mount.q_segment_sensor = segmentAxes(axis, pose.up);
    mount.poseBegin = pose.interval.from;
    mount.poseEnd = pose.interval.to;
    mount.turnBegin = turn.from;
    mount.turnEnd = turn.to;
    mount.turned = swing.turned;
    mount.across = found.across;
    mount.hingeUncertainty = found.uncertainty;
    judge(mount);
    return mount;
}

}  // namespace Kavelin::Calibration
