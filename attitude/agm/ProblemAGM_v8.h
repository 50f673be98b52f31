#pragma once

#include "attitude/agm/ProblemAGM.h"

namespace Kavelin::OrientationInternal {

/// Further parameters of the AGM estimator v8, from section "Resolution" of its settings file.
struct AGMSettings_v8 {
    // Standard deviations of the sensors relative to the references' lengths, per sample at 100 Hz.
    double Rdstat_A = 0.0;  // accelerometer, static
    double Rdyn0_A = 0.0;   // least value while it is not static
    double Rddyn_A = 0.0;   // growth per unit of the norm's deviation while it is not static
    double Rdstat_M = 0.0;  // magnetometer
    double Rdyn0_M = 0.0;
    double Rddyn_M = 0.0;
    double tau_B = 0.0;  // s, time constant of the gyroscope's bias at rest
    double T_ref = 0.0;  // s, duration of the start

    template <class Archive>
    void serialize(Archive& archive) {
        archive(Rdstat_A, Rdyn0_A, Rddyn_A, Rdstat_M, Rdyn0_M, Rddyn_M, tau_B, T_ref);
    }
};

/// Model of the AGM estimator v8: `ProblemAGM` with the exact Jacobians that a consistent covariance needs.
///
///     x := Phi x / |Phi x| , Jacobian Phi           (I + dt/2 Omega grows the covariance in fast motion)
///     h  = (A(q) aRef, A(q) mRef)                   (no change of sign)
///     A(q) r = (w^2 - v.v) r + 2 v (v.r) - 2 w (v x r)   for q = (w, v)
///     dh/dw = 2 (w r - v x r) ,  dh/dv = 2 (-r v^T + v r^T + (v.r) I + w [r]x)
///
/// A sensor can be left out of the next measurements: its rows of h and of the Jacobian are then zero, so
/// that with zeros for its sample the correction is one by the other sensor alone. One thread at a time.
class ProblemAGM_v8 : public ProblemAGM {
public:
    int transition(double* x, int n, int mode, double* const* F, double* const* G,
                   const double* const* u) override;
    int measurement(const double* v, int mode, double* h, double* const* H, double* const* G) override;

    /// Reads what `ProblemAGM` reads, then the further parameters; a number that is missing is printed and 0.
    bool readSettings(const std::string& fileName, bool flag) override;

    /// Names each entry that the estimator cannot run on; empty when it can: **Qd has an element, not below
    /// 0, and the static deviations and tau_B are above 0. All numbers finite. It needs no other matrix.
    std::string fault() const;

    /// Chooses the sensors that the next measurements are made of.
    void measureWith(bool accelerometer, bool magnetometer);

    double Rdstat_A() const { return further_.Rdstat_A; }
    double Rdyn0_A() const { return further_.Rdyn0_A; }
    double Rddyn_A() const { return further_.Rddyn_A; }
    double Rdstat_M() const { return further_.Rdstat_M; }
    double Rdyn0_M() const { return further_.Rdyn0_M; }
    double Rddyn_M() const { return further_.Rddyn_M; }
    double tau_B() const { return further_.tau_B; }
    double T_ref() const { return further_.T_ref; }

    /// Gives or takes the whole state, for a snapshot: the settings. References and sensors are handed in before each step.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(settings_, further_);
    }

private:
    AGMSettings_v8 further_;
    Eigen::Vector3d aRef_ = Eigen::Vector3d::Zero();
    Eigen::Vector3d mRef_ = Eigen::Vector3d::Zero();
    bool useAccelerometer_ = true;
    bool useMagnetometer_ = true;
};

}  // namespace Kavelin::OrientationInternal
