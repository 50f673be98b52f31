#include "calibration/online/CalibrationCheck.h"

#include <fmt/format.h>

#include <Eigen/LU>
#include <array>
#include <cmath>
#include <numbers>

namespace Kavelin::Calibration {

namespace {

using Eigen::Vector3d;

constexpr std::size_t kFewestSamples = 20;
constexpr std::size_t kFewestBlocks = 3;
constexpr double kGreatestFieldError = 0.3;     // of the strength
constexpr double kGreatestGravityError = 0.05;  // of gravity
constexpr double kWorse = 1.5;                  // times what it was before
constexpr double kWorseField = 0.02;            // by so much more, as a share
constexpr double kWorseRate = 0.01;             // rad/s
constexpr double kFastestRest = 0.2;            // rad/s, bias of a gyroscope
constexpr double kNearOne = 0.2;
constexpr double kSameUnit = 2.0;  // a norm may differ by this factor through hard iron
constexpr const char* kOther = "is the calibration that of another unit?";

struct UnitFactor {
    const char* unit;
    double factor;  // of a norm in it to the norm in the right unit
};

/// The unit whose factor explains a ratio of norms best; null where none does.
template <std::size_t count>
const char* unitThatExplains(const std::array<UnitFactor, count>& units, double ratio) {
    for (const UnitFactor& row : units)
        if (ratio < kSameUnit * row.factor && ratio * kSameUnit > row.factor) return row.unit;
    return nullptr;
}

constexpr std::array<UnitFactor, 5> kFieldUnits{
    {{"gauss", 0.01}, {"mG", 10.0}, {"nT", 1000.0}, {"mT", 0.001}, {"T", 1e-6}}};
constexpr std::array<UnitFactor, 2> kAccelerationUnits{{{"g", 1.0 / 9.81}, {"mg", 1000.0 / 9.81}}};

}  // namespace

FieldCheck::FieldCheck(const AffineModel& model, double strength)
    : strength_(strength),
      usual_(std::hypot(model.offset.norm(), strength / std::cbrt(std::abs(model.matrix.determinant())))) {}

void FieldCheck::add(const Vector3d& before, const Vector3d& after) {
    before_.add(before.norm());
    after_.add(after.norm());
    if (std::abs(after.norm() - strength_) > kGreatestFieldError * strength_) ++far_;
}

std::string FieldCheck::fault() const {
    if (after_.count() < kFewestSamples) return {};
    const bool fitsAsItCame =
        std::abs(before_.mean() / strength_ - 1.0) < kNearOne && before_.scatter() < kNearOne;
    const std::string reason = fitsAsItCame ? "is the recording calibrated already?" : kOther;
    // Offset and strength in the wrong unit may look right by chance, but not the field as it came.
    const char* const unit = unitThatExplains(kFieldUnits, before_.mean() / usual_);
    if (unit != nullptr || 2 * far_ > after_.count()) {
        const std::string seen = fmt::format(
            "the norm of the field is {:.4g} on average, {:.4g} when calibrated, and {:.4g} is right: ",
            before_.mean(), after_.mean(), strength_);
        if (std::abs(before_.mean() - 1.0) < kNearOne)
            return seen + "it has the norm 1; calibrate it from a recording like it";
        if (unit != nullptr)
            return seen + fmt::format("is it in {}? The calibration is not; say the unit with --units", unit);
        return seen + reason;
    }
    // A great offset hides what scatters: the norm is nearly that of the offset.
    const bool isComparable = before_.mean() < kSameUnit * strength_;
    if (isComparable && after_.scatter() > kWorse * before_.scatter() + kWorseField)
        return fmt::format(
            "the norm of the field scatters by {:.1f} % after the calibration and by {:.1f} % before: {}",
            100 * after_.scatter(), 100 * before_.scatter(), reason);
    return {};
}

void RestBlocks::add(double t, const Vector3d& before, const Vector3d& after) {
    const bool isLong = size_ >= kFewestSamples && t - begin_ >= kLength;
    if (isLong) close();
    if (isLong || t < begin_ || size_ == 0) {
        before_.setZero();
        after_.setZero();
        squares_ = 0.0;
        size_ = 0;
        begin_ = t;
    }
    before_ += before;
    after_ += after;
    squares_ += before.squaredNorm();
    ++size_;
}

void RestBlocks::close() {
    const auto n = static_cast<double>(size_);
    const double mean = before_.norm() / n;
    const double variance = std::max(0.0, squares_ / n - mean * mean);
    if (std::sqrt(variance) > std::max(least_, leastShare_ * mean)) return;
    restBefore_.add(mean);
    restAfter_.add(after_.norm() / n);
}

std::string AccelerationCheck::fault() const {
    const double before = blocks_.before().mean(), after = blocks_.after().mean();
    if (blocks_.after().count() < kFewestBlocks ||
        std::abs(after - gravity_) <= kGreatestGravityError * gravity_)
        return {};
    const std::string seen = fmt::format(
        "the calibrated acceleration at rest is {:.4g} m/s^2, and {:.4g} is right: ", after, gravity_);
    if (const char* unit = unitThatExplains(kAccelerationUnits, before / gravity_))
        return seen + fmt::format("is the recording's acceleration in {}? Say the unit with --units", unit);
    return seen + kOther;
}

std::string RateCheck::fault() const {
    const double before = blocks_.before().mean(), after = blocks_.after().mean();
    if (blocks_.after().count() < kFewestBlocks || before > kFastestRest ||
        after <= kWorse * before + kWorseRate)
        return {};
    constexpr double kDegrees = 180.0 / std::numbers::pi;
    return fmt::format("the rate at rest is {:.2f} deg/s after the calibration and {:.2f} deg/s before: {}",
                       after * kDegrees, before * kDegrees, kOther);
}

}  // namespace Kavelin::Calibration
