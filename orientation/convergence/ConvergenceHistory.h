#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "orientation/convergence/ErrorBand.h"
#include "orientation/convergence/MagnitudeBlocks.h"
#include "orientation/convergence/NewestInRange.h"
#include "orientation/convergence/RecentQuarterMean.h"

namespace Kavelin::OrientationInternal {

/// The error angles and time values of one recording, and when the error settled.
///
/// The definition is a scan: from the newest error backwards, the first one outside a band around the final
/// error after one inside it. Each part of it is kept up to date instead, so that a question costs the same
/// after an hour as after a second but for a logarithm: the mean of the newest quarter, the newest error
/// inside any band, and the last error outside a band before a place. Band and list may change in any way
/// between two questions. Memory grows with the list: about 40 bytes an error, 80 where errors keep jumping
/// over the band.
class ConvergenceHistory {
public:
    /// Forgets both lists.
    void clear();

    /// Appends a time value, in the caller's unit.
    void appendTime(double time) { times_.push_back(time); }

    /// Appends an error angle of either sign; not-a-number and infinite values are taken as they are.
    /// @throws std::length_error at 2^31 errors.
    void appendError(double error);

    std::size_t errorCount() const { return errors_.size(); }

    /// @return the magnitude of the mean of the newest quarter (rounded down) of the errors; nothing below 4
    /// errors.
    std::optional<double> finalError() const;

    /// Looks, from the newest error backwards, for the first whose magnitude lies at or beyond finalError +-
    /// threshold after one that lies between them; a magnitude or bound that is not a number never lies
    /// outside. Deliberate: error 0 is not looked at.
    /// @return its index, 1 at least; nothing when there is none.  Never throws.
    std::optional<std::size_t> entryIntoBand(double finalError, double threshold);

    /// @return times[k - 1] - times[0] for k = `entry`.
    /// Deliberate: the time of the error one before the last one outside.
    /// @throws std::out_of_range "invalid vector<T> subscript" when there are too few times; the lists stay
    /// as they are.
    double timeOfEntry(std::size_t entry) const;

private:
    std::size_t newestInside(const ErrorBand& band);
    void indexMore();

    std::vector<double> times_;
    std::vector<double> errors_;
    RecentQuarterMean recentMean_;
    MagnitudeBlocks blocks_;
    std::size_t newestNaN_ = 0;  // which is inside every band; 0 while there is none

    NewestInRange byMagnitude_;  // of errors 1 to indexed_ - 1, where searching the blocks was slow
    std::size_t indexed_ = 1;
};

}  // namespace Kavelin::OrientationInternal
