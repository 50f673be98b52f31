#pragma once

#include "calibration/file/FieldRule.h"
#include "calibration/model/Calibration.h"

namespace Kavelin::Calibration {

// What a calibration's file holds, said once for the writer and the reader. `fields(key, value, rule)` takes one field,
// `fields.constant(key, text)` one that always says the same. Keys that end in a unit name that of their figure.

inline constexpr const char* kFileFormat = "kavelin calibration";
inline constexpr int kFileVersion = 1;

template <class Fields>
void describe(Fields& fields, Origin& origin) {
    fields("recording", origin.recording);
    fields("recorded", origin.recorded);
    fields("file_date", origin.fileDate);
    fields("made", origin.made);
    fields("program", origin.program);
}

template <class Fields>
void describe(Fields& fields, Opinion& opinion) {
    fields("grade", opinion.grade);
    fields("remarks", opinion.remarks);
}

template <class Fields>
void describe(Fields& fields, AffineModel& model) {
    fields("offset", model.offset, kNeeded);
    fields("matrix", model.matrix);
}

template <class Fields>
void describe(Fields& fields, MagneticCalibration& magnetic) {
    fields("origin", magnetic.origin);
    fields("unit", magnetic.unit, {.choices = "uT|"});
    describe(fields, magnetic.model);
    fields("strength", magnetic.strength, {.mayBeUnknown = true, .least = 0.0, .isAboveLeast = true});
    fields("dip_rad", magnetic.dip, kUnknown);
    fields("offset_deviation", magnetic.offsetDeviation, kNotNegative);
    fields("residual_before", magnetic.residualBefore, kNotNegative);
    fields("residual_after", magnetic.residualAfter, kNotNegative);
    fields("coverage", magnetic.coverage, kShare);
    fields("disturbed", magnetic.disturbed, kShare);
    fields("samples", magnetic.samples);
    describe(fields, magnetic.opinion);
}

template <class Fields>
void describe(Fields& fields, InertialCalibration& inertial) {
    fields("origin", inertial.origin);
    fields.constant("acceleration_unit", "m/s^2");
    fields("acceleration", inertial.acceleration);
    fields("has_cross_terms", inertial.hasCrossTerms);
    fields.constant("rate_unit", "rad/s");
    fields("rate", inertial.rate);
    fields("is_rate_scaled", inertial.isRateScaled);
    fields("gravity_m_s2", inertial.gravity, {.least = 0.0, .isAboveLeast = true});
    fields("acceleration_residual_before_m_s2", inertial.accelerationResidualBefore, kNotNegative);
    fields("acceleration_residual_after_m_s2", inertial.accelerationResidualAfter, kNotNegative);
    fields("acceleration_uncertainty_m_s2", inertial.accelerationUncertainty, kNotNegative);
    fields("turn_residual_before_rad", inertial.turnResidualBefore, kNotNegative);
    fields("turn_residual_after_rad", inertial.turnResidualAfter, kNotNegative);
    fields("rate_drift_rad_s", inertial.rateDrift, kNotNegative);
    fields("poses", inertial.poses);
    fields("turns", inertial.turns);
    describe(fields, inertial.opinion);
}

template <class Fields>
void describe(Fields& fields, NoiseFigures& noise) {
    fields("white_noise_per_sqrt_hz", noise.whiteNoise, kNotNegative);
    fields("bias_instability", noise.biasInstability, kNotNegative);
    fields("instability_time_s", noise.instabilityTime, kNotNegative);
    fields("random_walk_sqrt_hz", noise.randomWalk, kNotNegative);
}

template <class Fields>
void describe(Fields& fields, NoiseCalibration& noise) {
    fields("origin", noise.origin);
    fields("duration_s", noise.duration, kNotNegative);
    fields.constant("acceleration_unit", "m/s^2");
    fields("acceleration", noise.acceleration);
    fields.constant("rate_unit", "rad/s");
    fields("rate", noise.rate);
    fields("field_unit", noise.fieldUnit, {.choices = "uT|"});
    fields("field", noise.field);
    describe(fields, noise.opinion);
}

template <class Fields>
void describe(Fields& fields, MountCalibration& mount) {
    fields("origin", mount.origin);
    fields("q_segment_sensor", mount.q_segment_sensor, kNeeded);
    fields("pose_begin_s", mount.poseBegin, kUnknown);
    fields("pose_end_s", mount.poseEnd, kUnknown);
    fields("turn_begin_s", mount.turnBegin, kUnknown);
    fields("turn_end_s", mount.turnEnd, kUnknown);
    fields("turned_rad", mount.turned, kNotNegative);
    fields("across", mount.across, kShare);
    fields("hinge_uncertainty_rad", mount.hingeUncertainty, kNotNegative);
    fields("hinge_tilt_rad", mount.hingeTilt, kNotNegative);
    describe(fields, mount.opinion);
}

template <class Fields>
void describe(Fields& fields, Calibration& calibration) {
    fields("magnetic", calibration.magnetic);
    fields("inertial", calibration.inertial);
    fields("noise", calibration.noise);
    fields("mount", calibration.mount);
}

}  // namespace Kavelin::Calibration
