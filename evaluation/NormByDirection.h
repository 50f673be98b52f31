#pragma once

#include <Eigen/Core>
#include <array>
#include <cstdint>

#include "attitude/rotation/RotationTypes.h"
#include "attitude/rotation/SymmetricState.h"

namespace Kavelin::RecordingIO {

using OrientationInternal::Vector3;

/// How much of the changes of the field's norm the direction explains in which the unit sees it.
struct NormByDirectionEvidence {
    double turned = 0.0;     ///< rad, that went in
    double deviation = 0.0;  ///< share: standard deviation of the norm
    double explained = 0.0;  ///< share of its variance that the direction explains, as one half of the time
                             ///< predicts the other; below 0: it predicts worse than the mean
};

/// Tells a wrong calibration from a disturbed place: hard and soft iron make the norm a function of the
/// direction u, log |m| = c + b.u + u.Q u, whenever it is seen; a place changes it in the same direction. The
/// coefficients are found by least squares from one half of the time, in pieces, and tried on the other. Constant
/// memory.  Never throws.
class NormByDirection {
public:
    /// @param field sensor frame  @param turned rad, angles of all turns until then: a rest adds nothing
    void add(double t, const Vector3& field, double turned);
    NormByDirectionEvidence evidence() const;

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(halves_, unit_, lastTurned_, taken_);
    }

private:
    static constexpr int kUnknowns = 9;
    using Normal = Eigen::Matrix<double, kUnknowns, kUnknowns>;
    using Unknowns = Eigen::Matrix<double, kUnknowns, 1>;

    struct Sums {
        Normal normal = Normal::Zero();
        Unknowns right = Unknowns::Zero();
        double squares = 0.0;
        double count = 0.0;
        double sum = 0.0;

        Unknowns fit() const;
        double residual(const Unknowns& x) const;

        template <class Archive>
        void serialize(Archive& archive) {
            OrientationInternal::serializeSymmetric(archive, normal);
            archive(right, squares, count, sum);
        }
    };

    std::array<Sums, 2> halves_;
    double unit_ = 0.0;  // the first norm
    double lastTurned_ = 0.0;
    std::uint64_t taken_ = 0;
};

}  // namespace Kavelin::RecordingIO
