#include <algorithm>

#include "io/formats/Formats.h"
#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

/// The quaternions of one column of the table, whose cells w,x,y,z become four.
TablePlan planColumn(const std::string& file, const std::vector<std::string>& names, std::size_t column,
                     std::size_t headerLine) {
    TablePlan table;
    table.file = file;
    table.alsoSeparates = ',';
    table.form.separator = '\t';
    table.form.headerLine = headerLine;
    table.form.firstRow = headerLine + 1;
    table.form.columns.emplace_back(names.front());
    table.form.time = TableForm::Time{.column = 0, .unit = "s"};
    for (std::size_t i = 1; i < names.size(); ++i) {
        for (const char* element : {"w", "x", "y", "z"}) {
            const bool isOwn = i == column;
            table.form.columns.emplace_back(isOwn ? names[i] + " " + element : std::string(),
                                            isOwn ? std::string("q") + element : std::string());
        }
    }
    return table;
}

}  // namespace

/// A table of orientations: "DataType=Quaternion" and other lines up to "endheader", then a column a sensor.
std::optional<RecordingPlan> planOpensimSto(const Sighting& sighting) {
    if (sighting.files().size() != 1) return std::nullopt;
    const std::string& file = sighting.files().front().name;
    const std::vector<std::string> lines = sighting.firstLines(file);
    const auto isLine = [](std::string_view text) {
        return [text](const std::string& line) { return equalsIgnoringCase(trimmed(line), text); };
    };
    const auto end = std::ranges::find_if(lines, isLine("endheader"));
    if (end == lines.end() || end + 1 == lines.end()) return std::nullopt;
    if (std::find_if(lines.begin(), end, isLine("DataType=Quaternion")) == end) return std::nullopt;
    std::vector<std::string> names = splitCells(*(end + 1), '\t');
    while (!names.empty() && names.back().empty()) names.pop_back();
    if (names.size() < 2) return std::nullopt;
    RecordingPlan plan;
    const auto headerLine = static_cast<std::size_t>(end - lines.begin()) + 2;
    for (std::size_t i = 1; i < names.size(); ++i) {
        plan.sensors.push_back({.name = names[i],
                                .tables = {planColumn(file, names, i, headerLine)},
                                .notes = {"the file holds orientations only, neither acceleration nor rate: "
                                          "give it as a reference, --reference FILE.sto#SENSOR"}});
    }
    return plan;
}

}  // namespace Kavelin::RecordingIO
