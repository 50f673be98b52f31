#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Kavelin::RecordingIO {

enum class Grade { kGood, kDoubtful, kBad };

/// "good", "doubtful", "bad".
std::string_view gradeName(Grade grade);

/// One reason to doubt a result.
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

}  // namespace Kavelin::RecordingIO
