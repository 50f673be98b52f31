#pragma once

#include <cmath>
#include <cstddef>

namespace Kavelin::Calibration {

/// Mean and scatter of numbers that come one by one (Welford).
class NormTally {
public:
    void add(double value) {
        ++count_;
        const double step = value - mean_;
        mean_ += step / static_cast<double>(count_);
        squares_ += step * (value - mean_);
    }
    std::size_t count() const { return count_; }
    double mean() const { return mean_; }
    /// Standard deviation as a share of the mean.
    double scatter() const {
        return count_ > 0 && mean_ > 0.0 ? std::sqrt(squares_ / static_cast<double>(count_)) / mean_ : 0.0;
    }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(count_, mean_, squares_);
    }

private:
    std::size_t count_ = 0;
    double mean_ = 0.0;
    double squares_ = 0.0;
};

}  // namespace Kavelin::Calibration
