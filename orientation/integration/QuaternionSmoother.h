#pragma once

#include <cstddef>
#include <span>
#include <stdexcept>
#include <vector>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

/// Computes the inverse of `q` (w, x, y, z) of any norm but zero;
/// zero gives not-a-number elements. Never throws.
Quaternion quaternionInverse(const Quaternion& q);

/// Logarithm and exponential of a quaternion of any norm, which belong to this smoother; those of rotations
/// are in attitude/rotation/ExponentialMap.h.
///
/// Computes the logarithm of `q` (w, x, y, z): the natural logarithm of its norm, then half its rotation
/// vector (rad). A zero vector part gives a zero vector part, for a negative w too.  Never throws.
Quaternion quaternionLogarithm(const Quaternion& q);

/// Computes the exponential of (s, u): norm e^s, turn by 2 |u| about u.
/// Undoes quaternionLogarithm. Never throws.
Quaternion quaternionExponential(const Quaternion& logarithm);

/// Corrects a stream of quaternions on the rotation group with a kernel over the last n of them.
///
/// The logarithms of the turns between neighbours are summed with weights derived from the kernel, and the
/// exponential of the sum corrects the newest quaternion. Until n quaternions are there, each passes
/// unchanged. Deliberate: the weights are those of a correction of the middle quaternion, but the newest is
/// corrected; so a steady turn passes without lag, and white noise comes out larger than it went in.
/// Deliberate: signs are not aligned, so a neighbour that changes its sign without turning counts
/// as a large turn.
class QuaternionSmoother {
public:
    /// Starts with the kernel (0.25, 0.5, 0.25).
    QuaternionSmoother();

    /// Starts with a kernel of at least two coefficients.  Allocates.
    explicit QuaternionSmoother(std::span<const double> kernel);

    /// Takes the next quaternion (w, x, y, z; any norm) and returns the smoothed one, not normalised.
    /// A zero quaternion makes the result undefined (not a number) until n further ones have come.
    /// Allocates nothing, never throws.
    Quaternion step(const Quaternion& q);

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(weights_, turns_, oldestTurn_, count_, newest_);
        if (turns_.size() != weights_.size() || oldestTurn_ >= turns_.size())
            throw std::length_error("turns and weights do not fit");
    }

private:
    Quaternion weightedTurns() const;

    std::vector<double> weights_;    // n - 1, for the turns between neighbours, oldest first
    std::vector<Quaternion> turns_;  // ring of the logarithms of the last n - 1 turns
    std::size_t oldestTurn_ = 0;     // place in the ring
    std::size_t count_ = 0;          // quaternions in the history, up to n
    Quaternion newest_{1, 0, 0, 0};
};

}  // namespace Kavelin::OrientationInternal
