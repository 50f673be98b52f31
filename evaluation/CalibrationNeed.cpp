#include "evaluation/CalibrationNeed.h"

#include <algorithm>
#include <cmath>

namespace Kavelin::RecordingIO {

namespace {

const double kUneven = 0.05;  // share of the norm
const double kOffsetExplained = 0.5, kOffsetSigmas = 4.0;
const double kNormExplained = 0.7;  // of the norm's variance
const double kLeastTurned = 20.0;   // rad
const double kStuckShare = 0.02;    // of the time

}  // namespace

std::optional<double> calibrationNeed(const Evidence& evidence) {
    if (!evidence.field.isThere() || evidence.field.stuckShare() >= kStuckShare) return std::nullopt;
    const MotionFitResult& motion = evidence.fieldFit;
    const NormByDirectionEvidence& norm = evidence.normByDirection;
    double share = 0.0;
    if (motion.explained > kOffsetExplained && norm.turned > kLeastTurned &&
        motion.offset.norm() > kOffsetSigmas * motion.offsetDeviation.maxCoeff())
        share = motion.offset.norm();
    // A hard iron of that share gives a standard deviation of it over the square root of 3.
    if (norm.turned > kLeastTurned && norm.explained > kNormExplained)
        share = std::max(share, norm.deviation * std::sqrt(3.0 * norm.explained));
    if (share < kUneven) return std::nullopt;
    return share;
}

}  // namespace Kavelin::RecordingIO
