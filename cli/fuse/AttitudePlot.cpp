#include "cli/fuse/AttitudePlot.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "attitude/rotation/AngleConstants.h"
#include "attitude/rotation/Euler.h"
#include "attitude/rotation/QuaternionAlgebra.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

using OrientationInternal::kRadiansToDegrees;
using RecordingIO::exactText;

AttitudePlot::AttitudePlot(std::string file, std::string title,
                           const std::optional<OrientationInternal::Quaternion>& turn)
    : picture_(std::move(file)), title_(std::move(title)), turn_(turn) {}

void AttitudePlot::add(const ResultWatch& watch) {
    if (seen_ == 0) chooseLines(watch);
    if (seen_++ % stride_ != 0) return;
    if (rows_.size() == kMostRows) {
        for (std::size_t i = 0; 2 * i < rows_.size(); ++i) rows_[i] = std::move(rows_[2 * i]);
        rows_.resize(kMostRows / 2);
        stride_ *= 2;
        if ((seen_ - 1) % stride_ != 0) return;
    }
    using OrientationInternal::quaternionProduct;
    const auto attitude = turn_ ? quaternionProduct(*turn_, watch.attitude()) : watch.attitude();
    Row row{watch.time(), OrientationInternal::eulerZyx(attitude), {}, watch.pairErrors()};
    for (const Line& line : lines_) row.lines.push_back(watch.extra(line.extra, line.element));
    rows_.push_back(std::move(row));
}

void AttitudePlot::chooseLines(const ResultWatch& watch) {
    for (std::size_t i = 0; i < watch.extras().size(); ++i) {
        const ResultWatch::Extra& extra = watch.extras()[i];
        lines_.push_back({extra.name == "Score" ? "static score" : extra.name, i, 0});
    }
}

bool AttitudePlot::hasErrors() const {
    for (const Row& row : rows_) {
        if (row.errors) return true;
    }
    return false;
}

void AttitudePlot::draw(double turn) {
    const int panels = hasErrors() ? 3 : 2;
    picture_.draw(220 + 200 * panels, script(panels, turn));
}

std::string AttitudePlot::script(int panels, double turn) const {
    std::string text = fmt::format(
        "set datafile missing 'nan'\nset grid\n"
        "set key outside right top\nset lmargin 9\nset rmargin 20\nset multiplot layout {},1 title {} "
        "noenhanced\n",
        panels, Picture::quoted(title_));
    const std::string label = "set xlabel '" + timeLabel() + "'\n";
    text += anglePanel() + (panels == 3 ? "" : label) + linePanel();
    if (panels == 3) text += label + errorPanel(turn);
    return text + "unset multiplot\n";
}

/// Where the time axis has its 0: with seconds since 1970 all ticks would get the same label.
double AttitudePlot::start() const { return rows_.empty() ? 0.0 : rows_.front().time; }

std::string AttitudePlot::timeLabel() const {
    return start() == 0.0 ? "s" : "s since t = " + exactText(start()) + " s";
}

std::string AttitudePlot::anglePanel() const {
    std::string text = "$angles << EOD\n";
    const Row* before = nullptr;
    for (const Row& row : rows_) {
        // A turn across 180 degrees is not drawn as a line from top to bottom.
        if (before && (row.angles - before->angles).cwiseAbs().maxCoeff() > OrientationInternal::kPi)
            text += "\n";
        text += exactText(row.time - start());
        for (const double angle : row.angles) text += " " + exactText(angle * kRadiansToDegrees);
        text += "\n";
        before = &row;
    }
    return text +
           "EOD\nset ylabel 'degrees'\nset yrange [-180:180]\nset ytics 90\n"
           "plot $angles using 1:2 with lines lw 1.5 title 'yaw', '' using 1:3 with lines lw 1.5 title "
           "'pitch', "
           "'' using 1:4 with lines lw 1.5 title 'roll'\n";
}

std::string AttitudePlot::linePanel() const {
    std::string text = "$lines << EOD\n";
    for (const Row& row : rows_) {
        text += exactText(row.time - start());
        for (const double value : row.lines) text += " " + exactText(value);
        text += "\n";
    }
    text += fmt::format("EOD\nset ylabel 'flags, quality'\nset yrange [-0.2:{}.2]\nunset ytics\nplot ",
                        lines_.size());
    for (std::size_t i = 0; i < lines_.size(); ++i) {
        // One above the other, each in a band of its own.
        text +=
            fmt::format("{} using 1:(${}*0.8+{}) with steps lw 1.5 title {} noenhanced",
                        i ? ", ''" : "$lines", i + 2, lines_.size() - 1 - i, Picture::quoted(lines_[i].name));
    }
    return text + "\nset ytics autofreq\n";
}

std::string AttitudePlot::errorPanel(double turn) const {
    std::string text = "$errors << EOD\n";
    for (const Row& row : rows_) {
        if (!row.errors) {
            text += "\n";
            continue;
        }
        const double heading = std::remainder(row.errors->heading - turn, OrientationInternal::kTwoPi);
        const RecordingIO::PairErrors errors{heading, row.errors->inclination};
        text += fmt::format("{} {} {} {}\n", exactText(row.time - start()),
                            exactText(errors.total() * kRadiansToDegrees),
                            exactText(std::abs(heading) * kRadiansToDegrees),
                            exactText(errors.inclination * kRadiansToDegrees));
    }
    return text +
           "EOD\nset ylabel 'error, degrees'\nset yrange [0:*]\n"
           "plot $errors using 1:2 with lines lw 1.5 title 'total', '' using 1:3 with lines title 'heading', "
           "'' using 1:4 with lines title 'tilt'\n";
}

}  // namespace Kavelin::Cli
