#pragma once

#include <cstddef>
#include <optional>
#include <vector>

namespace Kavelin::OrientationInternal {

/// The error angles and time values of one recording, and when the error settled.
///
/// The definition is a scan: from the newest error backwards, the first one outside a band around the final
/// error after one inside it. The errors are kept in blocks, each with its sum and its magnitudes in
/// ascending order, so that a question looks at a block by two binary searches, and at single errors in a few
/// blocks only. Band and list may change in any way between two questions. Memory grows with the list, by 24
/// bytes an error with its time.
class ConvergenceHistory {
public:
    /// Forgets both lists and keeps their storage.
    void clear();

    /// Appends a time value, in the caller's unit.
    void appendTime(double time) { times_.push_back(time); }

    /// Appends an error angle of either sign; not-a-number and infinite values are taken as they are.
    /// Allocates only as the list grows.
    void appendError(double error);

    std::size_t errorCount() const { return errors_.size(); }

    /// @return the magnitude of the mean of the newest quarter (rounded down) of the errors; nothing below 4
    /// errors. Up to kPlainCount errors are summed one by one, from the oldest to the newest. More of them
    /// are summed without losing digits, so their mean may differ from the plain one in its last digits.
    std::optional<double> finalError() const;

    static constexpr std::size_t kPlainCount = 64;

    /// Looks, from the newest error backwards, for the first whose magnitude lies at or beyond finalError +-
    /// threshold after one that lies between them; a magnitude or bound that is not a number never lies
    /// outside. Deliberate: error 0 is not looked at.
    /// @return its index, 1 at least; nothing when there is none.  Never throws.
    std::optional<std::size_t> entryIntoBand(double finalError, double threshold) const;

    /// @return times[k - 1] - times[0] for k = `entry`.
    /// Deliberate: the time of the error one before the last one outside.
    /// @throws std::out_of_range "invalid vector<T> subscript" when there are too few times; the lists stay
    /// as they are.
    double timeOfEntry(std::size_t entry) const;

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(times_, errors_);
        if constexpr (Archive::is_loading::value) rebuild();
    }

private:
    /// A sum with the rounding error of its additions: as good as twice the digits.
    /// Source: Neumaier, Zeitschrift fuer Angewandte Mathematik und Mechanik 54, 1974.
    struct Sum {
        double sum = 0.0;
        double error = 0.0;

        void add(double value);
    };

    /// kBlockSize errors in a row; the newest block may have fewer.
    struct Block {
        Sum sum;
        std::size_t numbers = 0;  // errors that are not NaN
    };

    /// Magnitudes at or below `lower` and at or above `upper` are outside.
    struct Band {
        double lower, upper;

        bool excludes(double magnitude) const { return magnitude >= upper || magnitude <= lower; }
    };

    static constexpr std::size_t kBlockSize = 1024;

    void rebuild();
    double meanOfLast(std::size_t count) const;
    bool hasInside(std::size_t block, const Band& band) const;
    bool hasOutside(std::size_t block, const Band& band) const;
    template <typename BlockFits, typename ErrorFits>
    std::size_t searchBack(std::size_t end, BlockFits blockFits, ErrorFits errorFits) const;

    std::vector<double> times_;
    std::vector<double> errors_;
    std::vector<double> ordered_;  // the errors' magnitudes: ascending within each block, its NaNs last
    std::vector<Block> blocks_;
};

}  // namespace Kavelin::OrientationInternal
