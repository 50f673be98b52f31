#include "io/RecordingIOPlugin.h"

#include <Kavelin/Core/Version.h>
#include <Kavelin/Typed/FilterRegistry.h>

#include "io/FilterAttitudeErrors.h"
#include "io/FilterAttitudeForm.h"
#include "io/FilterCsvReader.h"
#include "io/FilterCsvWriter.h"
#include "io/FilterDegrees.h"
#include "io/FilterHingeHeading.h"
#include "io/FilterRangeShare.h"
#include "io/FilterResampler.h"
#include "io/FilterSampleHold.h"
#include "io/FilterSegment.h"
#include "io/FilterTranspose.h"
#include "io/FilterVerdict.h"

namespace Kavelin::RecordingIO {

namespace {

// One row per line, so that a new filter adds one line.
// clang-format off
constexpr Core::RegistryRow kRows[] = {
    Core::row<FilterCsvReader>(),
    Core::row<FilterCsvWriter>(),
    Core::row<FilterResampler>(),
    Core::row<FilterSampleHold>(),
    Core::row<FilterTranspose>(),
    Core::row<FilterAttitudeForm>(),
    Core::row<FilterAttitudeErrors>(),
    Core::row<FilterRangeShare>(),
    Core::row<FilterSegment>(),
    Core::row<FilterHingeHeading>(),
    Core::row<FilterDegrees>(),
    Core::row<FilterVerdict>(),
};
// clang-format on

}  // namespace

RecordingIOPlugin::RecordingIOPlugin() : DefaultPlugin("RecordingIO", KAVELIN_VERSION) {
    metaData_.version = KAVELIN_VERSION;
    metaData_.hostVersion = Core::kHostVersion;
    metaData_.name = "RecordingIO";
    metaData_.description =
        "Reads recordings; writes results as tables of comma-separated values or for OpenSim, MATLAB and "
        "NumPy; "
        "brings pins onto one clock; gives attitudes another form and compares them with a reference; judges "
        "them.";
    metaData_.platform = "linux";
    // No build date: the same sources give the same module.
    Core::registerFilters(*this, kRows);
}

}  // namespace Kavelin::RecordingIO
