#pragma once

#include <Kavelin/Typed/Matrix.h>

#include <string>

namespace Kavelin::OrientationInternal {

using Core::Matrix;

/// Model of an estimation problem, as `KalmanSolver` asks for it: where to start, how the state moves on,
/// what a sensor should read. A matrix is handed over as pointers to its rows, a vector as its first element;
/// the caller owns all of them. One thread at a time.
class Problem {
public:
    virtual ~Problem() = default;

    /// Returns the state at the start, n x 1.
    virtual Matrix initialState() const = 0;
    /// Returns the upper square-root factor S of the covariance at the start (P = S^T S), n x n.
    virtual Matrix initialCovariance() const = 0;
    /// Return vectors of use to a particular model, 4x1, zero unless the model sets them.
    virtual Matrix auxVector1() const = 0;
    virtual Matrix auxVector2() const = 0;
    virtual Matrix auxVector3() const = 0;

    /// Moves the state on by one step, in place.
    /// @param mode below 1: nothing; 1: the state; 2 and above: the state and its Jacobian.
    /// @param F  receives the Jacobian of the new state by the old one, n x n.
    /// @param G  receives the Jacobian of the new state by the process noise, n x n, when the status says so.
    /// @param u  the input, in the model's own form.
    /// @return status: 0 when the noise adds to the state as it is, anything else when G was filled.
    virtual int transition(double* x, int n, int mode, double* const* F, double* const* G,
                           const double* const* u) = 0;

    /// Predicts a measurement, or takes the references that the predictions need.
    /// @param v  mode 0: the references, m values; from mode 1 on: the state, n values.
    /// @param mode below 0: nothing; 0: takes the references; 1: h; 2 and above: h and its Jacobian.
    /// @param h  receives the predicted measurement, m values.
    /// @param H  receives its Jacobian by the state, m x n.
    /// @param G  receives its Jacobian by the measurement noise, m x m, when the status says so.
    /// @return status: 0 when the noise adds to the measurement as it is, anything else when G was filled.
    virtual int measurement(const double* v, int mode, double* h, double* const* H, double* const* G) = 0;

    /// Takes the model's parameters from a settings file; `flag` goes to the reader's mode.
    /// @return false when the file cannot be read; what was read before then stays.
    virtual bool readSettings(const std::string& fileName, bool flag) = 0;
};

}  // namespace Kavelin::OrientationInternal
