#include "orientation/joint/HingeAxis.h"

#include <Eigen/Cholesky>
#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <limits>

namespace Kavelin::OrientationInternal {

namespace {

using Eigen::Matrix4d;
using Eigen::Vector4d;

struct RatePair {
    Vector3 d, g;
};
using RatePairs = std::vector<RatePair>;

struct Axes {
    Vector3 d, g;
};

/// Two directions at right angles to an axis and to each other.
Eigen::Matrix<double, 3, 2> tangentsOf(const Vector3& axis) {
    Eigen::Matrix<double, 3, 2> tangents;
    tangents.col(0) = axis.unitOrthogonal();
    tangents.col(1) = axis.cross(tangents.col(0));
    return tangents;
}

double residualOf(const RatePair& rates, const Axes& axes) {
    return rates.d.cross(axes.d).norm() - rates.g.cross(axes.g).norm();
}

/// The normal equations of one step: change of (d along its tangents, g along its).
struct Normal {
    Matrix4d h = Matrix4d::Zero();
    Vector4d b = Vector4d::Zero();
    double cost = 0.0;
    double squares = 0.0;  // weighted
    double weights = 0.0;
};

/// @param scale residual beyond which a sample counts less; infinity: all count the same
Normal normalAt(const RatePairs& pairs, const Axes& axes, double scale) {
    const auto tangents_d = tangentsOf(axes.d), tangents_g = tangentsOf(axes.g);
    const auto slopeOf = [](const Vector3& rate, const Vector3& across, double length, const auto& tangents) {
        const Eigen::Vector2d along = (tangents.transpose() * across.cross(rate)).eval();
        return length > 1e-12 ? Eigen::Vector2d(along / length) : Eigen::Vector2d(Eigen::Vector2d::Zero());
    };
    Normal normal;
    for (const RatePair& pair : pairs) {
        const Vector3 across_d = pair.d.cross(axes.d), across_g = pair.g.cross(axes.g);
        const double length_d = across_d.norm(), length_g = across_g.norm();
        const double e = length_d - length_g;
        Vector4d slope;
        slope << slopeOf(pair.d, across_d, length_d, tangents_d),
            -slopeOf(pair.g, across_g, length_g, tangents_g);
        const double w = 1.0 / (1.0 + (e / scale) * (e / scale));
        normal.h += w * slope * slope.transpose();
        normal.b -= w * e * slope;
        normal.cost += std::isfinite(scale) ? scale * scale * std::log1p((e / scale) * (e / scale)) : e * e;
        normal.squares += w * e * e;
        normal.weights += w;
    }
    return normal;
}

Axes moved(const Axes& axes, const Vector4d& step) {
    return {(axes.d + tangentsOf(axes.d) * step.head<2>()).normalized(),
            (axes.g + tangentsOf(axes.g) * step.tail<2>()).normalized()};
}

struct Minimum {
    Axes axes;
    Normal normal;
};

/// Levenberg-Marquardt; never leaves a point for a worse one.
Minimum minimise(const RatePairs& pairs, const Axes& start, double scale, int steps) {
    Minimum best{start, normalAt(pairs, start, scale)};
    double damping = 1e-3;
    for (int i = 0; i < steps && damping < 1e6; ++i) {
        Matrix4d h = best.normal.h;
        h.diagonal().array() += damping * (h.trace() / 4 + 1e-12);
        const Vector4d step = h.ldlt().solve(best.normal.b);
        const Axes axes = moved(best.axes, step);
        const Normal normal = normalAt(pairs, axes, scale);
        if (normal.cost < best.normal.cost) {
            best = {axes, normal};
            damping = std::max(damping / 10, 1e-9);
            if (step.norm() < 1e-9) break;
        } else {
            damping *= 10;
        }
    }
    return best;
}

/// The directions about which a unit turned most, second and least.
Eigen::Matrix3d mainDirections(const RatePairs& pairs, Vector3 RatePair::*unit) {
    Eigen::Matrix3d sum = Eigen::Matrix3d::Zero();
    for (const RatePair& pair : pairs) sum += pair.*unit * (pair.*unit).transpose();
    return Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d>(sum).eigenvectors();
}

bool areAlike(const Axes& a, const Axes& b) {
    constexpr double kCosine = 0.94;  // 20 degrees
    return std::abs(a.d.dot(b.d)) > kCosine && std::abs(a.g.dot(b.g)) > kCosine;
}

double rms(double sum, std::size_t count) { return std::sqrt(sum / static_cast<double>(count)); }

/// A robust measure of the size of the residuals, with a floor for a perfect fit.
double residualScale(const RatePairs& pairs, const Axes& axes) {
    constexpr double kFloor = 0.01;  // rad/s
    std::vector<double> sizes;
    for (const RatePair& pair : pairs) sizes.push_back(std::abs(residualOf(pair, axes)));
    const auto middle = sizes.begin() + static_cast<std::ptrdiff_t>(sizes.size() / 2);
    std::nth_element(sizes.begin(), middle, sizes.end());
    return std::max(kFloor, 1.4826 * *middle);
}

RatePairs thinned(const RatePairs& pairs, std::size_t count) {
    const std::size_t stride = std::max<std::size_t>(1, pairs.size() / count);
    RatePairs few;
    for (std::size_t i = 0; i < pairs.size(); i += stride) few.push_back(pairs[i]);
    return few;
}

/// The minima that are reached from the main directions of both units, the best first.
std::vector<Minimum> searchFrom(const RatePairs& pairs) {
    const Eigen::Matrix3d starts_d = mainDirections(pairs, &RatePair::d);
    const Eigen::Matrix3d starts_g = mainDirections(pairs, &RatePair::g);
    std::vector<Minimum> minima;
    for (int i = 0; i < 3; ++i) {
        for (int k = 0; k < 3; ++k) {
            // A start beside a direction: on it, the motion about one axis has no slope.
            const Axes start = moved({starts_d.col(i), starts_g.col(k)}, Vector4d(0.1, 0.05, -0.05, 0.1));
            minima.push_back(minimise(pairs, start, std::numeric_limits<double>::infinity(), 40));
        }
    }
    std::sort(minima.begin(), minima.end(),
              [](const Minimum& a, const Minimum& b) { return a.normal.cost < b.normal.cost; });
    return minima;
}

void describeFit(const RatePairs& pairs, const Minimum& fit, HingeAxis& hinge) {
    double rates = 0.0;
    for (const RatePair& pair : pairs) rates += std::max(pair.d.squaredNorm(), pair.g.squaredNorm());
    hinge.residual = std::sqrt(fit.normal.squares / fit.normal.weights);
    hinge.rate = rms(rates, pairs.size());
    const Eigen::SelfAdjointEigenSolver<Matrix4d> curvature(fit.normal.h / fit.normal.weights);
    hinge.slope = std::sqrt(std::max(0.0, curvature.eigenvalues()[0]));
    hinge.slopeShareOfD = curvature.eigenvectors().col(0).head<2>().squaredNorm();
}

}  // namespace

HingeAxis::Weakness HingeAxis::weakness() const {
    if (samples < kFewestSamples) return Weakness::kNoMotion;
    if (residual > kGreatestResidual * rate) return Weakness::kNotAHinge;
    if (slope < kSmallestSlope || rival < 1.5 * residual) return Weakness::kUndetermined;
    return Weakness::kNone;
}

double HingeAxis::sigma() const { return residual / (slope * std::sqrt(static_cast<double>(samples))); }

HingeAxis findHingeAxis(const std::vector<JointSample>& samples, const Vector3& bias_d,
                        const Vector3& bias_g) {
    RatePairs pairs;
    for (const JointSample& sample : samples) {
        const RatePair pair{sample.rate_d - bias_d, sample.rate_g - bias_g};
        if (pair.d.norm() > JointSamples::kSlowest || pair.g.norm() > JointSamples::kSlowest)
            pairs.push_back(pair);
    }
    HingeAxis hinge;
    hinge.samples = pairs.size();
    if (pairs.size() < HingeAxis::kFewestSamples) return hinge;

    const RatePairs few = thinned(pairs, 512);
    const std::vector<Minimum> minima = searchFrom(few);
    hinge.rival = std::numeric_limits<double>::infinity();
    for (const Minimum& other : minima) {
        if (areAlike(other.axes, minima[0].axes)) continue;
        hinge.rival = rms(other.normal.cost, few.size());
        break;
    }
    Minimum fit = minima[0];
    for (int round = 0; round < 3; ++round)
        fit = minimise(pairs, fit.axes, 3.0 * residualScale(pairs, fit.axes), 20);
    hinge.d = fit.axes.d;
    hinge.g = fit.axes.g;
    describeFit(pairs, fit, hinge);
    return hinge;
}

}  // namespace Kavelin::OrientationInternal
