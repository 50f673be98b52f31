#pragma once

#include <cstddef>
#include <vector>

namespace Kavelin::Cli {

/// A number over time, in bounded memory: once there are many samples, the smallest and the largest of each
/// stretch of them are kept, so nothing that sticks out is lost. A value that is not finite parts the line, and so does
/// a gap.
class Trace {
public:
    struct Point {
        double t = 0.0;
        double value = 0.0;
    };

    void add(double t, double value);
    bool isEmpty() const { return stretches_.empty(); }
    std::size_t samples() const { return added_; }
    const Point& first() const { return first_; }
    const Point& last() const { return last_; }

    /// In the order of their times, at most about `most`; NaN where the line is parted.
    std::vector<Point> points(std::size_t most) const;

private:
    struct Stretch {
        Point low, high;
        bool isParted = false;  // from the one before

        void take(const Point& point);
    };
    using Stretches = std::vector<Stretch>;

    bool isGap(double t) const;
    static void halve(Stretches& stretches);

    Stretches stretches_;
    Point first_, last_;
    std::size_t added_ = 0;
    bool isParted_ = false;    // the next sample is, from those before
    std::size_t samples_ = 1;  // in a stretch
    std::size_t taken_ = 0;    // in the last one
};

/// How far, in each direction, what is drawn may be from what was meant.
struct Tolerance {
    double t = 0.0;
    double value = 0.0;
};

/// Leaves out points that a straight line between their neighbours comes near enough to.
/// Source: Douglas and Peucker, Cartographica 10 (2), 1973.
std::vector<Trace::Point> simplified(const std::vector<Trace::Point>& points, const Tolerance& tolerance);

}  // namespace Kavelin::Cli
