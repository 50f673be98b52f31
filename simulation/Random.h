#pragma once

#include <cstdint>

namespace Kavelin::RecordingIO {

/// Random numbers that are the same bits on every machine: whole-number arithmetic and exact scaling only, no
/// function of a mathematical library, no distribution of the standard library (whose sequence
/// is not prescribed).
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    /// 64 random bits.  Source: Steele, Lea & Flood, OOPSLA 2014 (SplitMix).
    std::uint64_t bits() {
        state_ += 0x9E3779B97F4A7C15u;
        std::uint64_t z = state_;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }

    /// Uniform in [0, 1).
    double uniform() { return static_cast<double>(bits() >> 11) * 0x1p-53; }
    double uniform(double from, double to) { return from + (to - from) * uniform(); }

    /// Mean 0, variance 1, nearly normal: the sum of twelve uniform 16-bit numbers, so never beyond 6.
    double normal() {
        std::uint64_t sum = 0;
        for (int word = 0; word < 3; ++word) {
            const std::uint64_t z = bits();
            sum += (z & 0xFFFF) + ((z >> 16) & 0xFFFF) + ((z >> 32) & 0xFFFF) + (z >> 48);
        }
        return (static_cast<double>(sum) - 12.0 * 32767.5) * 0x1p-16;
    }

private:
    std::uint64_t state_;
};

}  // namespace Kavelin::RecordingIO
