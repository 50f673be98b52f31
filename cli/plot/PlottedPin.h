#pragma once

#include <Kavelin/Core/PinContent.h>
#include <Kavelin/Typed/Matrix.h>

#include <string>
#include <vector>

#include "cli/layout/LayoutFile.h"
#include "cli/plot/DrawnPanel.h"

namespace Kavelin::Cli {

/// What a line of a panel asks of a pin: the values as they are drawn. Angles are drawn in degrees, orientations
/// as yaw, pitch and roll.
class PlottedPin {
public:
    PlottedPin(const PlotLine& line, const Core::PinContent& content);

    void add(double t, const Core::Matrix& sample);

    /// Drawn as a band behind the lines of its panel.
    bool isFlag() const;
    /// "degrees"; empty where the pin tells none.
    std::string unit() const;
    /// What the pin carries, without the names of its elements; empty where it does not tell.
    std::string quantity() const;
    /// As they are drawn.
    const std::vector<DrawnLine>& elements() const { return elements_; }

private:
    bool isOrientation() const;
    std::vector<double> valuesOf(const Core::Matrix& sample) const;
    std::vector<std::string> namesFor(std::size_t count) const;
    void start(std::size_t count);

    PlotLine line_;
    Core::PinContent content_;
    std::vector<DrawnLine> elements_;  // made at the first sample
};

/// Why a line cannot be drawn from a pin of that content; empty where it can.
std::string plotMistake(const PlotLine& line, const Core::PinContent& content);

}  // namespace Kavelin::Cli
