#pragma once

#include <stdexcept>

namespace Kavelin::Calibration {

/// A recording does not show what is asked for. `what()` says what was seen and what to record instead.
class Unsuitable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace Kavelin::Calibration
