#pragma once

#include <Kavelin/Core/Filter.h>

#include <string>
#include <vector>

#include "simulation/Random.h"

namespace Kavelin::Cli {

/// Files in the current folder, to which names of files among the texts refer: a recording with its attitude, and a
/// calibration.
inline constexpr const char* kTrialFiles[] = {"recording.csv", "calibration.json"};
void writeTrialFiles();

/// Texts that a property may well take: its bounds, its labels, names of the filter's pins.
std::vector<std::string> plausibleTexts(const Core::Filter& filter, const Core::AbstractProperty& property);

/// Texts that no property, or only some, can take.
std::vector<std::string> hostileTexts();

/// Writes a text and says whether it was taken.  @throws Fault for an exception that is not a std::exception.
bool isTaken(Core::AbstractProperty& property, const std::string& text);

/// Activates all commands of a filter; what their handlers raise is a refusal.
void activateCommands(Core::Filter& filter);

/// Activates one of them.
void activateOne(Core::Filter& filter, RecordingIO::Random& random);

/// Writes a text to a property that it may well take.
void writeOne(Core::Filter& filter, RecordingIO::Random& random);

/// The properties that have a value.
std::vector<Core::AbstractProperty*> valueProperties(const Core::Filter& filter);

/// "property \"Mode\"", for messages.
std::string placeOf(const Core::AbstractProperty& property);
/// The text in quotes, cut where it is long.
std::string shownText(const std::string& text);

}  // namespace Kavelin::Cli
