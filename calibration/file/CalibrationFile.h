#pragma once

#include <string>
#include <string_view>

#include "calibration/model/Calibration.h"

namespace Kavelin::Calibration {

/// The text of a calibration's file: JSON, described by docs/calibration.schema.json. Figures are written so that they
/// read back equal; one that is not a number, as null. Bytes that are not UTF-8 become U+FFFD.
std::string calibrationText(const Calibration& calibration);

/// Reads such a text. Only what a section cannot do without must be there: a file may be written by hand.
/// @param name of the text, for messages
/// @throws Poco::DataFormatException with the name, the place in the JSON, what is wrong and what would be right
Calibration parseCalibration(std::string_view text, const std::string& name);

/// Reads a file. Raises what parseCalibration raises, and Poco::FileNotFoundException, Poco::OpenFileException with the
/// path and the reason.
Calibration readCalibration(const std::string& path);

}  // namespace Kavelin::Calibration
