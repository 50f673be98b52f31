#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "evaluation/Evidence.h"

namespace Kavelin::RecordingIO {

enum class Grade { kGood, kDoubtful, kBad };

/// "good", "doubtful", "bad".
std::string_view gradeName(Grade grade);

/// One thing that speaks against a result.
struct Finding {
    Grade grade = Grade::kDoubtful;
    std::string reason;  ///< what was seen, with its figure
    std::string advice;  ///< what to do about it; may be empty
};

struct Verdict {
    Grade grade = Grade::kGood;     ///< that of the worst finding
    std::vector<Finding> findings;  ///< the worst first

    void add(Finding finding);
    /// "good", or "bad: REASON; REASON: ADVICE; ADVICE" of at most that many findings.
    std::string text(std::size_t findings = 3) const;
};

struct Verdicts {
    Verdict tilt;
    Verdict heading;
};

/// A verdict with what it rests on.
struct Judged {
    Evidence evidence;
    Verdicts verdicts;
};

/// What an estimator claims, and lives on.
struct EstimatorKind {
    bool usesGyroscope = true;
    bool usesField = true;
    bool isHeadingRelative = false;  ///< to anything but north
};

/// Judges a result by its evidence. Good stands for errors of a few degrees, bad for tens: what the estimate
/// and the sensors disagree on gives the grade, what is wrong with a sensor mostly gives the reason. A field
/// that is bent the same way all the time, and a recording mirrored in all sensors, cannot be told from a
/// right one. The limits are heuristics of ours, found on simulated recordings with faults.
Verdicts judge(const Evidence& evidence, const EstimatorKind& kind);

}  // namespace Kavelin::RecordingIO
