#pragma once

namespace Kavelin::Calibration {

struct Calibration;

/// A filter that applies a calibration, and may be given one that lies in no file. A program asks for it with a
/// dynamic_cast, also across modules: hence the visibility.
class __attribute__((visibility("default"))) CalibrationTaker {
public:
    virtual ~CalibrationTaker() = default;

    /// From the next sample on applies this, in place of what a file said.  [layout thread, or the layout not running]
    virtual void takeCalibration(const Calibration& calibration) = 0;
};

}  // namespace Kavelin::Calibration
