#pragma once

#include <Kavelin/Core/PinContent.h>

#include <cstddef>
#include <string>

#include "python/Arrays.h"

namespace Kavelin::Python {

/// Samples of one pin, as an array gives them: the samples lie one behind the other, each row by row.
struct SampleStack {
    Doubles array;  ///< keeps the numbers alive
    std::size_t count = 0;
    Core::PinShape shape;  ///< of each

    const double* data() const { return array.data(); }
};

// Of a sample, 1xk and kx1 are k elements, 1x1 is a number. A pin that says nothing takes what is given, k elements
// as 1xk.  @param name of the argument @throws Refusal, as refuseShape. [with the interpreter's lock]

/// n samples: an array of n x k, n x r x c, or n.  @throws Refusal also where it has other than `count` rows.
SampleStack samplesOf(pybind11::handle argument, const std::string& name, const Core::PinContent& content,
                      std::size_t count);
/// One sample: an array of k, r x c, or a number.
SampleStack sampleOf(pybind11::handle argument, const std::string& name, const Core::PinContent& content);

}  // namespace Kavelin::Python
