#pragma once

#include <Kavelin/Typed/Matrix.h>

namespace Kavelin::RecordingIO {

/// The two newest samples of a stream, and its value at a time between or after them. Constant memory; no
/// heap call once the samples have one shape.
class SampleTrack {
public:
    enum class At {
        kValue,    ///< the value is there
        kMissing,  ///< there is none, and none can come
        kLater,    ///< it depends on samples that have not come
    };

    /// Takes the next sample.  @return false, taking nothing, unless it is later than the one before.
    bool add(double time, const Core::Matrix& value);
    bool isEmpty() const { return !hasAfter_; }
    /// Time of the sample added last; there must be one.
    double lastTime() const { return after_.time; }

    /// The value at `time` on the line between its neighbours, and on the arc between those that are
    /// rotations: quaternions of unit norm (1x4; either sign) and rotation matrices (3x3). Exactly a sample
    /// where one is of that time. Missing between neighbours of unlike shape, or further apart than
    /// `greatestGap`, and before the first.  @param time not smaller than at the call before
    At between(double time, double greatestGap, Core::Matrix& value) const;
    /// The newest sample received that is not later than `time`, if it is at most `greatestGap` older.
    At newest(double time, double greatestGap, Core::Matrix& value) const;

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(before_, after_, hasBefore_, hasAfter_);
    }

private:
    struct Sample {
        double time = 0.0;
        Core::Matrix value;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(time, value);
        }
    };

    Sample before_;
    Sample after_;
    bool hasBefore_ = false;
    bool hasAfter_ = false;
};

}  // namespace Kavelin::RecordingIO
