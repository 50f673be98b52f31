#pragma once

#include <vector>

#include "calibration/magnetic/EllipsoidModel.h"
#include "calibration/magnetic/FieldFit.h"
#include "calibration/magnetic/FieldSamples.h"

namespace Kavelin::Calibration {

/// How much of a fit is applied.
struct CorrectionChoice {
    enum class Extent { kNone, kHardIron, kBoth };

    Extent extent = Extent::kNone;
    EllipsoidModel model;  ///< what is applied; the unit sphere's for none
    double before = 0.0;   ///< RMS deviation of the raw norm from its mean, as a share of the field's radius
    double after = 0.0;    ///< the same of the norm that the model gives
};

/// Chooses the smallest correction that the samples prove: a place's own field, a few percent indoors, looks like
/// iron when each direction was seen in one place only, and to correct it does harm. A correction with more unknowns
/// must make the variance of the norms smaller than its unknowns do by chance, with three standard deviations to
/// spare, where each patch of directions is one independent sample (an F test; Fisher, "Statistical Methods for
/// Research Workers", 1925), and by 30 % at least.  Residuals are of undisturbed samples, all directions even, and in the fit's plane.
CorrectionChoice chooseCorrection(const FieldFit& fit, const std::vector<FieldSample>& samples);

}  // namespace Kavelin::Calibration
