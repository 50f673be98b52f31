#include "cli/batch/BatchTable.h"

#include <fmt/format.h>

#include <algorithm>

#include "io/recording/Text.h"

namespace Kavelin::Cli {

namespace {

/// "rec.csv", or "rec.csv (thigh)" of one of its sensors.
std::string labelOf(const BatchEntry& entry) {
    return entry.sensor.empty() ? entry.recording : entry.recording + " (" + entry.sensor + ")";
}

using RecordingIO::exactText;
using RecordingIO::printable;

using Cells = std::vector<std::string>;

std::string shortText(std::optional<double> number) { return number ? fmt::format("{:.4g}", *number) : "-"; }

std::optional<double> percent(std::optional<double> share) {
    return share ? std::optional(100.0 * *share) : std::nullopt;
}

std::string statusText(const BatchEntry& entry) {
    std::string text = endName(entry.end);
    if (entry.isKept) text += ", kept";
    return entry.reason.empty() ? text : text + ": " + printable(entry.reason);
}

Cells textCells(const BatchEntry& entry) {
    const RunFigures& run = entry.figures;
    const auto word = [](const std::string& grade) { return grade.empty() ? "-" : grade; };
    return {printable(labelOf(entry)),
            run.rows ? fmt::format("{:.0f}", *run.rows) : "-",
            shortText(run.rate),
            shortText(run.gaps),
            shortText(percent(run.rest)),
            shortText(run.bias),
            shortText(percent(run.disturbed)),
            shortText(run.error),
            word(run.tilt),
            word(run.heading),
            statusText(entry)};
}

/// Characters, not bytes.
std::size_t width(const std::string& cell) {
    return static_cast<std::size_t>(
        std::count_if(cell.begin(), cell.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string aligned(const Cells& cells, const std::vector<std::size_t>& widths) {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const bool isNumber = i >= 1 && i <= 7;
        const std::string room(widths[i] - width(cells[i]), ' ');
        line += i == 0 ? "" : "  ";
        line += isNumber ? room + cells[i] : cells[i] + (i + 1 < cells.size() ? room : "");
    }
    return line + "\n";
}

std::string countLine(const std::vector<BatchEntry>& entries) {
    std::vector<std::string> counts;
    for (const RunEnd end :
         {RunEnd::kDone, RunEnd::kErrors, RunEnd::kUnusable, RunEnd::kCrashed, RunEnd::kNotRun}) {
        const auto count = std::count_if(entries.begin(), entries.end(),
                                         [end](const BatchEntry& entry) { return entry.end == end; });
        if (count > 0)
            counts.push_back(
                fmt::format("{} {}{}", count, end == RunEnd::kErrors ? "with " : "", endName(end)));
    }
    return fmt::format("{}: {}\n", RecordingIO::counted(entries.size(), "recording"),
                       fmt::join(counts, ", "));
}

std::string csvCell(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + "\"";
}

}  // namespace

const char* endName(RunEnd end) {
    switch (end) {
        case RunEnd::kDone:
            return "done";
        case RunEnd::kErrors:
            return "errors";
        case RunEnd::kUnusable:
            return "not used";
        case RunEnd::kCrashed:
            return "crashed";
        case RunEnd::kNotRun:
            break;
    }
    return "not run";
}

std::string tableText(const std::vector<BatchEntry>& entries) {
    std::vector<Cells> lines = {{"recording", "rows", "rate Hz", "gaps", "rest %", "bias deg/s",
                                 "disturbed %", "error deg", "tilt", "heading", "status"}};
    for (const BatchEntry& entry : entries) lines.push_back(textCells(entry));
    std::vector<std::size_t> widths(lines[0].size(), 0);
    for (const Cells& cells : lines)
        for (std::size_t i = 0; i < cells.size(); ++i) widths[i] = std::max(widths[i], width(cells[i]));
    std::string text;
    for (const Cells& cells : lines) text += aligned(cells, widths);
    return text + countLine(entries);
}

std::string tableCsv(const std::vector<BatchEntry>& entries) {
    std::string text =
        "recording,rows,rate (Hz),gaps,rest (%),bias (deg/s),disturbed (%),error (deg),tilt,"
        "heading,status,reason,result\n";
    for (const BatchEntry& entry : entries) {
        const RunFigures& run = entry.figures;
        text += csvCell(labelOf(entry));
        for (const auto& figure :
             {run.rows, run.rate, run.gaps, percent(run.rest), run.bias, percent(run.disturbed), run.error})
            text += "," + (figure ? exactText(*figure) : "");
        for (const std::string& cell :
             {run.tilt, run.heading, std::string(endName(entry.end)), entry.reason, entry.result})
            text += "," + csvCell(cell);
        text += "\n";
    }
    return text;
}

}  // namespace Kavelin::Cli
