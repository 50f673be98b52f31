#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/Picture.h"
#include "cli/fuse/ResultWatch.h"

namespace Kavelin::Cli {

/// Draws a run with gnuplot: Euler angles over time, below them flags and quality, below those the error
/// against the reference where there is one. Keeps at most two thousand rows, evenly spread, however long
/// the run is.
class AttitudePlot {
public:
    /// @param turn what the attitudes are multiplied with on the left; empty: nothing
    /// @throws UsageError for a file name that does not end in .svg or .png,
    /// and for one that cannot be written.
    AttitudePlot(std::string file, std::string title,
                 const std::optional<OrientationInternal::Quaternion>& turn = std::nullopt);
    /// Takes the present attitude, or skips it to thin out.
    void add(const ResultWatch& watch);

    /// Draws.  @param turn rad, to be taken out of heading errors.
    /// @throws Poco::WriteFileException where gnuplot is not installed, when it fails,
    /// or when the disk is full.
    void draw(double turn);

private:
    static constexpr std::size_t kMostRows = 2000;

    struct Line {
        std::string name;
        std::size_t extra = 0;
        std::ptrdiff_t element = 0;
    };
    struct Row {
        double time = 0.0;
        Eigen::Vector3d angles;  // rad
        std::vector<double> lines;
        std::optional<RecordingIO::PairErrors> errors;
    };

    void chooseLines(const ResultWatch& watch);
    bool hasErrors() const;
    double start() const;
    std::string timeLabel() const;
    std::string script(int panels, double turn) const;
    std::string anglePanel() const;
    std::string linePanel() const;
    std::string errorPanel(double turn) const;

    Picture picture_;
    std::string title_;
    std::optional<OrientationInternal::Quaternion> turn_;
    std::vector<Line> lines_;
    std::vector<Row> rows_;
    std::uint64_t seen_ = 0;
    std::uint64_t stride_ = 1;
};

}  // namespace Kavelin::Cli
