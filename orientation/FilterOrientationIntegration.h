#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <string>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::OrientationInternal {

/// Integrates angular rate into an orientation quaternion (w, x, y, z, unit norm),
/// stamped as the rate sample.
///
/// The first rate sample after a restart only sets the start: "quat_0" if a sample of it is there, else the
/// identity. A "quat_0" needs 1 row or 4 columns and is sent as it stands, divided by its norm; the next step
/// reads its first four elements, of which missing ones count as 0.0. Rate samples that are not 1x3 are
/// dropped; a quaternion of norm zero gives not-a-number output until a restart. "order" 0 holds the current
/// rate over the step, 1 goes linearly from the previous rate to the current one.
class FilterOrientationIntegration : public Filter, public Core::WithState<FilterOrientationIntegration> {
public:
    static constexpr const char* kTypeName = "FilterOrientationIntegration";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterOrientationIntegration(const std::string& name);
    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(restart_, previousTime_, previousRate_);
    }

private:
    void onReset() { restart_ = true; }
    void takeResetRequest();
    void start();
    void integrate(const Vector3& rate, double t);

    // Deliberate: one row or four columns suffice, so that a 1x3 or a 2x4 becomes the first output.
    static constexpr bool isRowOrFourColumns(Core::PinShape sample) {
        return sample.rows == 1 || sample.cols == 4;
    }

    OutputPin<Matrix> quaternion_{"quat_t", this, inFrame(kQuaternion, kSensorToStart)};  // holds the state
    InputPin<Matrix> rate_{"omega_t", this, kRate};
    InputPin<Matrix> initial_{"quat_0", this, optional(taking(kQuaternion, isRowOrFourColumns)),
                              NonBlocking{}};
    InputPin<Matrix> previous_{"quat_t-1", this, optional(kQuaternion),
                               NonBlocking{}};                           // replaces the state before a step
    InputPin<Matrix> resetPin_{"reset", this, kRequest, NonBlocking{}};  // other than 0.0 restarts
    RangeProperty<int> order_{"order", this, {.minimum = 0, .maximum = 1, .step = 1, .value = 0, .unit = ""}};
    CommandProperty reset_{"reset", this, handler(this, &FilterOrientationIntegration::onReset)};

    bool restart_ = true;
    double previousTime_ = -1.0;
    Vector3 previousRate_ = Vector3::Zero();
};

}  // namespace Kavelin::OrientationInternal
