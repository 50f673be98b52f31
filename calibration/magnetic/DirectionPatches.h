#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <vector>

namespace Kavelin::Calibration {

/// Patches of the sphere of directions, of equal area but for a few percent: what is nearest to each point of
/// a Fibonacci lattice.  Source: Gonzalez, "Measurement of areas on a sphere using Fibonacci and
/// latitude-longitude lattices", Mathematical Geosciences 42(1), 2010.  Never throws. [any thread]
class DirectionPatches {
public:
    explicit DirectionPatches(std::size_t count);

    std::size_t size() const { return centres_.size(); }
    /// Unit norm.
    const Eigen::Vector3d& centre(std::size_t patch) const { return centres_[patch]; }
    /// The patch that a vector of any length points at; without length: the first.
    std::size_t of(const Eigen::Vector3d& vector) const;

private:
    std::vector<Eigen::Vector3d> centres_;
};

/// How often each patch was seen.
struct DirectionCounts {
    std::vector<double> counts;

    explicit DirectionCounts(std::size_t patches) : counts(patches, 0.0) {}
    std::size_t seen() const;
    /// Share of the patches that were seen, 0 to 1.
    double coverage() const { return static_cast<double>(seen()) / static_cast<double>(counts.size()); }
    /// Weight of one sample in a patch, such that all seen patches weigh the same; a patch seen much more
    /// rarely than usual weighs less, as its samples may be no more than errors.
    double weightIn(std::size_t patch) const;
    /// Prepares weightIn; call it after counting.
    void findUsual();

private:
    double leastCount_ = 1.0;
};

}  // namespace Kavelin::Calibration
