#include "cli/fuse/AttitudePlot.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "attitude/rotation/AngleConstants.h"
#include "attitude/rotation/Euler.h"
#include "attitude/rotation/QuaternionAlgebra.h"
#include "cli/plot/PlotScript.h"

namespace Kavelin::Cli {

using OrientationInternal::kRadiansToDegrees;

namespace {

const char* const kScoreName = "Score";

}  // namespace

AttitudePlot::AttitudePlot(std::string file, std::string title,
                           const std::optional<OrientationInternal::Quaternion>& turn)
    : picture_(std::move(file)),
      title_(std::move(title)),
      turn_(turn),
      angles_{.label = "angle, degrees",
              .lines = {{"yaw"}, {"pitch"}, {"roll"}},
              .range = {{-180.0, 180.0}},
              .isInDegrees = true},
      flags_{.label = "flag, quality"},
      score_{.label = "score", .range = {{0.0, 1.05}}} {}

void AttitudePlot::begin(const ResultWatch& watch) {
    for (const ResultWatch::Extra& extra : watch.extras()) {
        if (extra.name == kScoreName)
            score_.lines.push_back({"static score"});
        else
            flags_.lines.push_back({.label = extra.name, .isFlag = true});
    }
}

void AttitudePlot::add(const ResultWatch& watch) {
    if (seen_ == 0) begin(watch);
    using OrientationInternal::quaternionProduct;
    const auto attitude = turn_ ? quaternionProduct(*turn_, watch.attitude()) : watch.attitude();
    const OrientationInternal::Vector3 angles = OrientationInternal::eulerZyx(attitude) * kRadiansToDegrees;
    for (std::size_t i = 0; i < 3; ++i)
        angles_.lines[i].trace.add(watch.time(), angles[static_cast<std::ptrdiff_t>(i)]);
    auto flag = flags_.lines.begin();
    for (std::size_t i = 0; i < watch.extras().size(); ++i) {
        DrawnLine& line = watch.extras()[i].name == kScoreName ? score_.lines.front() : *flag++;
        line.trace.add(watch.time(), watch.extra(i));
    }
    addErrors(watch);
}

void AttitudePlot::addErrors(const ResultWatch& watch) {
    if (seen_++ % stride_ != 0) return;
    if (errors_.size() == kMostErrors) {
        for (std::size_t i = 0; 2 * i < errors_.size(); ++i) errors_[i] = errors_[2 * i];
        errors_.resize(kMostErrors / 2);
        stride_ *= 2;
        if ((seen_ - 1) % stride_ != 0) return;
    }
    errors_.push_back({watch.time(), watch.pairErrors()});
}

void AttitudePlot::draw(double turn) {
    std::vector<DrawnPanel> panels{angles_};
    for (const DrawnPanel& panel : {flags_, score_})
        if (!panel.lines.empty()) panels.push_back(panel);
    const bool hasErrors =
        std::ranges::any_of(errors_, [](const Errors& row) { return row.errors.has_value(); });
    if (hasErrors) panels.push_back(errorPanel(turn));
    const PlotScript script(std::move(panels), title_);
    picture_.draw(script.height(), script.text(), PlotScript::kWidth);
}

DrawnPanel AttitudePlot::errorPanel(double turn) const {
    DrawnPanel panel{.label = "error, degrees", .lines = {{"total"}, {"heading"}, {"tilt"}}};
    for (const Errors& row : errors_) {
        double shown[3] = {std::nan(""), std::nan(""), std::nan("")};
        if (row.errors) {
            const double heading = std::remainder(row.errors->heading - turn, OrientationInternal::kTwoPi);
            const RecordingIO::PairErrors errors{heading, row.errors->inclination};
            shown[0] = errors.total();
            shown[1] = std::abs(heading);
            shown[2] = errors.inclination;
        }
        for (std::size_t i = 0; i < 3; ++i) panel.lines[i].trace.add(row.time, shown[i] * kRadiansToDegrees);
    }
    return panel;
}

}  // namespace Kavelin::Cli
