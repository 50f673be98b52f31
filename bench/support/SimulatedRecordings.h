#pragma once

#include <vector>

#include "bench/support/Recording.h"

namespace Kavelin::Bench {

/// Closed-form motions that show where estimators reach their limits: no rest, slow motion, a start in
/// motion, a start near a magnet, and a plain good one. Equal on every machine.
/// Errors count from 5 s on.
std::vector<Recording> simulatedRecordings();

}  // namespace Kavelin::Bench
