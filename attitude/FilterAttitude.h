#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <optional>
#include <string>

#include "attitude/rotation/AbsoluteAttitudeComputer.h"
#include "attitude/rotation/RelativeAttitudeComputer.h"
#include "orientation/frames/ConstPlaneComputer.h"

namespace Kavelin::OrientationInternal {

/// Computes an attitude from one acceleration and one field at a time,
/// relative to a reference taken on command.
///
/// Pins: in "3a", "3m" 3 elements of any shape, sensor frame, any unit, paired one to one; out "attitude"
/// 3x3, stamped like "3a". "Mode": the two static modes build a full frame R_earth_sensor (rows north, west,
/// up) and send R R0^T; the dynamic modes measure the field's angle about one axis and send the turn by it.
/// "Coef 3a" is, in "static with coef", the fraction by which the field is turned towards being horizontal;
/// "Coef 3m" is its complement to 1 and follows it. "Reference" takes the next sample as the reference.
class FilterAttitude : public Filter, public Core::WithState<FilterAttitude> {
public:
    static constexpr const char* kTypeName = "FilterAttitude";
    static constexpr unsigned kStateVersion = 1;

    enum ATTITUDE_MODE : int {
        STATIC,
        DYNAMIC_YAW,
        DYNAMIC_PITCH,
        DYNAMIC_ROLL,
        DYNAMIC_HORIZONTAL,
        STATIC_WITH_COEF,
    };

    explicit FilterAttitude(const std::string& name);
    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(relative_, plane_, referenceRequested_, echoExpected_);
    }

private:
    void onMode(const ATTITUDE_MODE& mode);
    void onCoefAcc(const double& value) { complement(value, coefMag_); }
    void onCoefMag(const double& value) { complement(value, coefAcc_); }
    void onReference() { referenceRequested_ = true; }

    void complement(double value, RangeProperty<double>& other);
    std::optional<Matrix3> attitudeOf(const Vector3& acc, const Vector3& mag);
    Matrix3 relativeTo(const Matrix3& frame);
    std::optional<Matrix3> turnAboutAxis(ATTITUDE_MODE mode, const Vector3& acc, const Vector3& mag);

    InputPin<Matrix> acc_{"3a", this, anyArrangement(inUnit(kAcceleration, ""))};
    InputPin<Matrix> mag_{"3m", this, anyArrangement(kField)};
    OutputPin<Matrix> attitude_{"attitude", this, inFrame(kRotation, kSensorToNorthWestUp)};
    EnumEnumProperty<ATTITUDE_MODE, std::string> mode_{
        "Mode",
        this,
        {"static", "dynamic yaw", "dynamic pitch", "dynamic roll", "dynamic horizontal", "static with coef"},
        STATIC,
        handler(this, &FilterAttitude::onMode)};
    RangeProperty<double> coefAcc_{
        "Coef 3a", this, {.minimum = 0, .maximum = 1, .step = 0.01, .value = 0, .unit = ""}};
    RangeProperty<double> coefMag_{
        "Coef 3m", this, {.minimum = 0, .maximum = 1, .step = 0.01, .value = 1, .unit = ""}};
    CommandProperty reference_{"Reference", this, handler(this, &FilterAttitude::onReference)};

    AbsoluteAttitudeComputer computer_;
    RelativeAttitudeComputer relative_;
    ConstPlaneComputer plane_;
    bool referenceRequested_ = false;
    bool echoExpected_ = false;  // one coefficient is writing the other
};

}  // namespace Kavelin::OrientationInternal
