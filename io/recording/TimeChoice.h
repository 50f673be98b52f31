#pragma once

#include <string>
#include <vector>

#include "io/recording/TableForm.h"

namespace Kavelin::RecordingIO {

/// Decides where the times of a table's rows come from, and in what unit they are, where the header alone does
/// not tell: a time column without values gives way to the next, then to a counter of packets with a rate;
/// dates, Unix times and steps that only one unit makes plausible are recognised. What is decided is added to
/// the form's decisions.
/// @param rows the first rows; where there are few, less is decided
void chooseTime(TableForm& form, const std::vector<std::string>& rows, const FormHints& hints);

}  // namespace Kavelin::RecordingIO
