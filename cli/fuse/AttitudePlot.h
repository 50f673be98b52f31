#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cli/Picture.h"
#include "cli/fuse/ResultWatch.h"
#include "cli/plot/DrawnPanel.h"

namespace Kavelin::Cli {

/// Draws a run of `kavelin fuse` over time: Euler angles, flags and quality, the static score, and the error against the
/// reference, each where there is one. Its memory is bounded, however long the run is.
class AttitudePlot {
public:
    /// @param turn what the attitudes are multiplied with on the left; empty: nothing
    /// @throws UsageError for a file name that does not end in .svg or .png,
    /// and for one that cannot be written.
    AttitudePlot(std::string file, std::string title,
                 const std::optional<OrientationInternal::Quaternion>& turn = std::nullopt);
    /// Takes the present attitude.
    void add(const ResultWatch& watch);

    /// Draws.  @param turn rad, to be taken out of heading errors.
    /// @throws Poco::WriteFileException where gnuplot is not installed, when it fails,
    /// or when the disk is full.
    void draw(double turn);

private:
    static constexpr std::size_t kMostErrors = 2000;

    struct Errors {
        double time = 0.0;
        std::optional<RecordingIO::PairErrors> errors;  // absent where there is no reference
    };

    void begin(const ResultWatch& watch);
    void addErrors(const ResultWatch& watch);
    DrawnPanel errorPanel(double turn) const;

    Picture picture_;
    std::string title_;
    std::optional<OrientationInternal::Quaternion> turn_;
    DrawnPanel angles_, flags_, score_;
    std::vector<Errors> errors_;  // evenly spread: how they are drawn is known at the end
    std::uint64_t seen_ = 0;
    std::uint64_t stride_ = 1;
};

}  // namespace Kavelin::Cli
