#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <Eigen/Geometry>
#include <cstdint>
#include <optional>
#include <string>

#include "calibration/model/AffineModel.h"

namespace Kavelin::Calibration {

/// The way of one sensor through FilterCalibration: its pins and what is done to its samples.
class CalibratedSensor {
public:
    CalibratedSensor(const std::string& name, OrientationInternal::Filter* owner,
                     const Core::PinContent& content)
        : in(name, owner, optional(anyArrangement(content)), OrientationInternal::AnyTime{}),
          out(name, owner) {
        out.setHandsOn(in);
    }

    /// @param model, turn that of the unit: samples are sent as they came
    void use(const AffineModel& model, const Eigen::Matrix3d& turn) {
        model_ = model;
        turn_ = turn;
        isActive_ = !model.offset.isZero(0.0) || model.matrix != Eigen::Matrix3d::Identity() ||
                    turn != Eigen::Matrix3d::Identity();
    }
    bool isActive() const { return isActive_; }
    bool hasSamples() const { return samples_ > 0; }

    /// Takes a sample, if there is one, and sends it calibrated.
    /// @param look is called with the time stamp of a finite sample, and the sample before and after its calibration, in the
    /// sensor's axes
    template <class Look>
    void pass(Look look) {
        if (!in.readNext() || !in.fits()) return;
        ++samples_;
        out.value() = in.value();
        const Eigen::Vector3d raw = Eigen::Vector3d::Map(in.value().data());
        if (raw.allFinite()) {
            const Eigen::Vector3d calibrated = isActive_ ? model_.apply(raw) : raw;
            if (isActive_) Eigen::Vector3d::Map(out.value().data()) = turn_ * calibrated;
            look(in.lastTimeStamp(), raw, calibrated);
        }
        out.send(in.lastTimeStamp());
    }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(model_, turn_, isActive_, samples_);
    }

    OrientationInternal::InputPin<Core::Matrix> in;
    OrientationInternal::OutputPin<Core::Matrix> out;

private:
    AffineModel model_;
    Eigen::Matrix3d turn_ = Eigen::Matrix3d::Identity();
    bool isActive_ = false;
    std::uint64_t samples_ = 0;
};

}  // namespace Kavelin::Calibration
