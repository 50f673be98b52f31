#include "cli/calibrate/CalibrationKind.h"
#include "cli/calibrate/InertialReport.h"
#include "cli/calibrate/NoiseReport.h"

namespace Kavelin::Cli {

const std::vector<CalibrationKind>& calibrationKinds() {
    static const std::vector<CalibrationKind> kKinds = {
        inertialKind(),
        noiseKind(),
    };
    return kKinds;
}

}  // namespace Kavelin::Cli
