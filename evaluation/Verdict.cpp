#include "evaluation/Verdict.h"

#include <algorithm>

namespace Kavelin::RecordingIO {

namespace {

void append(std::string& text, const std::string& part) {
    if (part.empty() || text.find(part) != std::string::npos) return;
    text += (text.empty() ? "" : "; ") + part;
}

}  // namespace

std::string_view gradeName(Grade grade) {
    static constexpr std::string_view kNames[] = {"good", "doubtful", "bad"};
    return kNames[static_cast<std::size_t>(grade)];
}

void Verdict::add(Finding finding) {
    grade = std::max(grade, finding.grade);
    const auto behind = std::find_if(findings.begin(), findings.end(),
                                     [&](const Finding& other) { return other.grade < finding.grade; });
    findings.insert(behind, std::move(finding));
}

std::string Verdict::text(std::size_t shown) const {
    std::string reasons;
    std::string advice;
    for (std::size_t i = 0; i < std::min(shown, findings.size()); ++i) {
        append(reasons, findings[i].reason);
        append(advice, findings[i].advice);
    }
    std::string text(gradeName(grade));
    if (!reasons.empty()) text += ": " + reasons;
    if (!advice.empty()) text += ": " + advice;
    return text;
}

}  // namespace Kavelin::RecordingIO
