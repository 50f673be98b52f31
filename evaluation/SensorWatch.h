#pragma once

#include <array>
#include <cstdint>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::RecordingIO {

using OrientationInternal::Vector3;

/// Watches one sensor's three values for what a moving sensor never shows: an axis that does not change,
/// values that stay at the maximum or minimum. Constant memory. Never throws.
class SensorWatch {
public:
    struct Axis {
        double clippedShare =
            0.0;             ///< of the samples, at the greatest or least value for three in a row or more
        double limit = 0.0;  ///< size of that value
        double stuckShare = 0.0;  ///< of the time, without a change while the unit turned a lot
        bool isZero = true;       ///< in every sample
    };

    /// @param t s, not decreasing  @param turned rad, by how much the unit has turned since the recording's
    /// start, forth and back added up, as the other sensors show it
    void add(double t, const Vector3& value, double turned);

    std::uint64_t samples() const { return samples_; }
    std::uint64_t unusable() const { return unusable_; }
    Axis axis(int index) const;
    double norm() const { return samples_ > 0 ? normSum_ / static_cast<double>(samples_) : 0.0; }  ///< mean
    double normDeviation() const;  ///< standard deviation

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(lanes_, samples_, unusable_, firstTime_, lastTime_, lastTurned_, normSum_, squares_);
    }

private:
    /// Samples at an extreme value, in runs of three or more.
    struct Extreme {
        double value = 0.0;
        std::uint64_t inRuns = 0;
        void take(double value, double sign, std::uint64_t run);

        template <class Archive>
        void serialize(Archive& archive) {
            archive(value, inRuns);
        }
    };
    struct Lane {
        double value = 0.0;
        std::uint64_t run = 0;  // equal samples so far
        std::uint64_t changes = 0;
        double turned = 0.0;  // rad, at the run's start
        double since = 0.0;   // s
        double stuck = 0.0;   // s
        bool isZero = true;
        Extreme greatest, least;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(value, run, changes, turned, since, stuck, isZero, greatest, least);
        }
    };
    void addTo(Lane& lane, double t, double value, double turned);

    std::array<Lane, 3> lanes_;
    std::uint64_t samples_ = 0;
    std::uint64_t unusable_ = 0;
    double firstTime_ = 0.0;
    double lastTime_ = 0.0;
    double lastTurned_ = 0.0;
    double normSum_ = 0.0;
    double squares_ = 0.0;
};

}  // namespace Kavelin::RecordingIO
