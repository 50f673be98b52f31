#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

#include "evaluation/EvidenceCollector.h"

namespace Kavelin::Cli {

/// Sees what goes into an estimator and what comes out of it, and keeps the evidence.
///
/// Inputs, all optional: "3a", "3g", "3m", "attitude" (1x4, 4x1 or 3x3), "3g_bias", "3m_hardiron" (3
/// elements), "sigma" (tilt, heading, rad), "flag_rest", "flag_mag", "flag_mag_body" (1x1). What has one time
/// stamp is one row; connect all with a buffer of one.
class VerdictProbe : public OrientationInternal::Filter {
public:
    /// @param isRelativeToStart the attitude is relative to the pose at the start
    VerdictProbe(const std::string& name, bool isRelativeToStart)
        : Filter(name, true), collector_(isRelativeToStart) {}

    void process() override;  // [layout thread]
    std::string typeName() const override { return "VerdictProbe"; }

    RecordingIO::Evidence evidence() const { return collector_.evidence(); }

private:
    using Matrix = OrientationInternal::Matrix;
    using Input = OrientationInternal::InputPin<Matrix>;

    Input acceleration_{"3a", this};
    Input rate_{"3g", this};
    Input field_{"3m", this};
    Input attitude_{"attitude", this};
    Input bias_{"3g_bias", this};
    Input hardIron_{"3m_hardiron", this};
    Input sigma_{"sigma", this};
    Input rest_{"flag_rest", this};
    Input disturbed_{"flag_mag", this};
    Input body_{"flag_mag_body", this};
    RecordingIO::EvidenceCollector collector_;
};

}  // namespace Kavelin::Cli
