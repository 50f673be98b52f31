#include "cli/graph/LayoutGraph.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/LayoutManager.h>
#include <fmt/format.h>

#include <algorithm>

namespace Kavelin::Cli {

namespace {

constexpr const char* kHead =
    "  graph [rankdir=LR, bgcolor=transparent, nodesep=0.3, ranksep=0.7, fontname=\"sans-serif\", "
    "fontsize=11];\n"
    "  node [shape=plain, fontname=\"sans-serif\", fontsize=11];\n"
    "  edge [arrowsize=0.7];\n";

/// As in XML, which is also what stands in the drawing.
std::string escaped(std::string_view text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
        }
    }
    return out;
}

std::string dotName(std::string_view text) {
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') out += '\\';
        out += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
    }
    return out + '"';
}

std::string about(const Core::Pin& pin) {
    const Core::PinContent& content = pin.content();
    std::string text =
        pin.getName() + ": " +
        (content.takesText.empty() ? Core::shapeText(content.shape) : std::string(content.takesText));
    if (!content.quantity.empty()) text += fmt::format(", {}", content.quantity);
    if (!content.unit.empty()) text += fmt::format(" in {}", content.unit);
    if (!content.frame.empty()) text += fmt::format(", {}", content.frame);
    return escaped(text);
}

/// Inputs stand on the left, outputs on the right; a place without a pin is an empty cell.
template <class P>
std::string cell(const std::vector<P*>& pins, std::size_t place, bool isOutput, const std::string& filter,
                 int room) {
    if (place >= pins.size()) return "<TD></TD>";
    const std::string id =
        fmt::format("{}.{}.{}", isOutput ? "pin" : "input", graphId(filter), graphId(pins[place]->getName()));
    std::string text = escaped(pins[place]->getName());
    for (int i = 0; i < room; ++i) text += "&#160;";
    return fmt::format(R"(<TD PORT="{}{}" ID="{}" HREF="#{}" TITLE="{}" BORDER="1" ALIGN="LEFT">{}</TD>)",
                       isOutput ? 'o' : 'i', place, id, id, about(*pins[place]), text);
}

std::string nodeText(const Core::Filter& filter, int room) {
    const auto& inputs = filter.getInputPins();
    const auto& outputs = filter.getOutputPins();
    std::string rows;
    for (std::size_t i = 0; i < std::max(inputs.size(), outputs.size()); ++i)
        rows += "<TR>" + cell(inputs, i, false, filter.getName(), room) +
                cell(outputs, i, true, filter.getName(), room) + "</TR>";
    const bool isSource = dynamic_cast<const Core::Source*>(&filter) != nullptr;
    return fmt::format(
        "    {} [id=\"filter.{}\"{}, label=<<TABLE BORDER=\"1\" CELLBORDER=\"0\" CELLSPACING=\"0\" "
        "CELLPADDING=\"4\">"
        "<TR><TD COLSPAN=\"2\"><B>{}</B><BR/><FONT POINT-SIZE=\"9\">{}</FONT></TD></TR>{}</TABLE>>];\n",
        dotName(filter.getName()), graphId(filter.getName()), isSource ? ", class=\"source\"" : "",
        escaped(filter.getName()), escaped(filter.typeName()), rows);
}

template <class P>
std::size_t placeOf(const std::vector<P*>& pins, const P* pin) {
    return static_cast<std::size_t>(std::find(pins.begin(), pins.end(), pin) - pins.begin());
}

/// A connection to a pin without a filter is not part of the layout.
std::string edgesInto(const Core::Filter& filter) {
    std::string text;
    for (const Core::AbstractInputPin* input : filter.getInputPins()) {
        const Core::AbstractOutputPin* output = input->getConnectedOutput();
        const Core::PinManager* from = output == nullptr ? nullptr : output->getManager();
        if (from == nullptr) continue;
        text += fmt::format("  {}:o{}:e -> {}:i{}:w [id=\"edge.{}.{}.{}.{}\"];\n", dotName(from->getName()),
                            placeOf(from->getOutputPins(), output), dotName(filter.getName()),
                            placeOf(filter.getInputPins(), input), graphId(from->getName()),
                            graphId(output->getName()), graphId(filter.getName()), graphId(input->getName()));
    }
    return text;
}

}  // namespace

std::string graphText(const std::vector<Core::Filter*>& filters, const std::string& title, int room) {
    std::string text = "digraph " + dotName(title) + " {\n" + kHead;
    std::vector<const Core::LayoutManager*> layouts;
    for (const Core::Filter* filter : filters)
        if (std::find(layouts.begin(), layouts.end(), filter->getManager()) == layouts.end())
            layouts.push_back(filter->getManager());
    for (std::size_t i = 0; i < layouts.size(); ++i) {
        text += fmt::format("  subgraph cluster_{} {{\n    id=\"layout.{}\"; class=\"layout\"; label={};\n",
                            i, graphId(layouts[i]->getName()), dotName(layouts[i]->getName()));
        for (const Core::Filter* filter : filters)
            if (filter->getManager() == layouts[i]) text += nodeText(*filter, room);
        text += "  }\n";
    }
    for (const Core::Filter* filter : filters) text += edgesInto(*filter);
    return text + "}\n";
}

std::string graphId(std::string_view name) {
    std::string id;
    for (const char c : name) {
        const bool isPlain = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                             c == '_' || c == '-';
        if (isPlain)
            id += c;
        else
            id += fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
    return id;
}

}  // namespace Kavelin::Cli
