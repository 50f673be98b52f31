#include "calibration/CalibrationPlugin.h"

#include <Kavelin/Core/Version.h>
#include <Kavelin/Typed/FilterRegistry.h>

#include "calibration/FilterCalibration.h"

namespace Kavelin::Calibration {

namespace {

constexpr Core::RegistryRow kRows[] = {
    Core::row<FilterCalibration>(),
};

}  // namespace

CalibrationPlugin::CalibrationPlugin() : DefaultPlugin("Calibration", KAVELIN_VERSION) {
    metaData_.version = KAVELIN_VERSION;
    metaData_.hostVersion = Core::kHostVersion;
    metaData_.name = "Calibration";
    metaData_.description =
        "Applies the calibration of a sensor unit; learns the offset of its magnetometer.";
    metaData_.platform = "linux";
    Core::registerFilters(*this, kRows);
}

}  // namespace Kavelin::Calibration
