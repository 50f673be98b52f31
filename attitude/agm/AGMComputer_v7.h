#pragma once

#include "attitude/agm/AGMComputer.h"
#include "attitude/detection/RestDetector.h"
#include "attitude/detection/StartAverages.h"

namespace Kavelin::OrientationInternal {

/// The estimator v6 with a gyroscope bias and relative measurements: what most of its error comes from, and
/// one noise for both sensors.
///
/// The start also averages the gyroscope; if the unit lay still, that mean is the bias, and later rests
/// refresh it. Accelerations and fields are divided by the lengths of their references, so "Rdstat", "Rddyn",
/// "alpha_A", "alpha_M" and "alpha_C" are relative. The process noise grows with the rate w:
/// Qd (1 + QCoeff |w|^2).
///
/// A sample that is not a measurement (see SampleLimits.h) counts as a perturbed one, a rate as zero; means
/// are over the others. A time that does not advance changes nothing, a step is at most 1 s. So an estimate
/// is always finite and of unit norm.
class AGMComputer_v7 : public AGMComputer {
public:
    AGMComputer_v7();
    bool advance(const AGMSample& sample) override;

    /// rad/s, sensor frame.
    const Vector3& bias() const { return bias_; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        AGMComputer::serialize(archive);
        archive(averages_, rest_, bias_, accScale_, magScale_, qCoeff_);
    }

protected:
    void reset(bool fromFile) override;
    bool collect(const AGMSample& sample) override;
    bool fixReferences(const AGMSample& sample) override;
    void track(const AGMSample& sample) override;

private:
    AGMSample relativeSample(const AGMSample& sample);
    void watchRest(const AGMSample& sample, double dt);

    StartAverages averages_;
    RestDetector rest_;
    bool resting_ = false;
    Vector3 bias_ = Vector3::Zero();
    double accScale_ = 1.0;  // m/s^2, length of the accelerometer's reference as measured
    double magScale_ = 1.0;  // the field's, its unit; 0: the start saw no field
    double qCoeff_ = 0.0;    // s^2
};

}  // namespace Kavelin::OrientationInternal
