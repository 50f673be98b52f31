#pragma once

#include "attitude/so3/BodyFixedHypothesis.h"
#include "attitude/so3/ErrorCovariance.h"
#include "attitude/so3/FieldRecords.h"
#include "attitude/so3/JointFit.h"
#include "attitude/so3/NominalState.h"
#include "attitude/so3/StepSums.h"

namespace Kavelin::OrientationInternal::SO3 {

/// S7 to S14: what is known about the magnetic field, and how it corrects the heading.
///
/// Never throws, never allocates. [layout thread]
class FieldCorrection {
public:
    /// Takes a window that holds a field and corrects the estimate. @param fieldNoise see Settings.
    void run(const FieldWindow& window, double fieldNoise, NominalState& nominal,
             ErrorCovariance& covariance);

    /// To be called when the earth frame was turned about Up (rad): turns everything known in it.
    void turnEarth(double angle) { turnedBy_ += known_ ? angle : 0.0; }
    /// To be called after a gap so long that the level was found again.
    void restart(NominalState& nominal, ErrorCovariance& covariance);

    bool known() const { return known_; }
    /// Whether the field was of no use at the last window.
    bool disturbed() const { return disturbed_; }
    /// Of the sensor, in the field's unit; 0 while no field is known.
    Eigen::Vector3d hardIron() const { return hardIron_ / scale_; }
    /// rad, azimuth by which the first field turned the earth frame to its north.
    double firstAzimuth() const { return firstAzimuth_; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(known_, disturbed_, scale_, firstAzimuth_, turnedBy_, headingVariance_, hardIron_, records_,
                bodyFixed_, fit_);
    }

private:
    void takeFirstField(const Eigen::Vector3d& field, NominalState& nominal, ErrorCovariance& covariance);
    static void decayDisturbance(double motion, NominalState& nominal, ErrorCovariance& covariance);
    void compare(FieldSeen& seen, const ErrorCovariance& covariance);
    void compareAgain(FieldSeen& seen);
    void learnBodyFixed(FieldSeen& seen, double duration, NominalState& nominal, ErrorCovariance& covariance);
    void changeField(const FieldSeen& seen, int fitting, NominalState& nominal, ErrorCovariance& covariance);
    void fitJointly(FieldSeen& seen, NominalState& nominal, ErrorCovariance& covariance);
    void correctHeading(const FieldSeen& seen, double duration, double fieldNoise, NominalState& nominal,
                        ErrorCovariance& covariance);

    bool known_ = false;
    bool disturbed_ = false;
    double scale_ = 1.0;  // 1 / strength of the first field
    double firstAzimuth_ = 0.0;
    double turnedBy_ = 0.0;                               // rad, not yet applied to what is kept
    double distance_ = 0.0;                               // of the window's field from the record in force
    double headingVariance_ = 0.0;                        // at the last correction
    Eigen::Vector3d hardIron_ = Eigen::Vector3d::Zero();  // sensor frame, relative
    FieldRecords records_;
    BodyFixedHypothesis bodyFixed_;
    JointFit fit_;
};

}  // namespace Kavelin::OrientationInternal::SO3
