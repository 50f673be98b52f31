#pragma once

#include <Kavelin/Typed/Contents.h>
#include <Kavelin/Typed/FilterKit.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "io/CollectBehind.h"
#include "io/EarthFrame.h"
#include "io/RunParticipant.h"
#include "io/VerdictSource.h"

namespace Kavelin::RecordingIO {

/// Watches what goes into an estimator and what comes out, and judges the result at the end of a run: good,
/// doubtful or bad, for tilt and heading.
///
/// Samples with the same time stamp form one row. The wiring decides how to judge: the content of the
/// attitude's pin gives its frame; the connected inputs of the filter that sends the attitude give the
/// sensors used. Data errors reported by the filters that send the sensors' samples count too.
class FilterVerdict : public OrientationInternal::Filter,
                      public Core::WithState<FilterVerdict>,
                      public RunParticipant,
                      public VerdictSource {
public:
    static constexpr const char* kTypeName = "FilterVerdict";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterVerdict(const std::string& name);

    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }
    void checkRun() override;
    void prepareRun() override { hasBegun_ = false; }
    std::vector<std::string> runErrors() const override;
    std::vector<std::string> runNotes() const override;
    std::optional<Judged> judged() const override;
    EstimatorKind estimatorKind() const override;

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        bool isTurned = toEnu_.has_value();
        bool hasCollector = collector_ != nullptr;
        archive(hasBegun_, hasAttitude_, isTurned, hasCollector);
        turnToEnu(isTurned);
        if (!hasCollector) return collector_.reset();
        if (!collector_) collector_ = std::make_unique<CollectBehind>(false);
        archive(collector_->collected());
    }

private:
    using Matrix = Core::Matrix;
    using Input = OrientationInternal::InputPin<Matrix>;

    void begin();
    void turnToEnu(bool turns);
    std::string_view frame() const;
    std::vector<std::string> dataErrors() const;
    std::vector<std::string> lines(bool bad) const;

    Input acceleration_{"3a", this, optional(Core::kAcceleration), OrientationInternal::AnyTime{}};
    Input rate_{"3g", this, optional(Core::kRate), OrientationInternal::AnyTime{}};
    Input field_{"3m", this, optional(Core::kField), OrientationInternal::AnyTime{}};
    Input attitude_{"attitude", this, anyAttitude(Core::kQuaternion), OrientationInternal::AnyTime{}};
    // Of the estimator: bias (rad/s), hard iron (the field's unit),
    // standard deviations of tilt and heading (rad), flags.
    Input bias_{"3g_bias", this, optional(anyArrangement(Core::kRate)), OrientationInternal::AnyTime{}};
    Input hardIron_{"3m_hardiron", this, optional(anyArrangement(Core::kField)),
                    OrientationInternal::AnyTime{}};
    Input sigma_{"sigma", this, {.shape = {1, 2}, .isOptional = true}, OrientationInternal::AnyTime{}};
    Input rest_{"flag_rest", this, optional(Core::kFlag), OrientationInternal::AnyTime{}};
    Input disturbed_{"flag_mag", this, optional(Core::kFlag), OrientationInternal::AnyTime{}};
    Input body_{"flag_mag_body", this, optional(Core::kFlag), OrientationInternal::AnyTime{}};

    std::optional<EarthTurn> toEnu_;            // of an attitude relative to North-East-Down
    std::unique_ptr<CollectBehind> collector_;  // from the first sample on
    bool hasBegun_ = false;                     // this run
    bool hasAttitude_ = false;
};

}  // namespace Kavelin::RecordingIO
