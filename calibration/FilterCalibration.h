#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <optional>
#include <string>
#include <vector>

#include "calibration/CalibratedSensor.h"
#include "calibration/CalibrationTaker.h"
#include "calibration/model/Calibration.h"
#include "calibration/online/CalibrationCheck.h"
#include "calibration/online/OffsetLearner.h"
#include "io/RunParticipant.h"

namespace Kavelin::Calibration {

/// Applies a calibration to the samples of a unit, and learns the offset of its magnetometer while it runs.
///
/// Each sample is sent with its time stamp and in its own shape: matrix * (sample - offset). What the calibration does not
/// tell is sent as it came, and so is a sample with an element that is not finite. "Start Learning" begins to look at
/// the field; "End Learning" takes the offset found, or refuses it with the reason and keeps the one before. At the end
/// of a run the filter says where the result does not look like a calibrated one.
class FilterCalibration : public OrientationInternal::Filter,
                          public Core::WithState<FilterCalibration>,
                          public RecordingIO::RunParticipant,
                          public CalibrationTaker {
public:
    static constexpr const char* kTypeName = "FilterCalibration";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterCalibration(const std::string& name);

    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }
    std::vector<std::string> runErrors() const override;
    std::vector<std::string> runNotes() const override;
    void takeCalibration(const Calibration& calibration) override;

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        double coverage = coverage_.value();
        archive(acceleration_, rate_, field_, stale_, checks_, learning_, coverage);
        if (archive.isWhole() || stale_) archive(calibration_);  // the sensors have what is needed of it
        if constexpr (Archive::is_loading::value) coverage_.show(coverage);
    }

private:
    using Matrix = Core::Matrix;

    /// A property that only the filter itself changes.
    template <class T>
    class Shown : public OrientationInternal::ValueProperty<T> {
    public:
        Shown(const std::string& name, FilterCalibration* owner, T value)
            : OrientationInternal::ValueProperty<T>(name, owner, std::move(value)) {
            this->setWritable(false);
        }
        void show(const T& value) { this->assign(value); }
    };

    void onFile();
    void onMount(const bool& mounts);
    void onUse(const bool&) { stale_ = true; }
    void onOffset(const Matrix& offset);
    void onStartLearning();
    void onEndLearning();
    void settle();
    void learn(const Eigen::Vector3d& raw);

    CalibratedSensor acceleration_{"3a", this, Core::kAcceleration};
    CalibratedSensor rate_{"3g", this, Core::kRate};
    CalibratedSensor field_{"3m", this, Core::kField};

    OrientationInternal::FileNameProperty fileName_{
        "File Name", this, "", "*.json", OrientationInternal::handler(this, &FilterCalibration::onFile)};
    OrientationInternal::ValueProperty<bool> useAcceleration_{
        "Use 3a", this, true, OrientationInternal::handler(this, &FilterCalibration::onUse)};
    OrientationInternal::ValueProperty<bool> useRate_{
        "Use 3g", this, true, OrientationInternal::handler(this, &FilterCalibration::onUse)};
    OrientationInternal::ValueProperty<bool> useField_{
        "Use 3m", this, true, OrientationInternal::handler(this, &FilterCalibration::onUse)};
    OrientationInternal::ValueProperty<bool> mount_{
        "Mount", this, false, OrientationInternal::handler(this, &FilterCalibration::onMount)};
    OrientationInternal::ValueProperty<Matrix> learnedOffset_{
        "Learned Offset", this, Matrix{{0, 0, 0}},
        OrientationInternal::handler(this, &FilterCalibration::onOffset)};
    OrientationInternal::CommandProperty startLearning_{
        "Start Learning", this, OrientationInternal::handler(this, &FilterCalibration::onStartLearning)};
    OrientationInternal::CommandProperty endLearning_{
        "End Learning", this, OrientationInternal::handler(this, &FilterCalibration::onEndLearning)};
    Shown<double> coverage_{"Coverage", this, 0.0};
    OrientationInternal::RangeProperty<double> coverageNeeded_{
        "Coverage Needed", this, {.minimum = 0.0, .maximum = 1.0, .step = 0.0, .value = 0.4}};

    /// Of the sensors that are calibrated.
    struct Checks {
        std::optional<AccelerationCheck> acceleration;
        std::optional<RateCheck> rate;
        std::optional<FieldCheck> field;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(acceleration, rate, field);
        }
    };
    struct Learning {
        bool isOn = false;
        AffineModel ofFile;  ///< with which the learner sees the field
        OffsetLearner learner;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(isOn, ofFile);
            if (isOn) archive(learner);
        }
    };

    std::optional<Calibration> calibration_;
    bool stale_ = true;  // the sensors do not have what the properties say
    Checks checks_;
    Learning learning_;
};

}  // namespace Kavelin::Calibration
