#pragma once

#include <Kavelin/Core/Filter.h>
#include <Kavelin/Core/PairingReport.h>

#include <string>

namespace Kavelin::Cli {

/// Says at the end of a run how far apart the times of samples were that a filter took together. Samples that
/// do not belong together are an error. @pre there is a difference
std::string differenceText(const std::string& filter, const Core::PairingReport& pairing);

/// Says which samples found no partner. @pre there are some
std::string unpairedText(const std::string& filter, const Core::PairingReport& pairing, bool mostly = false);

/// Whether, on every input that the filter matches, more samples were left without a partner than found one.
bool isMostlyUnpaired(const Core::Filter& filter, const Core::PairingReport& pairing);

/// "attitude:3a takes 1x3: 12 of 4000 samples had another shape and were not used".
std::string misfitText(const Core::AbstractInputPin& pin);

}  // namespace Kavelin::Cli
