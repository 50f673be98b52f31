#include "attitude/FilterAttitude.h"

namespace Kavelin::OrientationInternal {

namespace {

Vector3 axisOf(FilterAttitude::ATTITUDE_MODE mode) {
    switch (mode) {
        case FilterAttitude::DYNAMIC_YAW:
            return Vector3::UnitZ();
        case FilterAttitude::DYNAMIC_PITCH:
            return Vector3::UnitY();
        default:
            return Vector3::UnitX();
    }
}

/// Tells whether the field has no component in the plane that the mode measures in;
/// "dynamic horizontal" does not ask.
bool isAlongAxis(FilterAttitude::ATTITUDE_MODE mode, const Vector3& field) {
    switch (mode) {
        case FilterAttitude::DYNAMIC_YAW:
            return field.x() == 0 && field.y() == 0;
        case FilterAttitude::DYNAMIC_PITCH:
            return field.x() == 0 && field.z() == 0;
        case FilterAttitude::DYNAMIC_ROLL:
            return field.y() == 0 && field.z() == 0;
        default:
            return false;
    }
}

}  // namespace

FilterAttitude::FilterAttitude(const std::string& name) : Filter(name, true) {
    coefAcc_.setHandler(handler(this, &FilterAttitude::onCoefAcc));
    coefAcc_.notifyAttributeChanged();
    coefMag_.setHandler(handler(this, &FilterAttitude::onCoefMag));
    coefMag_.notifyAttributeChanged();
}

void FilterAttitude::process() {
    if (!takeTogether(acc_, mag_) || !allFit(acc_, mag_)) return;
    const std::optional<Matrix3> attitude = attitudeOf(firstThree(acc_.value()), firstThree(mag_.value()));
    if (!attitude) return;
    attitude_.value() = *attitude;
    attitude_.send(acc_.lastTimeStamp());
}

std::optional<Matrix3> FilterAttitude::attitudeOf(const Vector3& acc, const Vector3& mag) {
    const ATTITUDE_MODE mode = mode_.getEnum();
    switch (mode) {
        case STATIC:
            return relativeTo(computer_.frameFromGravityAndField(acc, mag));
        case STATIC_WITH_COEF:
            return relativeTo(computer_.partialOrthogonalFrame(acc, mag, coefAcc_.get()));
        case DYNAMIC_YAW:
        case DYNAMIC_PITCH:
        case DYNAMIC_ROLL:
        case DYNAMIC_HORIZONTAL:
            return turnAboutAxis(mode, acc, mag);
    }
    return std::nullopt;  // an index below the labels, which the property lets pass
}

Matrix3 FilterAttitude::relativeTo(const Matrix3& frame) {
    if (referenceRequested_) {
        relative_.setReference(frame, true);
        referenceRequested_ = false;
    }
    return relative_.compute(frame);
}

std::optional<Matrix3> FilterAttitude::turnAboutAxis(ATTITUDE_MODE mode, const Vector3& acc,
                                                     const Vector3& mag) {
    Vector3 axis = axisOf(mode);
    if (mode == DYNAMIC_HORIZONTAL && referenceRequested_) axis = acc;
    if (isAlongAxis(mode, mag)) return std::nullopt;  // a pending reference waits for the next sample
    if (referenceRequested_) {
        plane_.setPlane(axis, mag);
        referenceRequested_ = false;
    }
    // Deliberate: "dynamic horizontal" sends a turn about z whatever plane it measures in.
    if (mode == DYNAMIC_HORIZONTAL) axis = Vector3::UnitZ();
    return computer_.axisAngleToRotation(plane_.angle(mag), axis);
}

void FilterAttitude::onMode(const ATTITUDE_MODE& mode) {
    const bool withCoef = mode == STATIC_WITH_COEF;
    coefAcc_.setEnabled(withCoef);
    coefMag_.setEnabled(withCoef);
    coefAcc_.notifyAttributeChanged();
    coefMag_.notifyAttributeChanged();
}

// Deliberate: this runs before the value is in place and before the range test, so a refused value has
// already moved its complement. Writing the complement calls its own handler once:
// the echo, which clears the guard.
void FilterAttitude::complement(double value, RangeProperty<double>& other) {
    if (echoExpected_) {
        echoExpected_ = false;
        return;
    }
    if (value + other.get() == 1.0) return;
    echoExpected_ = true;
    try {
        other.set(value >= 1.0 ? 0.0 : value > 0 ? 1.0 - value : 1.0);
    } catch (...) {
        echoExpected_ = false;  // refused before its handler ran: no echo will come
        throw;
    }
}

}  // namespace Kavelin::OrientationInternal
