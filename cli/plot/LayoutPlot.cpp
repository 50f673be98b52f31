#include "cli/plot/LayoutPlot.h"

#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Typed/FilterKit.h>

#include <algorithm>
#include <map>

#include "cli/layout/NearestNames.h"
#include "cli/plot/PlotScript.h"

namespace Kavelin::Cli {

using OrientationInternal::AnyTime;
using OrientationInternal::InputPin;

/// Hands what the pins of one layout send to the picture.
class PlotWatch : public OrientationInternal::Filter {
public:
    PlotWatch() : Filter("--plot", true) {}

    void add(Core::AbstractOutputPin& output, PlottedPin& pin) {
        lanes_.push_back({std::make_unique<InputPin<Core::Matrix>>(
                              std::to_string(lanes_.size() + 1) + " " + output.getName(), this, AnyTime{}),
                          pin});
        Core::connect(output, *lanes_.back().input, {.bufferSize = kDefaultBufferSize});
    }

    void process() override {
        for (Lane& lane : lanes_)
            while (lane.input->readNext()) lane.pin.add(lane.input->lastTimeStamp(), lane.input->value());
    }
    std::string typeName() const override { return "PlotWatch"; }

private:
    struct Lane {
        std::unique_ptr<InputPin<Core::Matrix>> input;
        PlottedPin& pin;
    };
    std::vector<Lane> lanes_;
};

LayoutPlot::Panel LayoutPlot::begin(const PlotPanel& panel, LayoutBuilder& builder) {
    Panel result{{.label = panel.label, .range = panel.range}, {}};
    std::string unit;
    for (const PlotLine& line : panel.lines) {
        result.pins.emplace_back(line, Core::contentSent(*builder.findOutput(line.from)));
        if (unit.empty()) unit = result.pins.back().unit();
    }
    std::string& label = result.drawn.label;
    if (label.empty()) label = result.pins.front().quantity();
    if (label.empty()) label = panel.lines.front().from.element;
    if (!unit.empty()) label += ", " + unit;
    result.drawn.isInDegrees = unit == "degrees";
    return result;
}

LayoutPlot::LayoutPlot(const std::string& file) : picture_(file) {}
LayoutPlot::~LayoutPlot() = default;

void LayoutPlot::watch(const std::vector<PlotPanel>& panels, LayoutBuilder& builder) {
    for (const PlotPanel& panel : panels) panels_.push_back(begin(panel, builder));
    std::map<const Core::LayoutManager*, PlotWatch*> watchOf;
    for (std::size_t i = 0; i < panels.size(); ++i) {
        for (std::size_t k = 0; k < panels[i].lines.size(); ++k) {
            const Target& from = panels[i].lines[k].from;
            Core::LayoutManager* layout = builder.find(from.filter)->getManager();
            PlotWatch*& watch = watchOf[layout];
            if (watch == nullptr) {
                watch = watches_.emplace_back(std::make_unique<PlotWatch>()).get();
                layout->add(*watch);
            }
            watch->add(*builder.findOutput(from), panels_[i].pins[k]);
        }
    }
}

void LayoutPlot::draw() {
    std::vector<DrawnPanel> drawn;
    for (const Panel& panel : panels_) {
        drawn.push_back(panel.drawn);
        for (const PlottedPin& pin : panel.pins)
            drawn.back().lines.insert(drawn.back().lines.end(), pin.elements().begin(), pin.elements().end());
    }
    const PlotScript script(std::move(drawn));
    picture_.draw(script.height(), script.text(), PlotScript::kWidth);
}

std::vector<PlotPanel> panelsFor(const std::vector<std::string>& pins, const LayoutFile& layout,
                                 LayoutBuilder& builder, Mistakes& mistakes) {
    std::vector<PlotPanel> panels;
    std::vector<std::pair<std::string, std::string>> carried;  // quantity and unit of each panel
    for (const std::string& text : pins) {
        const Place place{0, 0, "--plot-pin \"" + text + "\""};
        PlotLine line{.from = {{}, {}, place}};
        if (!splitTarget(text, line.from)) {
            mistakes.push_back({place, "takes the form FILTER:PIN"});
        } else if (layout.findFilter(line.from.filter) == nullptr) {
            mistakes.push_back({place, noSuch("filter", line.from.filter, layout.filterNames())});
        } else if (const Core::AbstractOutputPin* output = builder.findOutput(line.from)) {
            const PlottedPin pin(line, Core::contentSent(*output));
            const std::pair key(pin.quantity().empty() ? line.from.element : pin.quantity(), pin.unit());
            auto found = std::find(carried.begin(), carried.end(), key);
            if (found == carried.end()) {
                found = carried.insert(found, key);
                panels.push_back({.label = {}, .lines = {}, .range = {}, .place = place});
            }
            panels[static_cast<std::size_t>(found - carried.begin())].lines.push_back(line);
        }
    }
    return panels;
}

}  // namespace Kavelin::Cli
