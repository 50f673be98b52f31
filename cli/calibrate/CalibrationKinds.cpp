#include "cli/calibrate/CalibrationKind.h"
#include "cli/calibrate/InertialReport.h"
#include "cli/calibrate/MagneticReport.h"
#include "cli/calibrate/MountReport.h"
#include "cli/calibrate/NoiseReport.h"

namespace Kavelin::Cli {

const std::vector<CalibrationKind>& calibrationKinds() {
    static const std::vector<CalibrationKind> kKinds = {
        magneticKind(),
        inertialKind(),
        noiseKind(),
        mountKind(),
    };
    return kKinds;
}

}  // namespace Kavelin::Cli
