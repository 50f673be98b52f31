#pragma once

#include <Kavelin/Typed/InputPin.h>
#include <Kavelin/Typed/Matrix.h>

#include <algorithm>

namespace Kavelin::Core {

// For filters that take one sample of each of several inputs, in their `process`.  [layout thread]

/// Takes one sample of each pin where all have one.
///
/// The pins are asked in the order given. The first that has none ends the call: the pins before it hold
/// their sample for the next call, the pins after it are not touched. @return whether samples were taken.
template <class... Pins>
bool takeTogether(Pins&... pins) {
    if (!(pins.fetch() && ...)) return false;
    (pins.consume(), ...);
    return true;
}

/// As `takeTogether`, but asks every pin, so that each one that has a sample holds it for the next call.
template <class... Pins>
bool holdAndTakeTogether(Pins&... pins) {
    const bool all = (static_cast<int>(pins.fetch()) & ...) != 0;
    if (all) (pins.consume(), ...);
    return all;
}

/// Whether the samples that the pins took last all have shapes that they take.
template <class... Pins>
bool allFit(const Pins&... pins) {
    return (pins.fits() && ...);
}

/// The latest of the time stamps of the samples that the pins took last.
template <class... Pins>
double newestStamp(const Pins&... pins) {
    return std::max({pins.lastTimeStamp()...});
}

}  // namespace Kavelin::Core
