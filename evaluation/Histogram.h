#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace Kavelin::RecordingIO {

/// Weights of values in equal cells between two ends; what lies beyond counts in the outermost cell.
template <std::size_t kCells>
class Histogram {
public:
    Histogram(double from, double to) : from_(from), width_((to - from) / kCells) {}

    void add(double value, double weight) {
        const double cell = std::floor((value - from_) / width_);
        if (std::isnan(cell)) return;
        cells_[static_cast<std::size_t>(std::clamp(cell, 0.0, kCells - 1.0))] += weight;
        sum_ += weight;
    }

    double median() const {
        double below = 0.0;
        for (std::size_t i = 0; i < kCells; ++i) {
            below += cells_[i];
            if (below >= 0.5 * sum_) return middle(i);
        }
        return 0.0;
    }

    /// How far from `centre` one must go for a share of the weight.
    double reach(double centre, double share) const {
        const auto limit = static_cast<std::size_t>(2 * kCells);
        for (std::size_t steps = 0; steps < limit; ++steps) {
            const double distance = static_cast<double>(steps) * 0.5 * width_;
            if (weightWithin(centre, distance) >= share * sum_) return distance;
        }
        return static_cast<double>(kCells) * width_;
    }

    /// Gives or takes the whole state, for a snapshot: which cells are in use, as most are not, and their weights.
    template <class Archive>
    void serialize(Archive& archive) {
        std::array<std::uint64_t, (kCells + 63) / 64> used{};
        for (std::size_t i = 0; i < kCells; ++i) {
            if (cells_[i] != 0.0) used[i / 64] |= std::uint64_t{1} << i % 64;
        }
        archive(used, sum_);
        for (std::size_t i = 0; i < kCells; ++i) {
            if ((used[i / 64] >> i % 64 & 1) != 0) {
                archive(cells_[i]);
            } else {
                cells_[i] = 0.0;
            }
        }
    }

private:
    double middle(std::size_t cell) const { return from_ + (static_cast<double>(cell) + 0.5) * width_; }
    double weightWithin(double centre, double distance) const {
        double sum = 0.0;
        for (std::size_t i = 0; i < kCells; ++i) {
            if (std::abs(middle(i) - centre) <= distance) sum += cells_[i];
        }
        return sum;
    }

    double from_;
    double width_;
    std::array<double, kCells> cells_{};
    double sum_ = 0.0;
};

}  // namespace Kavelin::RecordingIO
