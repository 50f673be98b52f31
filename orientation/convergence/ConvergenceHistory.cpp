#include "orientation/convergence/ConvergenceHistory.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "orientation/convergence/ErrorBand.h"

namespace Kavelin::OrientationInternal {

namespace {

constexpr std::size_t kPatience = 256;  // visits in the blocks after which errors are put into the index
constexpr std::size_t kIndexedAtOnce = 1024;  // errors, so that no single question pays for the whole list

}  // namespace

void ConvergenceHistory::clear() {
    times_.clear();
    errors_.clear();
    recentMean_.clear();
    blocks_.clear();
    newestNaN_ = 0;
    byMagnitude_.clear();
    indexed_ = 1;
}

void ConvergenceHistory::appendError(double error) {
    const std::size_t index = errors_.size();
    if (index >> 31 != 0) throw std::length_error("a recording holds at most 2^31 errors: reset it");
    errors_.push_back(error);
    recentMean_.advance(errors_);
    blocks_.advance(errors_);
    if (index > 0 && std::isnan(error)) newestNaN_ = index;
}

std::optional<double> ConvergenceHistory::finalError() const {
    if (errors_.size() < 4) return std::nullopt;
    return std::abs(recentMean_.mean(errors_));
}

std::optional<std::size_t> ConvergenceHistory::entryIntoBand(double finalError, double threshold) {
    const ErrorBand band = ErrorBand::around(finalError, threshold);
    const std::size_t outside = blocks_.lastOutside(errors_, 1, newestInside(band), band).index;
    return outside == 0 ? std::nullopt : std::optional(outside);
}

std::size_t ConvergenceHistory::newestInside(const ErrorBand& band) {
    const std::size_t floor = std::max(indexed_, newestNaN_ + 1);
    const auto [inside, visits] = blocks_.lastInside(errors_, floor, errors_.size(), band);
    if (visits > kPatience) indexMore();
    if (inside > 0) return inside;
    const ErrorBand::KeyRange keys = band.insideKeys();
    return std::max(byMagnitude_.find(keys.first, keys.last), newestNaN_);
}

void ConvergenceHistory::indexMore() {
    const std::size_t end = std::min(errors_.size(), indexed_ + kIndexedAtOnce);
    for (; indexed_ < end; ++indexed_) {
        if (!std::isnan(errors_[indexed_]))
            byMagnitude_.insert(ErrorBand::keyOf(errors_[indexed_]), indexed_);
    }
}

double ConvergenceHistory::timeOfEntry(std::size_t entry) const {
    if (times_.empty() || entry > times_.size()) throw std::out_of_range("invalid vector<T> subscript");
    return times_[entry - 1] - times_[0];
}

}  // namespace Kavelin::OrientationInternal
