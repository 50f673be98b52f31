#include "plugin/FilterRegistry.h"

#include "attitude/FilterAGMAttitude_v5.h"
#include "attitude/FilterAGMAttitude_v6.h"
#include "attitude/FilterAGMAttitude_v7.h"
#include "attitude/FilterAGMAttitude_v8.h"
#include "attitude/FilterAGMTriad_gyro.h"
#include "attitude/FilterAbsoluteAttitude.h"
#include "attitude/FilterAttitude.h"
#include "attitude/FilterSO3Attitude.h"
#include "attitude/FilterSphericalFilteringAttitude.h"
#include "attitude/FilterXSENSAttitude.h"
#include "converters/Filter3a3mGenerator.h"
#include "converters/FilterCompass.h"
#include "converters/FilterInclinometer.h"
#include "converters/FilterOmegaToMatrix.h"
#include "orientation/FilterAngleDG.h"
#include "orientation/FilterChangeOfBasis.h"
#include "orientation/FilterConstantPlane.h"
#include "orientation/FilterConvergenceTime.h"
#include "orientation/FilterCumulAngles.h"
#include "orientation/FilterFlipDetectionLib.h"
#include "orientation/FilterOrientationIntegration.h"
#include "orientation/FilterOrientationQuality.h"
#include "orientation/FilterQuaternionFilter.h"
#include "orientation/FilterStaticMode.h"

namespace Kavelin::OrientationInternal {

namespace {

// Alphabetical, case ignored, digits first; the host shows the types in this order.
constexpr Core::RegistryRow kRows[] = {
    Core::row<Filter3a3mGenerator>(),
    Core::row<FilterAbsoluteAttitude>(),
    Core::row<FilterAGMAttitude_v5>(),
    Core::row<FilterAGMAttitude_v6>(),
    Core::row<FilterAGMAttitude_v7>(),
    Core::row<FilterAGMAttitude_v8>(),
    Core::row<FilterAGMTriad_gyro>(),
    Core::row<FilterAngleDG>(),
    Core::row<FilterAttitude>(),
    Core::row<FilterChangeOfBasis>(),
    Core::row<FilterCompass>(),
    Core::row<FilterConstantPlane>(),
    Core::row<FilterConvergenceTime>(),
    Core::row<FilterCumulAngles>(),
    Core::row<FilterFlipDetectionLib>(),
    Core::row<FilterInclinometer>(),
    Core::row<FilterOmegaToMatrix>(),
    Core::row<FilterOrientationIntegration>(),
    Core::row<FilterOrientationQuality>(),
    Core::row<FilterQuaternionFilter>(),
    Core::row<FilterSO3Attitude>(),
    Core::row<FilterSphericalFilteringAttitude>(),
    Core::row<FilterStaticMode>(),
    Core::row<FilterXSENSAttitude>(),
};

}  // namespace

std::span<const Core::RegistryRow> filterRegistry() { return kRows; }

}  // namespace Kavelin::OrientationInternal
