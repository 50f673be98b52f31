#include "evaluation/AttitudeErrors.h"

#include <fmt/format.h>

#include <cmath>

#include "attitude/rotation/Angles.h"
#include "attitude/rotation/QuaternionAlgebra.h"

namespace Kavelin::RecordingIO {

namespace {

using OrientationInternal::conjugate;
using OrientationInternal::kRadiansToDegrees;
using OrientationInternal::quaternionProduct;
using OrientationInternal::wrapped;

double rootMeanDegrees(double sum, std::uint64_t count) {
    return count == 0 ? 0.0 : std::sqrt(sum / static_cast<double>(count)) * kRadiansToDegrees;
}

}  // namespace

std::string_view alignmentName(Alignment alignment) {
    static constexpr std::string_view kNames[] = {
        "", "after the one turn about the vertical that fits best",
        "after the one rotation taken at the first output with a reference"};
    return kNames[static_cast<std::size_t>(alignment)];
}

PairErrors PairErrors::of(const Quaternion& error) {
    return {wrapped(2.0 * std::atan2(error[3], error[0])),
            2.0 * std::atan2(std::hypot(error[1], error[2]), std::hypot(error[0], error[3]))};
}

double PairErrors::total() const {
    // |w| = cos(inclination / 2) |cos(heading / 2)|. The arc cosine loses small angles; the sine keeps them.
    const double si = std::sin(0.5 * inclination);
    const double sh = std::sin(0.5 * heading) * std::cos(0.5 * inclination);
    const double w = std::cos(0.5 * inclination) * std::cos(0.5 * heading);
    return 2.0 * std::atan2(std::hypot(si, sh), std::abs(w));
}

std::optional<PairErrors> AttitudeErrors::add(const Quaternion& estimate, const Quaternion& reference,
                                              bool counts) {
    const double norm = reference.norm();
    if (!estimate.allFinite() || !reference.allFinite() || norm < 0.5) return std::nullopt;
    const Quaternion truth = reference / norm;
    Quaternion aligned = estimate;
    if (alignment_ == Alignment::kStart) {
        if (!hasStart_) start_ = quaternionProduct(truth, conjugate(estimate));
        hasStart_ = true;
        aligned = quaternionProduct(start_, estimate);
    }
    const PairErrors errors = PairErrors::of(quaternionProduct(aligned, conjugate(truth)));
    if (!counts) return errors;
    ++count_;
    if (alignment_ == Alignment::kHeading) {
        keep(errors);
    } else {
        sum(errors);
    }
    return errors;
}

void AttitudeErrors::sum(const PairErrors& errors) {
    const double total = errors.total();
    sumTotal_ += total * total;
    sumHeading_ += errors.heading * errors.heading;
    sumInclination_ += errors.inclination * errors.inclination;
}

void AttitudeErrors::keep(const PairErrors& errors) {
    if (sinceKept_++ % stride_ != 0) return;
    if (pairs_.empty()) pairs_.reserve(kMostPairs);
    if (pairs_.size() == kMostPairs) {
        for (std::size_t i = 0; 2 * i < pairs_.size(); ++i) pairs_[i] = pairs_[2 * i];
        pairs_.resize(kMostPairs / 2);
        stride_ *= 2;
    }
    pairs_.push_back(errors);
}

/// The angle whose removal leaves the least mean square heading error: the circular mean, then the plain
/// mean around it.
double AttitudeErrors::turn() const {
    if (pairs_.empty()) return 0.0;
    double sine = 0.0;
    double cosine = 0.0;
    for (const PairErrors& pair : pairs_) {
        sine += std::sin(pair.heading);
        cosine += std::cos(pair.heading);
    }
    double best = std::atan2(sine, cosine);
    for (int pass = 0; pass < 3; ++pass) {
        double sum = 0.0;
        for (const PairErrors& pair : pairs_) sum += wrapped(pair.heading - best);
        best += sum / static_cast<double>(pairs_.size());
    }
    return best;
}

ErrorFigures AttitudeErrors::figures() const {
    if (alignment_ != Alignment::kHeading || pairs_.empty()) {
        return {rootMeanDegrees(sumTotal_, count_), rootMeanDegrees(sumHeading_, count_),
                rootMeanDegrees(sumInclination_, count_), count_};
    }
    const double best = turn();
    AttitudeErrors rest(Alignment::kNone);
    for (const PairErrors& pair : pairs_) rest.sum({wrapped(pair.heading - best), pair.inclination});
    rest.count_ = pairs_.size();
    ErrorFigures figures = rest.figures();
    figures.count = count_;
    return figures;
}

std::string AttitudeErrors::figuresText() const {
    const ErrorFigures f = figures();
    const std::string_view aligned = alignmentName(alignment_);
    return fmt::format(
        "error against the reference: total {:.4g}, heading {:.4g}, tilt {:.4g} degrees, RMS over {} "
        "row{}{}{}",
        f.total, f.heading, f.inclination, f.count, f.count == 1 ? "" : "s", aligned.empty() ? "" : ", ",
        aligned);
}

}  // namespace Kavelin::RecordingIO
