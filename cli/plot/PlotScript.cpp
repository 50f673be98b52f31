#include "cli/plot/PlotScript.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

#include "cli/Picture.h"

namespace Kavelin::Cli {

namespace {

using Points = std::vector<Trace::Point>;

constexpr double kHalfTurn = 180.0;       // degrees
constexpr std::size_t kMostPoints = 700;  // of a panel's lines together
constexpr double kCloseEnough = 0.4;      // pixels
constexpr int kLeft = 75, kRight = 785;   // pixels
constexpr int kLineHeight = 150, kFlagHeight = 22, kLegendHeight = 18, kGap = 12, kFoot = 50,
              kTitleHeight = 18;
constexpr std::size_t kFewSamples = 30;          // are marked
constexpr int kKeyWidth = 45, kLetterWidth = 8;  // pixels, of the legend

// Colours that people who cannot tell red from green tell apart (Okabe and Ito, 2008).
constexpr const char* kLineColours[] = {"#0072b2", "#d55e00", "#009e73", "#cc79a7", "#000000", "#56b4e9"};
constexpr const char* kBandColours[] = {"#fbe09a", "#c9def2", "#dddddd"};

template <std::size_t count>
const char* cycled(const char* const (&colours)[count], std::size_t i) {
    return colours[i % count];
}

template <class Act>
void eachLine(const DrawnPanel& panel, bool flags, Act act) {
    for (const DrawnLine& line : panel.lines)
        if (line.isFlag == flags) act(line);
}

std::size_t count(const DrawnPanel& panel, bool flags) {
    return static_cast<std::size_t>(std::ranges::count(panel.lines, flags, &DrawnLine::isFlag));
}

/// Rows of the legend: all its columns are as wide as the longest name.
int legendRows(const DrawnPanel& panel) {
    std::size_t longest = 1;
    for (const DrawnLine& line : panel.lines) longest = std::max(longest, line.label.size());
    if (panel.lines.empty()) return 1;
    const int columns =
        std::max(1, (kRight - kLeft) / (kKeyWidth + kLetterWidth * static_cast<int>(longest)));
    return (static_cast<int>(panel.lines.size()) + columns - 1) / columns;
}

/// A turn across 180 degrees is not drawn as a line from top to bottom.
Points partedAtHalfTurn(const Points& points) {
    Points result;
    for (const Trace::Point& point : points) {
        if (!result.empty() && std::abs(point.value - result.back().value) > kHalfTurn)
            result.push_back({point.t, std::numeric_limits<double>::quiet_NaN()});
        result.push_back(point);
    }
    return result;
}

}  // namespace

PlotScript::PlotScript(std::vector<DrawnPanel> panels, const std::string& title)
    : panels_(std::move(panels)), title_(title) {
    int y = title_.empty() ? 0 : kTitleHeight;
    std::set<double> ends;
    for (const DrawnPanel& panel : panels_) {
        const int top = y + kGap + kLegendHeight * legendRows(panel);
        const int flags = kFlagHeight * std::max(1, static_cast<int>(count(panel, true)));
        boxes_.push_back({top, top + (panel.hasFlagsOnly() ? flags : kLineHeight)});
        y = boxes_.back().bottom;
        for (const DrawnLine& line : panel.lines)
            if (!line.trace.isEmpty()) ends.insert({line.trace.first().t, line.trace.last().t});
    }
    height_ = y + kFoot;
    if (ends.empty()) return;
    first_ = *ends.begin();
    last_ = *ends.rbegin();
}

/// Counted from the start where it is far from 0: with seconds since 1970 all ticks would get the same label.
std::string PlotScript::timeLabel() const {
    return first_ <= last_ - first_ ? "time, s" : fmt::format("time since {} s, s", first_);
}

std::string PlotScript::text() const {
    std::string text = fmt::format(
        "set multiplot\nset grid lc rgb '#dddddd' lt 1\nset datafile missing 'nan'\n"
        "set lmargin at screen {:.4f}\nset rmargin at screen {:.4f}\nset xrange [{:.9g}:{:.9g}]\n"
        "set key left bottom horizontal Left reverse samplen 1.5 noenhanced\nset format "
        "x ''\n",
        static_cast<double>(kLeft) / kWidth, static_cast<double>(kRight) / kWidth, timeOf(first_),
        last_ > first_ ? timeOf(last_) : timeOf(first_) + 1.0);
    if (!title_.empty())
        text += fmt::format("set label 1 {} at screen 0.5, screen {:.4f} center noenhanced\n",
                            Picture::quoted(title_), screen(kTitleHeight / 2 + 2));
    for (std::size_t i = 0; i < panels_.size(); ++i) text += panelText(i) + "unset label 1\n";
    return text + "unset multiplot\n";
}

std::string PlotScript::panelText(std::size_t index) const {
    const DrawnPanel& panel = panels_[index];
    std::string text = fmt::format(
        "set tmargin at screen {:.4f}\nset bmargin at screen {:.4f}\nunset object\nset key at graph 0, "
        "screen {:.4f} maxrows {}\n"
        "set ylabel {} offset 1 noenhanced\n",
        screen(boxes_[index].top), screen(boxes_[index].bottom), screen(boxes_[index].top - 3),
        legendRows(panel), Picture::quoted(panel.label));
    if (index + 1 == panels_.size())
        text += "set format x '%g'\nset xlabel '" + timeLabel() + "' offset 0,0.3 noenhanced\n";
    return text + contentText(panel);
}

std::pair<double, double> PlotScript::rangeOf(const DrawnPanel& panel) const {
    if (panel.range) return *panel.range;
    double low = std::numeric_limits<double>::infinity(), high = -low;
    eachLine(panel, false, [&](const DrawnLine& element) {
        for (const Trace::Point& point : element.trace.points(kMostPoints)) {
            low = std::fmin(low, point.value);
            high = std::fmax(high, point.value);
        }
    });
    if (!(low <= high)) return {0.0, 1.0};
    if (panel.isInDegrees && high - low > kHalfTurn && high <= kHalfTurn && low >= -kHalfTurn)
        return {-kHalfTurn, kHalfTurn};
    const double margin = high > low ? 0.05 * (high - low) : 1.0;
    return {low - margin, high + margin};
}

/// The points of a line, thinned out until there are few enough.
Points PlotScript::pointsOf(const Trace& trace, bool isAngle, const Tolerance& tolerance,
                            std::size_t most) const {
    Points points;
    for (std::size_t wanted = 10 * most; wanted >= most; wanted /= 2) {
        points = trace.points(wanted);
        if (isAngle) points = partedAtHalfTurn(points);
        points = simplified(points, tolerance);
        if (points.size() <= most) break;
    }
    return points;
}

/// The lines of a panel, and its flags as bands: behind the lines, or in rows of their own. gnuplot draws axes only where
/// something is plotted, be it out of their range.
std::string PlotScript::contentText(const DrawnPanel& panel) const {
    const bool hasRows = panel.hasFlagsOnly();
    const std::size_t flags = count(panel, true);
    std::string data, plots;
    std::size_t index = 0;
    eachLine(panel, true, [&](const DrawnLine& flag) {
        const double row = static_cast<double>(index) / static_cast<double>(flags);
        const char* colour = hasRows ? cycled(kLineColours, index) : cycled(kBandColours, index);
        const double height = 1.0 / static_cast<double>(flags);
        data += hasRows ? bandText(flag, colour, 1.0 - row - 0.85 * height, 1.0 - row - 0.15 * height)
                        : bandText(flag, colour, 0.0, 1.0);
        plots += fmt::format(", keyentry with boxes fs solid fc rgb '{}' title {}", colour,
                             Picture::quoted(flag.label));
        ++index;
    });
    if (hasRows) return data + "set yrange [0:1]\nunset ytics\nplot 2 notitle" + plots + "\nset ytics\n";
    const std::string lines = linesText(panel, data);
    return data + "plot " + (lines.empty() ? "2 notitle" : lines) + plots + "\n";
}

/// What is plotted; what it takes goes to `data`.
std::string PlotScript::linesText(const DrawnPanel& panel, std::string& data) const {
    const auto [low, high] = rangeOf(panel);
    const Tolerance tolerance{kCloseEnough * (last_ - first_) / (kRight - kLeft),
                              kCloseEnough * (high - low) / kLineHeight};
    const std::size_t most = kMostPoints / std::max<std::size_t>(1, count(panel, false));
    data += fmt::format(
        "set yrange [{:.6g}:{:.6g}]\nset ytics {}\n", low, high,
        panel.isInDegrees && high - low > kHalfTurn && high - low <= 2.0 * kHalfTurn ? "90" : "autofreq");
    std::string lines;
    std::size_t index = 0;
    eachLine(panel, false, [&](const DrawnLine& element) {
        const bool isSparse = element.trace.samples() < kFewSamples;
        const Points points = isSparse ? element.trace.points(kMostPoints)
                                       : pointsOf(element.trace, panel.isInDegrees, tolerance, most);
        data += fmt::format("$line{} << EOD\n", index);
        for (const Trace::Point& point : points)
            data +=
                std::isnan(point.value) ? "\n" : fmt::format("{:.9g} {:.6g}\n", timeOf(point.t), point.value);
        data += "EOD\n";
        lines += fmt::format("{}$line{} with {} lw 1.5 pt 7 ps 0.6 lc rgb '{}' title {}", index ? ", " : "",
                             index, isSparse ? "linespoints" : "lines", cycled(kLineColours, index),
                             Picture::quoted(element.label));
        ++index;
    });
    return lines;
}

/// Where a flag is raised: from a sample that says so until one that does not.
std::string PlotScript::bandText(const DrawnLine& flag, const char* colour, double bottom, double top) const {
    std::string text;
    double from = std::numeric_limits<double>::quiet_NaN();
    const auto end = [&](double t) {
        if (!std::isnan(from))
            text += fmt::format(
                "set object rectangle from {:.9g}, graph {:.4f} to {:.9g}, graph {:.4f} behind fc rgb "
                "'{}' fs solid noborder\n",
                timeOf(from), bottom, timeOf(t), top, colour);
        from = std::numeric_limits<double>::quiet_NaN();
    };
    for (const Trace::Point& point : flag.trace.points(std::numeric_limits<std::size_t>::max())) {
        const bool isRaised = point.value != 0.0 && !std::isnan(point.value);
        if (!isRaised) end(point.t);
        if (isRaised && std::isnan(from)) from = point.t;
    }
    end(last_);
    return text;
}

}  // namespace Kavelin::Cli
