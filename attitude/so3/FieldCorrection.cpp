#include "attitude/so3/FieldCorrection.h"

#include <algorithm>
#include <cmath>

namespace Kavelin::OrientationInternal::SO3 {

namespace {

constexpr double kSmallestField = 1e-12;       // any unit; below it there is no direction
constexpr double kSteepestField = 1e-3;        // horizontal part of a field that still has a heading
constexpr double kLeastMotion = 0.0909;        // share of the time that counts as evidence at rest
constexpr double kFullMotion = 0.474;          // rad/s, root mean square from which all of it counts
constexpr double kDisturbanceSpread = 0.0463;  // rad, standard deviation of the azimuth's disturbance
constexpr double kDisturbanceTime = 12.3;      // s of motion in which it changes
constexpr double kFirstFieldVariance = 1e-4;   // rad^2, of the first field's azimuth besides
constexpr double kToleratedDeviations = 5.12;  // of the heading since its last correction
constexpr double kWindow = 0.1;                // s, that the field's noise is given for
constexpr double kFitScatter = 4.0;            // times the residual of a joint fit, as scatter of its record
constexpr double kDisturbanceVariance = kDisturbanceSpread * kDisturbanceSpread;

void resetDisturbance(NominalState& nominal, ErrorCovariance& covariance) {
    covariance.isolate(kDisturbance, kDisturbanceVariance);
    nominal.disturbance = 0.0;
}

// From now on another field gives north: the heading's error may be as large as the turn between the two.
void loosenHeading(double azimuth, NominalState& nominal, ErrorCovariance& covariance) {
    covariance.isolate(kTurnUp, covariance.variance(kTurnUp) + azimuth * azimuth);
    resetDisturbance(nominal, covariance);
}

}  // namespace

void FieldCorrection::run(const FieldWindow& window, double fieldNoise, NominalState& nominal,
                          ErrorCovariance& covariance) {
    FieldSeen seen{.measured = window.field / window.fields, .turned = window.attitudes / window.fields};
    const double length = seen.measured.norm();
    if (length <= kSmallestField || horizontalLength(seen.measured) < kSteepestField * length) return;
    if (!known_) return takeFirstField(seen.measured, nominal, covariance);
    const double meanSquare = window.squaredTurning / window.duration;
    seen.motion = window.duration * std::min(1.0, kLeastMotion + meanSquare / (kFullMotion * kFullMotion));
    decayDisturbance(seen.motion, nominal, covariance);
    compare(seen, covariance);
    learnBodyFixed(seen, window.duration, nominal, covariance);
    const int fitting = records_.addEvidence(seen, distance_);
    changeField(seen, fitting, nominal, covariance);
    if (distance_ < 1.0) fitJointly(seen, nominal, covariance);
    if (distance_ < 1.0) correctHeading(seen, window.duration, fieldNoise, nominal, covariance);
    disturbed_ = !(distance_ < 1.0);
}

void FieldCorrection::restart(NominalState& nominal, ErrorCovariance& covariance) {
    resetDisturbance(nominal, covariance);
    bodyFixed_.restart();
    fit_.restart();
    headingVariance_ = 0.0;
}

// S7
void FieldCorrection::takeFirstField(const Eigen::Vector3d& field, NominalState& nominal,
                                     ErrorCovariance& covariance) {
    scale_ = 1.0 / field.norm();
    firstAzimuth_ = azimuthOf(field);
    const TurnAboutUp turn(firstAzimuth_);
    nominal.attitude = turn * nominal.attitude;
    nominal.velocity = turn * nominal.velocity;
    nominal.position = turn * nominal.position;
    nominal.disturbance = 0.0;
    records_.begin(field * scale_);
    const double slope = field.z() / horizontalLength(field);
    covariance.tieHeading(slope, kDisturbanceVariance, kFirstFieldVariance);
    headingVariance_ = covariance.variance(kTurnUp);
    known_ = true;
}

// S8, first half: the disturbance of the azimuth is forgotten as the unit moves on.
void FieldCorrection::decayDisturbance(double motion, NominalState& nominal, ErrorCovariance& covariance) {
    const double kept = std::exp(-motion / kDisturbanceTime);
    nominal.disturbance *= kept;
    covariance.scale(kDisturbance, kept);
    covariance.grow(kDisturbance, 1, kDisturbanceVariance * (1.0 - kept * kept));
}

// S8, second half, and S9: how far the field is from the record in force.
void FieldCorrection::compare(FieldSeen& seen, const ErrorCovariance& covariance) {
    if (turnedBy_ != 0.0) {
        const TurnAboutUp turn(turnedBy_);
        records_.turn(turn);
        bodyFixed_.turn(turn);
        fit_.turn(turn);
        turnedBy_ = 0.0;
    }
    seen.measured *= scale_;
    const double grown = covariance.variance(kTurnUp) - headingVariance_;
    seen.tolerance = kToleratedDeviations * std::sqrt(std::max(0.0, grown));
    compareAgain(seen);
}

void FieldCorrection::compareAgain(FieldSeen& seen) {
    seen.field = seen.measured - seen.turned * hardIron_;
    distance_ = records_.distance(seen);
}

// S10
void FieldCorrection::learnBodyFixed(FieldSeen& seen, double duration, NominalState& nominal,
                                     ErrorCovariance& covariance) {
    const auto magnet = bodyFixed_.add(seen, duration, distance_ < 1.0, records_.active().field);
    if (!magnet) return;
    hardIron_ += *magnet;
    fit_.restart();
    resetDisturbance(nominal, covariance);
    records_.dropOthers();
    compareAgain(seen);
}

// S12
void FieldCorrection::changeField(const FieldSeen& seen, int fitting, NominalState& nominal,
                                  ErrorCovariance& covariance) {
    if (fitting == records_.activeIndex()) return;
    if (!records_.isStronger(fitting) || !bodyFixed_.allowsChangeOfPlace()) return;
    loosenHeading(azimuthOf(records_.at(fitting).field), nominal, covariance);
    records_.putInForce(fitting);
    bodyFixed_.restart();
    fit_.restart();
    distance_ = records_.distance(seen);
}

// S13
void FieldCorrection::fitJointly(FieldSeen& seen, NominalState& nominal, ErrorCovariance& covariance) {
    fit_.add(seen);
    const auto found = fit_.solve(hardIron_);
    if (!found) return;
    hardIron_ = found->hardIron;
    loosenHeading(azimuthOf(found->field), nominal, covariance);
    FieldRecord& record = records_.active();
    record.field = found->field;
    record.scatter = std::min(record.scatter, kFitScatter * found->residual / found->field.squaredNorm());
    records_.dropOthers();
    bodyFixed_.restart();
    compareAgain(seen);
}

// S14
void FieldCorrection::correctHeading(const FieldSeen& seen, double duration, double fieldNoise,
                                     NominalState& nominal, ErrorCovariance& covariance) {
    const Eigen::Vector3d& field = records_.active().field;
    const double azimuth = azimuthOf(seen.field);
    const double slope = field.z() / std::max(kSteepestField, horizontalLength(field));
    const Eigen::Vector3d byTurn(-slope * std::sin(azimuth), -slope * std::cos(azimuth), 1.0);
    const double residual = wrapped(azimuth - nominal.disturbance);
    const double variance = fieldNoise * fieldNoise * kWindow / duration;
    const ErrorVector x = covariance.observeAzimuth(byTurn, residual, variance);
    nominal.inject(x);
    turnEarth(x[kTurnUp]);
    headingVariance_ = covariance.variance(kTurnUp);
}

}  // namespace Kavelin::OrientationInternal::SO3
