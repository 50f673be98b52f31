#include "cli/calibrate/CalibrationKind.h"

namespace Kavelin::Cli {

const std::vector<CalibrationKind>& calibrationKinds() {
    static const std::vector<CalibrationKind> kKinds = {};
    return kKinds;
}

}  // namespace Kavelin::Cli
