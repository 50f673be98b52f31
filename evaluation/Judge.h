#pragma once

#include "evaluation/Evidence.h"
#include "evaluation/Verdict.h"

namespace Kavelin::RecordingIO {

/// A verdict with what it rests on.
struct Judged {
    Evidence evidence;
    Verdicts verdicts;
};

/// What an estimator claims, and which sensors it uses.
struct EstimatorKind {
    bool usesGyroscope = true;
    bool usesField = true;
    bool isHeadingRelative = false;  ///< to anything but north
};

/// Judges a result by its evidence. Good stands for errors of a few degrees, bad for tens: what the estimate
/// and the sensors disagree on gives the grade, what is wrong with a sensor mostly gives the reason. A field
/// that is bent the same way all the time, and a recording mirrored in all sensors, cannot be distinguished
/// from a right one. The limits are heuristics of ours, found on simulated recordings with faults.
Verdicts judge(const Evidence& evidence, const EstimatorKind& kind);

}  // namespace Kavelin::RecordingIO
