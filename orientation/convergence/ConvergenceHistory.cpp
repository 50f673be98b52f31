#include "orientation/convergence/ConvergenceHistory.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <span>
#include <stdexcept>

namespace Kavelin::OrientationInternal {

namespace {

// Beyond it, the order of the additions decides whether a sum overflows.
constexpr double kHugeMagnitude = 1e290;

}  // namespace

void ConvergenceHistory::Sum::add(double value) {
    const double total = sum + value;
    error += std::abs(sum) >= std::abs(value) ? (sum - total) + value : (value - total) + sum;
    sum = total;
}

void ConvergenceHistory::clear() {
    times_.clear();
    errors_.clear();
    ordered_.clear();
    blocks_.clear();
}

void ConvergenceHistory::appendError(double error) {
    if (errors_.size() % kBlockSize == 0) blocks_.emplace_back();
    errors_.push_back(error);
    Block& block = blocks_.back();
    block.sum.add(error);
    if (std::isnan(error)) {
        ordered_.push_back(error);
        return;
    }
    const auto begin = ordered_.begin() + static_cast<std::ptrdiff_t>((blocks_.size() - 1) * kBlockSize);
    const auto end = begin + static_cast<std::ptrdiff_t>(block.numbers);
    ordered_.insert(std::upper_bound(begin, end, std::abs(error)), std::abs(error));
    ++block.numbers;
}

/// Finds order and blocks from the errors.
void ConvergenceHistory::rebuild() {
    std::vector<double> errors;
    errors.swap(errors_);
    ordered_.clear();
    blocks_.clear();
    for (const double error : errors) appendError(error);
}

std::optional<double> ConvergenceHistory::finalError() const {
    const std::size_t count = errors_.size() / 4;
    if (count == 0) return std::nullopt;
    return std::abs(meanOfLast(count));
}

double ConvergenceHistory::meanOfLast(std::size_t count) const {
    const std::span<const double> window = std::span(errors_).last(count);
    const auto plain = [&] {
        return std::accumulate(window.begin(), window.end(), 0.0) / static_cast<double>(count);
    };
    if (count <= kPlainCount) return plain();
    Sum sum;
    bool ordinary = true;
    for (std::size_t i = errors_.size() - count; i < errors_.size();) {
        if (i % kBlockSize != 0) {
            ordinary = ordinary && !(std::abs(errors_[i]) > kHugeMagnitude);
            sum.add(errors_[i++]);
            continue;
        }
        const Block& block = blocks_[i / kBlockSize];
        ordinary = ordinary && !(block.numbers > 0 && ordered_[i + block.numbers - 1] > kHugeMagnitude);
        sum.add(block.sum.sum);
        sum.error += block.sum.error;
        i += kBlockSize;
    }
    return ordinary ? (sum.sum + sum.error) / static_cast<double>(count) : plain();
}

std::optional<std::size_t> ConvergenceHistory::entryIntoBand(double finalError, double threshold) const {
    const Band band{finalError - threshold, finalError + threshold};
    const std::size_t inside = searchBack(
        errors_.size(), [&](std::size_t block) { return hasInside(block, band); },
        [&](double magnitude) { return !band.excludes(magnitude); });
    const std::size_t outside = searchBack(
        inside, [&](std::size_t block) { return hasOutside(block, band); },
        [&](double magnitude) { return band.excludes(magnitude); });
    return outside == 0 ? std::nullopt : std::optional(outside);
}

bool ConvergenceHistory::hasInside(std::size_t block, const Band& band) const {
    const std::size_t first = block * kBlockSize;
    const std::size_t numbers = blocks_[block].numbers;
    if (numbers < std::min(kBlockSize, errors_.size() - first)) return true;
    const auto begin = ordered_.begin() + static_cast<std::ptrdiff_t>(first);
    const auto end = begin + static_cast<std::ptrdiff_t>(numbers);
    const auto aboveLower =
        std::partition_point(begin, end, [&](double magnitude) { return magnitude <= band.lower; });
    return aboveLower != end && !(*aboveLower >= band.upper);
}

bool ConvergenceHistory::hasOutside(std::size_t block, const Band& band) const {
    const std::size_t first = block * kBlockSize;
    const std::size_t numbers = blocks_[block].numbers;
    return numbers > 0 && (band.excludes(ordered_[first]) || band.excludes(ordered_[first + numbers - 1]));
}

/// The last error before `end` that fits; 0 when none does, error 0 left out.
/// Blocks that do not fit are passed over.
template <typename BlockFits, typename ErrorFits>
std::size_t ConvergenceHistory::searchBack(std::size_t end, BlockFits blockFits, ErrorFits errorFits) const {
    while (end > 1) {
        const std::size_t block = (end - 1) / kBlockSize;
        const std::size_t first = block * kBlockSize;
        if (blockFits(block)) {
            for (std::size_t i = end; i-- > std::max<std::size_t>(first, 1);) {
                if (errorFits(std::abs(errors_[i]))) return i;
            }
        }
        end = first;
    }
    return 0;
}

double ConvergenceHistory::timeOfEntry(std::size_t entry) const {
    if (times_.empty() || entry > times_.size()) throw std::out_of_range("invalid vector<T> subscript");
    return times_[entry - 1] - times_[0];
}

}  // namespace Kavelin::OrientationInternal
