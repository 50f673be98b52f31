#pragma once

#include <Kavelin/Core/FlowManager.h>
#include <Kavelin/Core/Version.h>
#include <Kavelin/Typed/FilterRegistry.h>

#include <cstdio>
#include <string>

#include "calibration/FilterCalibration.h"
#include "io/FilterAttitudeForm.h"
#include "io/FilterDegrees.h"
#include "io/FilterHingeHeading.h"
#include "io/FilterRangeShare.h"
#include "io/FilterResampler.h"
#include "io/FilterSampleHold.h"
#include "io/FilterSegment.h"
#include "io/FilterTranspose.h"
#include "plugin/FilterRegistry.h"

namespace Kavelin::Fuzz {

/// All filter types that neither write files nor read recordings, linked into the target and installed.
class FuzzedPlugin : public Core::DefaultPlugin {
public:
    FuzzedPlugin() : DefaultPlugin("Fuzzed", "1.0") {
        metaData_.hostVersion = Core::kHostVersion;
        static constexpr Core::RegistryRow kRows[] = {
            Core::row<Calibration::FilterCalibration>(), Core::row<RecordingIO::FilterAttitudeForm>(),
            Core::row<RecordingIO::FilterDegrees>(),     Core::row<RecordingIO::FilterHingeHeading>(),
            Core::row<RecordingIO::FilterRangeShare>(),  Core::row<RecordingIO::FilterResampler>(),
            Core::row<RecordingIO::FilterSampleHold>(),  Core::row<RecordingIO::FilterSegment>(),
            Core::row<RecordingIO::FilterTranspose>(),
        };
        Core::registerFilters(*this, OrientationInternal::filterRegistry());
        Core::registerFilters(*this, kRows);
        Core::FlowManager::instance().getPluginManager().installPlugin(*this);
    }
};

/// Whether a text is that of a matrix which would only make the fuzzer slow: millions of zeros are a right
/// answer to a short text.
inline bool isOfLargeMatrix(const std::string& text) {
    long long rows = 0, columns = 0;
    return std::sscanf(text.c_str(), "%lld %lld", &rows, &columns) == 2 && rows > 0 && columns > 0 &&
           columns <= 16777216 && rows <= 16777216 / columns && rows * columns > 10000;
}

}  // namespace Kavelin::Fuzz
