#pragma once

#include <Kavelin/Core/Filter.h>
#include <Kavelin/Core/PairingReport.h>

#include <string>

namespace Kavelin::Cli {

/// How far the times of samples that a filter took together lie apart, for the end of a run. Those that do
/// not belong together are an error.  @pre there is a difference
std::string differenceText(const std::string& filter, const Core::PairingReport& pairing);

/// Which samples found no partner.  @pre there are some
std::string unpairedText(const std::string& filter, const Core::PairingReport& pairing, bool mostly = false);

/// Whether, of every input that the filter matches, more samples found no partner than found one.
bool isMostlyUnpaired(const Core::Filter& filter, const Core::PairingReport& pairing);

/// "attitude:3a takes 1x3: 12 of 4000 samples had another shape and were not used".
std::string misfitText(const Core::AbstractInputPin& pin);

}  // namespace Kavelin::Cli
