#include "cli/plot/Trace.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>
#include <utility>

namespace Kavelin::Cli {

namespace {

constexpr std::size_t kMostStretches = 4096;
constexpr double kGapSteps = 20.0;
constexpr std::size_t kUsual = 20;  // samples after which the usual step is known

/// Distance of a point from the line between two others, in tolerances.
double distance(const Trace::Point& point, const Trace::Point& from, const Trace::Point& to,
                const Tolerance& one) {
    const double x = (to.t - from.t) / one.t, y = (to.value - from.value) / one.value;
    const double px = (point.t - from.t) / one.t, py = (point.value - from.value) / one.value;
    const double length = x * x + y * y;
    const double along = length > 0.0 ? std::clamp((px * x + py * y) / length, 0.0, 1.0) : 0.0;
    return std::hypot(px - along * x, py - along * y);
}

}  // namespace

void Trace::Stretch::take(const Point& point) {
    if (point.value < low.value) low = point;
    if (point.value > high.value) high = point;
}

/// A step of many times the usual one.
bool Trace::isGap(double t) const {
    return added_ > kUsual &&
           t - last_.t > kGapSteps * (last_.t - first_.t) / static_cast<double>(added_ - 1);
}

void Trace::add(double t, double value) {
    isParted_ = isParted_ || !std::isfinite(value) || isGap(t);
    if (!std::isfinite(value)) return;
    last_ = {t, value};
    if (added_ == 0) first_ = last_;
    ++added_;
    if (taken_ < samples_ && !isParted_ && !stretches_.empty()) {
        stretches_.back().take(last_);
        ++taken_;
        return;
    }
    if (stretches_.size() == kMostStretches) {
        halve(stretches_);
        samples_ *= 2;
    }
    stretches_.push_back({last_, last_, isParted_});
    isParted_ = false;
    taken_ = 1;
}

/// Those that are parted stay so, unless there are too many of them.
void Trace::halve(Stretches& stretches) {
    const auto parted =
        std::count_if(stretches.begin(), stretches.end(), [](const Stretch& s) { return s.isParted; });
    const bool keepsParts = 4 * static_cast<std::size_t>(parted) < stretches.size();
    std::size_t kept = 0;
    for (std::size_t i = 0; i < stretches.size(); ++i, ++kept) {
        Stretch merged = stretches[i];
        if (i + 1 < stretches.size() && !(keepsParts && stretches[i + 1].isParted)) {
            ++i;
            merged.take(stretches[i].low);
            merged.take(stretches[i].high);
        }
        stretches[kept] = merged;
    }
    stretches.resize(kept);
}

std::vector<Trace::Point> Trace::points(std::size_t most) const {
    Stretches stretches = stretches_;
    for (std::size_t before = 0; 2 * stretches.size() > most && stretches.size() != before;) {
        before = stretches.size();
        halve(stretches);
    }
    std::vector<Point> result;
    if (!stretches.empty() && stretches.front().low.t > first_.t && stretches.front().high.t > first_.t)
        result.push_back(first_);
    for (const Stretch& stretch : stretches) {
        if (stretch.isParted && !result.empty())
            result.push_back({result.back().t, std::numeric_limits<double>::quiet_NaN()});
        const bool isLowFirst = stretch.low.t <= stretch.high.t;
        result.push_back(isLowFirst ? stretch.low : stretch.high);
        if (stretch.low.value < stretch.high.value) result.push_back(isLowFirst ? stretch.high : stretch.low);
    }
    if (!result.empty() && last_.t > result.back().t) result.push_back(last_);
    return result;
}

std::vector<Trace::Point> simplified(const std::vector<Trace::Point>& points, const Tolerance& tolerance) {
    std::vector<bool> isKept(points.size(), false);
    std::vector<std::pair<std::size_t, std::size_t>> open;
    for (std::size_t begin = 0, i = 0; i < points.size(); ++i) {
        isKept[i] = std::isnan(points[i].value);
        if (isKept[i]) begin = i + 1;
        if (!isKept[i] && (i + 1 == points.size() || std::isnan(points[i + 1].value)))
            open.push_back({begin, i});
    }
    while (!open.empty()) {
        const auto [from, to] = open.back();
        open.pop_back();
        isKept[from] = isKept[to] = true;
        std::size_t farthest = from;
        double most = 1.0;
        for (std::size_t i = from + 1; i < to; ++i) {
            const double off = distance(points[i], points[from], points[to], tolerance);
            if (off > most) std::tie(farthest, most) = std::pair(i, off);
        }
        if (farthest == from) continue;
        open.push_back({from, farthest});
        open.push_back({farthest, to});
    }
    std::vector<Trace::Point> result;
    for (std::size_t i = 0; i < points.size(); ++i)
        if (isKept[i]) result.push_back(points[i]);
    return result;
}

}  // namespace Kavelin::Cli
