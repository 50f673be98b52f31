#include "evaluation/Judge.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>
#include <tuple>

#include "attitude/rotation/AngleConstants.h"

namespace Kavelin::RecordingIO {

namespace {

using OrientationInternal::kDegreesToRadians;
using OrientationInternal::kRadiansToDegrees;
using Sensor = Evidence::Sensor;

// What an estimate and its sensors disagree on, in degrees.
const double kGoodTilt = 5.0, kBadTilt = 10.0;
const double kTiltPerShaking = 30.0;                  // by a deviation of the acceleration's norm of 1
const double kBadTiltCorrection = 15.0;               // in 10 s
const double kLargeCorrection = 12.0;                 // of the heading, in 10 s
const double kGoodAzimuth = 6.5, kBadAzimuth = 15.0;  // in half of the motion
const double kGoodAzimuthMostly = 20.0;               // in three quarters of it
const double kLeastMotion = 3.0;                      // s, for any statement on the field
const double kMotionToTrust = 8.0;                    // s, to call a heading good
const double kGoodSigmaTilt = 3.0, kBadSigmaTilt = 15.0;
const double kGoodSigmaHeading = 8.0, kBadSigmaHeading = 40.0;
const double kUnknown = 170.0;  // a standard deviation that means unknown

// Sensors against each other; shares of the motion that is explained.
const double kAxesGain = 0.25, kAxesExplained = 0.4, kAxesConfirmed = 0.2;
const double kScaleExplained = 0.4, kScaleLimit = 0.06, kScaleAgreement = 0.1;
const double kScaleLimitAlone = 0.25;  // where only the field says so; its own faults can look the same
const double kIsDegrees = 0.025, kIsRadians = 40.0;  // factors
const double kOffsetExplained = 0.5, kOffsetSigmas = 4.0;
const double kBiasLimit = 0.01, kBiasBad = 0.03;            // rad/s
const double kLeastRest = 3.0;                              // s
const double kBiasKnownTo = 0.0005, kBiasUnknownTo = 0.01;  // rad/s, with such a rest and without one

// One sensor alone; shares of the samples, and of the time.
const double kClippedShare = 0.001;
const double kStuckShare = 0.02, kStuckBad = 0.2;
const double kLeastForce = 7.0, kGreatestForce = 25.0;  // m/s^2, mean
const double kGreatestRate = 10.0;                      // rad/s, mean

// The field; shares of its norm.
const double kFieldChange = 0.06;
const double kHardIron = 0.08, kHardIronBad = 0.65;           // the latter of the horizontal field
const double kDisturbedShare = 0.35, kMostlyDisturbed = 0.6;  // of the time

// The acceleration's norm; shares of gravity.
const double kShaking = 0.03, kShakingBad = 0.15;

const double kShortest = 8.0;      // s
const std::uint64_t kFewest = 50;  // samples
const double kShortGap = 0.15;     // s
const double kGapShare = 0.002;

std::string number(double value, int digits = 2) {
    return std::abs(value) < 100.0 ? fmt::format("{:.{}g}", value, digits)
                                   : fmt::format("{:.6g}", std::round(value));
}
std::string whole(double value) { return fmt::format("{:.0f}", value); }
std::string percent(double share) { return number(100.0 * share) + " %"; }

/// "y, -x, z".
std::string axesText(const Matrix3& axes) {
    std::string text;
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            if (axes(row, column) == 0.0) continue;
            text += std::string(row > 0 ? ", " : "") + (axes(row, column) < 0.0 ? "-" : "") + "xyz"[column];
        }
    }
    return text;
}

bool contradictsAxes(const MotionFitResult& fit) {
    return fit.axes != Matrix3::Identity() && fit.bestExplained > kAxesExplained &&
           fit.bestExplained - fit.explained > kAxesGain;
}

bool confirmsAxes(const MotionFitResult& fit) {
    return fit.axes == Matrix3::Identity() && fit.bestExplained > kAxesConfirmed;
}

/// One judgement: what is known, and the verdicts as they grow.
class Judgement {
public:
    Judgement(const Evidence& evidence, const EstimatorKind& kind) : seen_(evidence), kind_(kind) {}

    Verdicts verdicts() {
        const EstimateEvidence& estimate = seen_.estimate;
        if (!estimate.isThere) addBoth({Grade::kBad, "there is no attitude", ""});
        if (!estimate.isFinite) addBoth({Grade::kBad, "the attitude is not finite", ""});
        if (!estimate.isThere || !estimate.isFinite) return verdicts_;
        if (estimate.seconds < kShortest || seen_.acceleration.samples < kFewest) {
            addBoth({Grade::kDoubtful, "the recording is too short to be judged", ""});
            return verdicts_;
        }
        // Effects set the grade; causes say more and come first.
        std::optional<Finding> tilt = judgeTilt();
        std::optional<Finding> heading = judgeHeading();
        findBrokenSensors();
        findAxes();
        findScale();
        findUnits();
        findBias();
        findShaking();
        findGaps();
        findFieldFaults();
        findCorrections();
        findSigmas();
        if (!tiltIsSeen_) tilt.reset();
        for (auto [finding, effect, verdict] : {std::tuple(&tilt, tiltEffect_, &verdicts_.tilt),
                                                std::tuple(&heading, headingEffect_, &verdicts_.heading)}) {
            if (!*finding) continue;
            (*finding)->grade = std::max((*finding)->grade, effect);
            verdict->add(**finding);
        }
        return verdicts_;
    }

private:
    void addBoth(const Finding& finding) {
        verdicts_.tilt.add(finding);
        verdicts_.heading.add(finding);
    }
    /// A cause: as grave as its visible effect, doubtful at most where there is none.
    void addCause(bool tilt, bool heading, const std::string& reason, const std::string& advice) {
        if (tilt) verdicts_.tilt.add({std::max(tiltEffect_, Grade::kDoubtful), reason, advice});
        if (heading) verdicts_.heading.add({std::max(headingEffect_, Grade::kDoubtful), reason, advice});
    }

    bool usesField() const { return kind_.usesField && seen_.field.isThere(); }
    bool isFieldAlive() const { return seen_.field.stuckShare() < kStuckShare; }
    bool isForceAlive() const { return seen_.acceleration.stuckShare() < kStuckShare; }
    bool isRateAlive() const { return seen_.rate.stuckShare() < kStuckShare; }

    std::optional<Finding> judgeTilt();
    void judgeTiltOtherwise();
    std::optional<Finding> judgeHeading();
    Finding drift() const;
    void findAxes();
    double scale() const;
    void findScale();
    void findBias();
    void findBrokenSensors();
    void findBroken(const Sensor& sensor, const std::string& name, bool isVital);
    void findFieldFaults();
    void findUnits();
    void findShaking();
    void findGaps();
    void findCorrections();
    void findSigmas();

    const Evidence& seen_;
    const EstimatorKind& kind_;
    Verdicts verdicts_;
    Grade tiltEffect_ = Grade::kGood;
    Grade headingEffect_ = Grade::kGood;
    bool tiltIsSeen_ = true;
    bool isHeadingOff_ = false;
    bool axesAreWrong_ = false;
};

std::optional<Finding> Judgement::judgeTilt() {
    const double off = seen_.estimate.tiltResidual * kRadiansToDegrees;
    // A shaken unit has a mean acceleration of its own.
    const Sensor& force = seen_.acceleration;
    const double shaking = force.norm > 0.0 ? force.normDeviation / force.norm : 0.0;
    const double bad = kBadTilt + kTiltPerShaking * shaking;
    tiltEffect_ = off <= kGoodTilt ? Grade::kGood : off <= bad ? Grade::kDoubtful : Grade::kBad;
    if (tiltEffect_ == Grade::kGood) return std::nullopt;
    return Finding{tiltEffect_, "the mean acceleration is " + whole(off) + " degrees off the vertical", ""};
}

/// Without a sensor to compare with, the corrections by the other sensors tell.
void Judgement::judgeTiltOtherwise() {
    const bool isPulled = seen_.estimate.tiltCorrection * kRadiansToDegrees > kBadTiltCorrection;
    tiltEffect_ = isPulled ? Grade::kBad : Grade::kDoubtful;
    tiltIsSeen_ = false;
}

std::optional<Finding> Judgement::judgeHeading() {
    if (!usesField()) return drift();
    const FieldEvidence& field = seen_.fieldInEarth;
    if (field.seconds < kLeastMotion) {
        return Finding{Grade::kDoubtful,
                       "the unit hardly turned, so nothing shows whether the field is right",
                       "turn it about all axes for some seconds"};
    }
    const auto& spread = kind_.isHeadingRelative ? field.azimuthSpread : field.northSpread;
    const double half = spread.half * kRadiansToDegrees;
    const double most = spread.threeQuarters * kRadiansToDegrees;
    if (half <= kGoodAzimuth && most <= kGoodAzimuthMostly) {
        if (field.seconds >= kMotionToTrust) return std::nullopt;
        return Finding{Grade::kDoubtful, "the unit turned for no more than " + number(field.seconds) + " s",
                       "turn it about all axes for longer"};
    }
    // Where the field itself changes, the gyroscope may well have kept the heading.
    const bool isSteady = field.normSpread.half < kFieldChange && isFieldAlive();
    isHeadingOff_ = half >= kBadAzimuth;
    headingEffect_ = isHeadingOff_ && isSteady ? Grade::kBad : Grade::kDoubtful;
    const bool isHalf = half > kGoodAzimuth;
    return Finding{headingEffect_,
                   "heading and field differ by more than " + whole(isHalf ? half : most) + " degrees in " +
                       (isHalf ? "half" : "a quarter") + " of the motion",
                   ""};
}

/// Without a field nothing holds the heading but the gyroscope.
Finding Judgement::drift() const {
    const bool hasRested = seen_.restShare && *seen_.restShare * seen_.seconds > kLeastRest;
    const double known = kind_.usesGyroscope && hasRested ? kBiasKnownTo : kBiasUnknownTo;
    return {Grade::kDoubtful,
            "without a magnetometer it is relative to the start, and may drift by " +
                number(known * seen_.seconds * kRadiansToDegrees) + " degrees",
            hasRested    ? ""
            : seen_.bias ? "let the unit lie still for some seconds, so that the bias is learnt"
                         : "take an estimator that learns the gyroscope's bias"};
}

void Judgement::findAxes() {
    if (!kind_.usesGyroscope || !isRateAlive()) return;
    const MotionFitResult& gravity = seen_.gravityFit;
    const MotionFitResult& field = seen_.fieldFit;
    const bool gravitySays = contradictsAxes(gravity) && isForceAlive();
    const bool fieldSays = contradictsAxes(field) && isFieldAlive();
    axesAreWrong_ = gravitySays || fieldSays;
    if (axesAreWrong_ && isHeadingOff_) headingEffect_ = Grade::kBad;
    const std::string advice = "bring all sensors into one right-handed frame";
    if (gravitySays && confirmsAxes(field)) {
        if (tiltEffect_ == Grade::kBad) headingEffect_ = Grade::kBad;  // about which vertical?
        addCause(true, true,
                 "the accelerometer's axes or signs contradict the gyroscope's and the magnetometer's",
                 advice);
    } else if (fieldSays && confirmsAxes(gravity)) {
        addCause(false, true,
                 "the magnetometer's axes or signs contradict the gyroscope's and the accelerometer's",
                 advice);
    } else if (axesAreWrong_) {
        const Matrix3& axes = gravitySays ? gravity.axes : field.axes;
        addCause(true, true,
                 "the gyroscope's axes contradict the other sensors'; they would fit as " + axesText(axes) +
                     (axes.determinant() < 0.0 ? ", which is left-handed" : ""),
                 advice);
    }
}

/// The factor that corrects the rates, if all sensors agree on it; else 1.
double Judgement::scale() const {
    const MotionFitResult& gravity = seen_.gravityFit;
    const MotionFitResult& field = seen_.fieldFit;
    const bool gravityKnows = isForceAlive() && gravity.bestExplained > kScaleExplained;
    const bool fieldKnows = usesField() && isFieldAlive() && field.bestExplained > kScaleExplained;
    if (axesAreWrong_ || !isRateAlive() || (!gravityKnows && !fieldKnows)) return 1.0;
    const double one = gravityKnows ? gravity.scale : field.scale;
    const double other = fieldKnows ? field.scale : gravity.scale;
    const double limit = gravityKnows ? kScaleLimit : kScaleLimitAlone;
    const bool isOff = std::min(std::abs(std::log(one)), std::abs(std::log(other))) > limit;
    return isOff && std::abs(std::log(one / other)) < kScaleAgreement ? other : 1.0;
}

void Judgement::findScale() {
    const double factor = kind_.usesGyroscope ? scale() : 1.0;
    if (factor == 1.0) return;
    if (factor < kIsDegrees) {
        addCause(true, true, "the gyroscope's rates are in deg/s, not rad/s", "say so: --units 3g=deg/s");
    } else if (factor > kIsRadians) {
        addCause(true, true, "the gyroscope's rates are in rad/s, not deg/s", "say so: --units 3g=rad/s");
    } else {
        addCause(true, true, "the gyroscope's rates should be " + number(factor) + " times what they are",
                 "correct its scale");
    }
}

void Judgement::findBias() {
    if (!kind_.usesGyroscope || axesAreWrong_ || !isRateAlive()) return;
    const bool fieldKnows = usesField() && isFieldAlive() && seen_.fieldFit.explained > kOffsetExplained;
    const MotionFitResult& fit = fieldKnows ? seen_.fieldFit : seen_.gravityFit;
    if (fit.explained < kOffsetExplained || std::abs(std::log(fit.scale)) > kScaleLimit) return;
    const Vector3 off = fit.bias - seen_.bias.value_or(Vector3::Zero());
    const double sigmas = off.cwiseAbs().cwiseQuotient(fit.biasDeviation).maxCoeff();
    if (off.norm() < kBiasLimit || sigmas < kOffsetSigmas) return;
    const std::string size = number(off.norm() * kRadiansToDegrees) + " degrees/s";
    const std::string reason = seen_.bias ? "the gyroscope's bias was learnt wrong by " + size
                                          : "the gyroscope has a bias of " + size + ", which was not learnt";
    if (off.norm() > kBiasBad && headingEffect_ != Grade::kGood) headingEffect_ = Grade::kBad;
    addCause(true, true, reason, "let the unit lie still for some seconds, at the start if possible");
}

void Judgement::findBrokenSensors() {
    if (seen_.acceleration.isThere()) findBroken(seen_.acceleration, "accelerometer", true);
    if (kind_.usesGyroscope && seen_.rate.isThere()) findBroken(seen_.rate, "gyroscope", true);
    if (usesField()) findBroken(seen_.field, "magnetometer", false);
}

void Judgement::findBroken(const Sensor& sensor, const std::string& name, bool isVital) {
    std::string stuck, clipped;
    double limit = 0.0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const SensorWatch::Axis& seen = sensor.axes[axis];
        if (seen.stuckShare > kStuckShare) stuck += "xyz"[axis];
        if (seen.clippedShare <= kClippedShare) continue;
        clipped += "xyz"[axis];
        limit = std::max(limit, seen.limit);
    }
    if (!stuck.empty()) {
        const std::string reason = "the " + name + "'s " + stuck + " does not change in " +
                                   percent(sensor.stuckShare()) + " of the time, though the unit turns";
        if (isVital && sensor.stuckShare() > kStuckBad) judgeTiltOtherwise();
        const bool isDead = std::all_of(sensor.axes.begin(), sensor.axes.end(),
                                        [](const auto& axis) { return axis.stuckShare > kStuckBad; });
        if (isVital && isDead) tiltEffect_ = Grade::kBad;
        if (isDead && &sensor == &seen_.rate) headingEffect_ = Grade::kBad;
        addCause(isVital, true, reason, "check the sensor");
    }
    if (clipped.empty()) return;
    addCause(isVital, true,
             "the " + name + "'s " + clipped + " is clipped at " + number(limit, 3) + " in " +
                 percent(sensor.clippedShare()) + " of the samples",
             "choose a larger range");
}

void Judgement::findFieldFaults() {
    if (!usesField() || seen_.fieldInEarth.seconds < kLeastMotion || axesAreWrong_ || !isFieldAlive()) return;
    const FieldEvidence& field = seen_.fieldInEarth;
    const MotionFitResult& fit = seen_.fieldFit;
    const Vector3 known = seen_.hardIron.value_or(Vector3::Zero());
    const Vector3 left = fit.norm > 0.0 ? Vector3(fit.offset - known / fit.norm) : Vector3(Vector3::Zero());
    // Both the field's motion and the estimate's view of it must show the iron.
    const bool isSeen = field.hardIron.norm() > 0.5 * left.norm() * fit.norm &&
                        fit.explained > kOffsetExplained &&
                        left.norm() > kOffsetSigmas * fit.offsetDeviation.maxCoeff();
    const bool hasOtherCause = !verdicts_.heading.findings.empty();
    if (isSeen && left.norm() > kHardIron) {
        const double share = left.norm() / std::max(0.1, std::cos(field.dip));
        if (share > kHardIronBad && isHeadingOff_) headingEffect_ = Grade::kBad;
        addCause(false, true,
                 "the field changes with the direction by " + percent(left.norm()) + ", hard iron " +
                     number(left.norm() * fit.norm) + " uT",
                 "calibrate the magnetometer, or take the magnet off the unit");
    } else if (field.normSpread.half > kFieldChange && !hasOtherCause) {
        addCause(false, true,
                 "the field's strength differs by more than " + percent(field.normSpread.half) +
                     " in half of the motion",
                 "calibrate the magnetometer; keep away from iron and magnets");
    }
    // Some estimators raise their flag in any fast motion: alone it says little.
    const double limit = headingEffect_ == Grade::kGood ? kMostlyDisturbed : kDisturbedShare;
    if (hasOtherCause || !seen_.disturbedShare || *seen_.disturbedShare < limit) return;
    addCause(false, true, "the field is disturbed in " + percent(*seen_.disturbedShare) + " of the time",
             "keep away from iron and magnets");
}

void Judgement::findUnits() {
    const double force = seen_.acceleration.norm;
    if (seen_.acceleration.isThere() && (force < kLeastForce || force > kGreatestForce)) {
        const bool couldBeG = force > 0.8 && force < 1.4;
        addCause(true, true,
                 "the accelerometer shows " + number(force) + " m/s^2 in the mean, which is not gravity",
                 couldBeG ? "is it in g? Then say so: --units 3a=g" : "check its unit");
    }
    if (kind_.usesGyroscope && seen_.rate.norm > kGreatestRate && scale() == 1.0) {
        addCause(true, true,
                 "the rates, " + number(seen_.rate.norm) + " rad/s in the mean, are not a person's",
                 "check the gyroscope's unit");
    }
}

/// An estimator that takes every acceleration for gravity errs while the unit accelerates,
/// by as much as the norm shows.
void Judgement::findShaking() {
    if (kind_.usesGyroscope || seen_.acceleration.norm <= 0.0) return;
    const double share = seen_.acceleration.normDeviation / seen_.acceleration.norm;
    if (share < kShaking) return;
    const Finding finding{share > kShakingBad ? Grade::kBad : Grade::kDoubtful,
                          "the unit accelerates by " + percent(share) +
                              " of gravity, which an estimator without a gyroscope takes for tilt",
                          "take one that uses the gyroscope"};
    addBoth(finding);
}

void Judgement::findGaps() {
    if (seen_.longestGap < kShortGap || seen_.gapSeconds < kGapShare * seen_.seconds) return;
    addCause(true, true,
             "gaps take " + percent(seen_.gapSeconds / seen_.seconds) + " of the time, up to " +
                 number(seen_.longestGap) + " s",
             "record without gaps");
}

void Judgement::findCorrections() {
    const double degrees = seen_.estimate.largestCorrection * kRadiansToDegrees;
    if (!kind_.usesGyroscope || !usesField() || degrees < kLargeCorrection) return;
    addCause(false, true,
             "the heading was corrected by " + whole(degrees) +
                 " degrees until t = " + number(seen_.estimate.largestCorrectionTime, 6) + " s",
             "do not use the time before, or start away from iron and magnets");
}

void Judgement::findSigmas() {
    // What an estimator says of itself holds where nothing contradicts it.
    const auto add = [](Verdict& verdict, const std::optional<double>& sigma, double good, double bad) {
        if (!sigma || *sigma * kRadiansToDegrees <= good) return;
        const double degrees = std::min(*sigma * kRadiansToDegrees, 180.0);
        if (degrees > kUnknown) {
            verdict.add({Grade::kDoubtful, "the estimator does not know it yet", ""});
            return;
        }
        verdict.add({degrees > bad ? Grade::kBad : Grade::kDoubtful,
                     "the estimator itself gives a standard deviation of " + number(degrees) + " degrees",
                     ""});
    };
    add(verdicts_.tilt, seen_.tiltSigma, kGoodSigmaTilt, kBadSigmaTilt);
    if (usesField()) add(verdicts_.heading, seen_.headingSigma, kGoodSigmaHeading, kBadSigmaHeading);
}

}  // namespace

Verdicts judge(const Evidence& evidence, const EstimatorKind& kind) {
    return Judgement(evidence, kind).verdicts();
}

}  // namespace Kavelin::RecordingIO
