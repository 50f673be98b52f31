#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

#include "attitude/rotation/AngleConstants.h"
#include "io/recording/ClipWatch.h"

namespace Kavelin::RecordingIO {

/// Sends each rate as a share of the gyroscope's range, so that a limit of 1 always means the end of the
/// range. The range is the property "Range" until the gyroscope is seen to clip; from then on it is the rate
/// at which it clips.
class FilterRangeShare : public OrientationInternal::Filter, public Core::WithState<FilterRangeShare> {
public:
    static constexpr const char* kTypeName = "FilterRangeShare";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterRangeShare(const std::string& name);

    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(clipping_);
    }

private:
    using Matrix = Core::Matrix;

    OrientationInternal::InputPin<Matrix> rate_{"3g", this, Core::kRate};
    OrientationInternal::OutputPin<Matrix> share_{"share", this, inUnit(Core::kRate, "range")};
    OrientationInternal::RangeProperty<double> range_{
        "Range",
        this,
        {.minimum = 0.0,
         .maximum = 1e6,
         .step = 0.0,
         .value = 2000.0 * OrientationInternal::kDegreesToRadians,
         .unit = "rad/s"}};
    ClipWatch clipping_;
};

}  // namespace Kavelin::RecordingIO
