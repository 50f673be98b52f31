#include "io/formats/Formats.h"
#include "io/formats/MessageReader.h"

namespace Kavelin::RecordingIO {

/// The text messages of a unit in one file, as a terminal program writes them down.
std::optional<RecordingPlan> planXimu3Ascii(const Sighting& sighting) {
    if (sighting.files().size() != 1) return std::nullopt;
    const std::string& file = sighting.files().front().name;
    const std::vector<std::string> lines = sighting.firstLines(file);
    const auto first = std::ranges::find_if_not(lines, &MessageReader::isBetweenMessages);
    if (first == lines.end() || !MessageReader::isMessage(*first)) return std::nullopt;
    RecordingPlan plan;
    plan.sensors.push_back(
        {.name = "", .tables = {TablePlan{.file = file, .form = {}, .holdsMessages = true}}, .notes = {}});
    return plan;
}

}  // namespace Kavelin::RecordingIO
