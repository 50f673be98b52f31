#pragma once

#include <Eigen/Core>
#include <cstdint>
#include <optional>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::RecordingIO {

using OrientationInternal::Matrix3;
using OrientationInternal::Vector3;

/// What a gyroscope's rates and the motion of a constant vector of the earth, seen by another sensor, say
/// about each other.
struct MotionFitResult {
    double seconds = 0.0;  ///< of samples that went in
    /// Share of the vector's motion that the rates explain as they are, and as they would be with `axes` and
    /// `scale`: 1 all of it, 0 none, below 0 they contradict it.
    double explained = 0.0;
    double bestExplained = 0.0;
    Matrix3 axes = Matrix3::Identity();  ///< signed permutation: true rate = scale * axes * measured rate
    double scale = 1.0;
    /// rad/s; the rates' bias that the vector shows, provided the rates are right otherwise,
    /// and its standard deviation.
    Vector3 bias = Vector3::Zero();
    Vector3 biasDeviation = Vector3::Constant(1.0);
    double norm = 0.0;  ///< the vector's usual one
    /// The vector sensor's offset, in units of the vector's norm, and its standard deviation.
    Vector3 offset = Vector3::Zero();
    Vector3 offsetDeviation = Vector3::Constant(1.0);
};

/// Fits dv/dt = (v - offset) x M (w - bias) to a vector v (gravity, or the earth's field) and the rates w,
/// both in sensor coordinates, by least squares: a vector that stands still in the earth turns against the
/// sensor. Both sides pass through the same band filter, so that linear acceleration, which is fast, and slow
/// changes of the field weigh little. Constant memory.  Never throws.
class MotionFit {
public:
    /// @param t s, not decreasing. Rates first, where both have the same time.
    void addRate(double t, const Vector3& rate);
    void addVector(double t, const Vector3& vector);

    MotionFitResult result() const;

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(rateTime_, rate_, angle_, blockStart_, block_, last_, norm_, normTime_, band_, sums_);
    }

private:
    static constexpr int kUnknowns = 15;  // M column by column, bias, offset
    using Design = Eigen::Matrix<double, 3, kUnknowns>;
    using Normal = Eigen::Matrix<double, kUnknowns, kUnknowns>;
    using Unknowns = Eigen::Matrix<double, kUnknowns, 1>;

    /// Means over some 40 ms.
    struct Block {
        double t = 0.0;
        Vector3 angle = Vector3::Zero();  // integral of the rates, axis by axis
        Vector3 vector = Vector3::Zero();
        int count = 0;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(t, angle, vector, count);
        }
    };

    void closeBlock();
    void advance(const Block& from, const Block& to);
    void accumulate();
    double cost(const Matrix3& m) const;
    void solveOffsets(MotionFitResult& result) const;
    void findAxes(MotionFitResult& result) const;

    /// Behind the first and the second stage of the band filter.
    struct Band {
        Design design = Design::Zero();
        Design smoothDesign = Design::Zero();
        Vector3 change = Vector3::Zero();
        Vector3 smoothChange = Vector3::Zero();
        double deviation = 0.0;  // squared relative deviation of the norm, low-passed
        double sinceLast = 0.0;  // s

        template <class Archive>
        void serialize(Archive& archive) {
            archive(design, smoothDesign, change, smoothChange, deviation, sinceLast);
        }
    };
    /// Normal equations of the fit, and the time that went into them.
    struct Sums {
        Normal normal = Normal::Zero();
        Unknowns right = Unknowns::Zero();
        double squares = 0.0;
        double weight = 0.0;
        double seconds = 0.0;

        // What the bias and the offset add to the rows of M is never read.
        template <class Archive>
        void serialize(Archive& archive) {
            Eigen::Matrix<double, kUnknowns, 9> left = normal.leftCols<9>();
            Eigen::Matrix<double, 6, 6> corner = normal.bottomRightCorner<6, 6>();
            archive(left, corner, right, squares, weight, seconds);
            normal.leftCols<9>() = left;
            normal.bottomRightCorner<6, 6>() = corner;
        }
    };

    std::optional<double> rateTime_;
    Vector3 rate_ = Vector3::Zero();
    Vector3 angle_ = Vector3::Zero();
    double blockStart_ = 0.0;
    Block block_;
    std::optional<Block> last_;
    double norm_ = 0.0;  // usual norm of the vector
    double normTime_ = 0.0;
    Band band_;
    Sums sums_;
};

}  // namespace Kavelin::RecordingIO
