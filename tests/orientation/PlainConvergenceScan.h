#pragma once

#include <cmath>
#include <cstddef>
#include <optional>
#include <vector>

namespace Kavelin::Tests {

/// The definition of the settling of an error, word by word:
/// a sum and a scan over the whole list at each question.
struct PlainConvergenceScan {
    std::vector<double> errors;

    std::optional<double> finalError() const {
        const std::size_t count = errors.size() / 4;
        if (count == 0) return std::nullopt;
        double sum = 0.0;
        for (std::size_t i = errors.size() - count; i < errors.size(); ++i) sum += errors[i];
        return std::abs(sum / static_cast<double>(count));
    }

    std::optional<std::size_t> entryIntoBand(double finalError, double threshold) const {
        bool inside = false;
        for (std::size_t k = errors.size() - 1; k >= 1; --k) {
            const double magnitude = std::abs(errors[k]);
            const bool outside = magnitude >= finalError + threshold || magnitude <= finalError - threshold;
            if (!outside) inside = true;
            if (outside && inside) return k;
        }
        return std::nullopt;
    }
};

}  // namespace Kavelin::Tests
