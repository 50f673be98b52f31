#pragma once

#include <string>

#include "calibration/model/Calibration.h"

namespace Kavelin::Cli {

/// "opinion: fair" and, a line each, what is said besides.
std::string opinionText(const Calibration::Opinion& opinion);

}  // namespace Kavelin::Cli
