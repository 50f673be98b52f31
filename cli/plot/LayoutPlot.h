#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cli/Picture.h"
#include "cli/layout/LayoutBuilder.h"
#include "cli/plot/PlottedPin.h"

namespace Kavelin::Cli {

class PlotWatch;

/// Draws over time what pins of a layout send while it runs.
class LayoutPlot {
public:
    /// @throws UsageError for a file name that does not end in .svg or .png, and for one that cannot be written.
    explicit LayoutPlot(const std::string& file);
    ~LayoutPlot();

    /// Connects to the pins that the panels name; all exist.  [no layout running]
    void watch(const std::vector<PlotPanel>& panels, LayoutBuilder& builder);

    /// Draws.  @throws Poco::WriteFileException where gnuplot is not installed, when it fails, or when the disk is
    /// full.
    void draw();

private:
    struct Panel {
        DrawnPanel drawn;  // without its lines
        std::vector<PlottedPin> pins;
    };
    static Panel begin(const PlotPanel& panel, LayoutBuilder& builder);

    Picture picture_;
    std::vector<Panel> panels_;
    std::vector<std::unique_ptr<PlotWatch>> watches_;  // one for each layout
};

/// Panels for pins named on the command line, "filter:pin" each: those that carry the same share one. What names
/// no pin is a mistake.
std::vector<PlotPanel> panelsFor(const std::vector<std::string>& pins, const LayoutFile& layout,
                                 LayoutBuilder& builder, Mistakes& mistakes);

}  // namespace Kavelin::Cli
