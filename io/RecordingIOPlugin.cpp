#include "io/RecordingIOPlugin.h"

#include <Kavelin/Core/Version.h>
#include <Kavelin/Typed/FilterRegistry.h>

#include "io/FilterCsvReader.h"
#include "io/FilterCsvWriter.h"
#include "io/FilterResampler.h"

namespace Kavelin::RecordingIO {

namespace {

constexpr Core::RegistryRow kRows[] = {
    Core::row<FilterCsvReader>(),
    Core::row<FilterCsvWriter>(),
    Core::row<FilterResampler>(),
};

}  // namespace

RecordingIOPlugin::RecordingIOPlugin() : DefaultPlugin("RecordingIO", KAVELIN_VERSION) {
    metaData_.version = KAVELIN_VERSION;
    metaData_.hostVersion = Core::kHostVersion;
    metaData_.name = "RecordingIO";
    metaData_.description =
        "Reads recordings and writes results as tables of comma-separated values; brings pins onto one "
        "clock.";
    metaData_.platform = "linux";
    // No build date: the same sources give the same module.
    Core::registerFilters(*this, kRows);
}

}  // namespace Kavelin::RecordingIO
