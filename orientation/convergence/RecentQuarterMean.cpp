#include "orientation/convergence/RecentQuarterMean.h"

#include <cmath>
#include <limits>
#include <numeric>

namespace Kavelin::OrientationInternal {

namespace {

/// Beyond it, the order of the additions decides whether a sum overflows.
constexpr double kHugeMagnitude = 1e290;

double plainMean(std::span<const double> window) {
    return std::accumulate(window.begin(), window.end(), 0.0) / static_cast<double>(window.size());
}

}  // namespace

void CompensatedSum::add(double value) {
    const double total = sum + value;
    error += std::abs(sum) >= std::abs(value) ? (sum - total) + value : (value - total) + sum;
    sum = total;
}

RecentQuarterMean::Kind RecentQuarterMean::kindOf(double entry) {
    if (std::abs(entry) <= kHugeMagnitude) return kTame;
    if (std::isnan(entry)) return kNotANumber;
    if (std::isinf(entry)) return entry > 0 ? kPlusInfinity : kMinusInfinity;
    return kHuge;
}

void RecentQuarterMean::advance(std::span<const double> entries) {
    const double newest = entries.back();
    back_.add(tamePart(newest));
    ++count_[kindOf(newest)];
    if (entries.size() - entries.size() / 4 == start_) return;  // the quarter grew by one

    if (front_.empty()) turnOver(entries);
    front_.pop_back();
    --count_[kindOf(entries[start_])];
    ++start_;
}

void RecentQuarterMean::turnOver(std::span<const double> entries) {
    CompensatedSum sum;
    for (std::size_t i = entries.size(); i > start_; --i) {
        sum.add(tamePart(entries[i - 1]));
        front_.push_back(sum);
    }
    back_ = {};
}

double RecentQuarterMean::mean(std::span<const double> entries) const {
    const std::size_t count = entries.size() / 4;
    if (count <= kPlainCount || count_[kHuge] > 0) return plainMean(entries.last(count));
    if (count_[kNotANumber] > 0 || (count_[kPlusInfinity] > 0 && count_[kMinusInfinity] > 0)) {
        return std::numeric_limits<double>::quiet_NaN();
    }
    if (count_[kPlusInfinity] > 0) return std::numeric_limits<double>::infinity();
    if (count_[kMinusInfinity] > 0) return -std::numeric_limits<double>::infinity();
    CompensatedSum sum = back_;
    if (!front_.empty()) {
        sum.add(front_.back().sum);
        sum.error += front_.back().error;
    }
    return (sum.sum + sum.error) / static_cast<double>(count);
}

}  // namespace Kavelin::OrientationInternal
