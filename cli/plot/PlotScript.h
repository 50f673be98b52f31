#pragma once

#include <string>
#include <utility>
#include <vector>

#include "cli/plot/DrawnPanel.h"

namespace Kavelin::Cli {

/// gnuplot's commands for panels over one axis of time.
class PlotScript {
public:
    static constexpr int kWidth = 800;  // pixels

    explicit PlotScript(std::vector<DrawnPanel> panels, const std::string& title = {});

    int height() const { return height_; }  // pixels
    std::string text() const;

private:
    struct Box {
        int top = 0, bottom = 0;  // pixels from the picture's top
    };

    double screen(int y) const { return 1.0 - static_cast<double>(y) / height_; }
    double timeOf(double t) const { return first_ <= last_ - first_ ? t : t - first_; }
    std::string timeLabel() const;
    std::string panelText(std::size_t index) const;
    std::string contentText(const DrawnPanel& panel) const;
    std::string linesText(const DrawnPanel& panel, std::string& data) const;
    std::string bandText(const DrawnLine& flag, const char* colour, double bottom, double top) const;
    std::vector<Trace::Point> pointsOf(const Trace& trace, bool isAngle, const Tolerance& tolerance,
                                       std::size_t most) const;
    std::pair<double, double> rangeOf(const DrawnPanel& panel) const;

    std::vector<DrawnPanel> panels_;
    std::string title_;
    std::vector<Box> boxes_;
    int height_ = 0;
    double first_ = 0.0, last_ = 0.0;  // s
};

}  // namespace Kavelin::Cli
