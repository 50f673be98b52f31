#include "cli/calibrate/OpinionText.h"

namespace Kavelin::Cli {

std::string opinionText(const Calibration::Opinion& opinion) {
    static constexpr const char* kGrades[] = {"good", "fair", "poor"};
    std::string text = std::string("opinion: ") + kGrades[static_cast<std::size_t>(opinion.grade)] + "\n";
    for (const std::string& remark : opinion.remarks) text += "  " + remark + "\n";
    return text;
}

}  // namespace Kavelin::Cli
