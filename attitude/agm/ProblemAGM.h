#pragma once

#include <Eigen/Core>

#include "attitude/solver/Problem.h"

namespace Kavelin::OrientationInternal {

/// Parameters of the AGM estimators as their settings file gives them; a matrix that is missing there is 0x0.
struct AGMSettings {
    Matrix XhatKK = Matrix::Zero(4, 1);  // quaternion at the start (w, x, y, z), or 1x4
    Matrix Pf = Matrix::Zero(4, 4);      // upper square-root factor of its covariance
    Matrix Rddyn;                        // 3x3, squared units of the sensors: noise of a perturbed sensor
    Matrix Rdstat;                       // 3x3, the same: noise of an unperturbed sensor
    Matrix Qd;                           // 4x4, (rad/s)^2: process noise, scaled by dt^2 / 4
    double alpha_A = 0.0;                // threshold on the accelerometer's norm, its unit
    double alpha_M = 0.0;                // threshold on the magnetometer's norm, its unit
    double T_A = 0.0;                    // s, hold time of the linear-acceleration flag
    double T_M = 0.0;                    // s, hold time of the magnetic-perturbation flag
    double QCoeff = 0.0;
    double T_setref = 0.0;  // s, duration of the initialisation
    double alpha_C = 0.0;   // threshold of the magnetic consistency test

    template <class Archive>
    void serialize(Archive& archive) {
        archive(XhatKK, Pf, Rddyn, Rdstat, Qd, alpha_A, alpha_M, T_A, T_M, QCoeff, T_setref, alpha_C);
    }
};

/// Model of an attitude quaternion q = (w, x, y, z) that turns with a gyroscope and is seen through an
/// accelerometer and a magnetometer: 4 states, 6 measurements (accelerometer, magnetometer), input u of two
/// rows, u[0][0] = dt (s) and u[1][0..2] = the angular rate (rad/s, sensor frame).
///
///     x := Phi x / |Phi x| ,   Phi = cos(theta) I + sin(theta) / |omega| Omega ,   theta = |omega| dt / 2
///     h  = (A(q) ga, A(q) gm) ,   A(q) the rotation from the reference to the sensor frame
///
/// Deliberate: the accelerometer's reference is negated when it is taken (ga = -aRef), the magnetometer's is
/// not. A caller whose accelerometer reads A(q) aRef must hand in -aRef,
/// or the estimate is drawn to the opposite attitude.
class ProblemAGM : public Problem {
public:
    Matrix initialState() const override { return settings_.XhatKK; }
    Matrix initialCovariance() const override { return settings_.Pf; }
    Matrix auxVector1() const override { return auxVector1_; }
    Matrix auxVector2() const override { return auxVector2_; }
    Matrix auxVector3() const override { return auxVector3_; }

    /// Turns x by the rate over dt and gives it unit length; the status is always 0 and G stays as it is.
    /// @param F receives I + dt/2 Omega, to first order, in mode 2. Needed in every mode that moves the
    /// state. Deliberate: below theta = 2^-27 it is the transition itself,
    /// and in mode 1 that is whatever it last held.
    int transition(double* x, int n, int mode, double* const* F, double* const* G,
                   const double* const* u) override;

    /// Predicts both sensors in the sensor frame; mode 0 takes v = (aRef, mRef). The status is always 0.
    int measurement(const double* v, int mode, double* h, double* const* H, double* const* G) override;

    /// Reads section "MIG" (**XhatKK, **Pf, **Qd, **Rddyn, **Rdstat) and section "Resolution" (alpha_A,
    /// alpha_M, alpha_C, T_setref, T_A, T_M, QCoeff). What is missing is printed,
    /// a matrix then is 0x0 and a number 0.
    /// @throws std::bad_alloc for a matrix that no memory could hold; what was read until then stays.
    bool readSettings(const std::string& fileName, bool flag) override;

    Matrix Rddyn() const { return settings_.Rddyn; }
    Matrix Rdstat() const { return settings_.Rdstat; }
    Matrix Qd() const { return settings_.Qd; }
    double alpha_A() const { return settings_.alpha_A; }
    double alpha_M() const { return settings_.alpha_M; }
    double alpha_C() const { return settings_.alpha_C; }
    double T_A() const { return settings_.T_A; }
    double T_M() const { return settings_.T_M; }
    double T_setref() const { return settings_.T_setref; }
    double QCoeff() const { return settings_.QCoeff; }

    /// Names each matrix that does not have the size the estimators need, with both sizes; empty when all are
    /// right. The start quaternion may also be a row.
    std::string fault() const;

    /// Gives or takes the whole state, for a snapshot: the settings and the references.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(settings_, ga_, gm_);
        ga2_ = 2 * ga_;
        gm2_ = 2 * gm_;
    }

protected:
    AGMSettings settings_;
    Matrix auxVector1_ = Matrix::Zero(4, 1);
    Matrix auxVector2_ = Matrix::Zero(4, 1);
    Matrix auxVector3_ = Matrix::Zero(4, 1);

    // References as the model uses them, and their doubles, which the Jacobian is made of.
    Eigen::Vector3d ga_ = Eigen::Vector3d::Zero();
    Eigen::Vector3d gm_ = Eigen::Vector3d::Zero();
    Eigen::Vector3d ga2_ = Eigen::Vector3d::Zero();
    Eigen::Vector3d gm2_ = Eigen::Vector3d::Zero();

    // Transition matrix of the last step: the rows of `phiRows_`, or the caller's rows of F.
    const double* const* phi_ = nullptr;

private:
    double phiElements_[4][4] = {};
    double* phiRows_[4] = {phiElements_[0], phiElements_[1], phiElements_[2], phiElements_[3]};
};

}  // namespace Kavelin::OrientationInternal
