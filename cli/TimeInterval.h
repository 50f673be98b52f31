#pragma once

#include <string>

namespace Kavelin::Cli {

/// s; an interval of a recording's time.
struct TimeInterval {
    double begin = 0.0, end = 0.0;
    std::string text;  ///< as the user wrote it
};

/// Reads "1..3", the value of an option.  @throws UsageError with the option's name
TimeInterval timeInterval(const std::string& option, const std::string& text);

}  // namespace Kavelin::Cli
