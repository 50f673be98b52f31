// Layouts, built of real filters and checked: any text is built or refused with mistakes; and what was built is
// written so that it builds the same again.

#include <Poco/Exception.h>

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

#include "cli/graph/LayoutGraph.h"
#include "cli/layout/LayoutBuilder.h"
#include "cli/layout/LayoutWriter.h"
#include "fuzz/FuzzedPlugin.h"

namespace {

using namespace Kavelin;
using namespace Kavelin::Cli;

constexpr std::size_t kMostFilters = 20;

/// Whether what it says would only be slow, or wait for somebody: large matrices, devices.
bool isLeftOut(const LayoutFile& layout) {
    std::size_t filters = 0;
    for (const LayoutEntry& entry : layout.layouts) {
        for (const FilterEntry& filter : entry.filters) {
            if (++filters > kMostFilters) return true;
            for (const PropertyEntry& property : filter.properties)
                if (Fuzz::isOfLargeMatrix(property.value.text) ||
                    property.value.text.find('/') != std::string::npos)
                    return true;
        }
    }
    for (const ActionEntry& action : layout.actions)
        if (action.value &&
            (Fuzz::isOfLargeMatrix(action.value->text) || action.value->text.find('/') != std::string::npos))
            return true;
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Installed for ever; the pointer is kept where a search for leaks finds it.
    [[gnu::used]] static const Fuzz::FuzzedPlugin* const plugin = new Fuzz::FuzzedPlugin;
    std::cout.setstate(std::ios::failbit);  // messages of the settings reader
    Core::FlowManager& flow = Core::FlowManager::instance();
    Mistakes mistakes;
    LayoutFile layout = parseLayout({reinterpret_cast<const char*>(data), size}, mistakes);
    layout.plugins.emplace();  // no module is loaded
    layout.variables.clear();  // they would outlive the input
    if (isLeftOut(layout)) return 0;
    std::string first;
    {
        LayoutBuilder builder(layout, flow, mistakes);
        builder.build();
        builder.findIdle(mistakes);
        builder.findDoubts(mistakes);
        graphText(builder.filters(), "fuzz");
        const bool isWhole = mistakes.empty();
        builder.check({});
        builder.activateCommands();
        if (isWhole) first = writeLayout(builder.capture({}));
    }
    for (const Mistake& mistake : mistakes)
        if (mistake.text.empty()) std::abort();
    if (!flow.getLayouts().empty()) std::abort();
    if (first.empty()) return 0;
    Mistakes further;
    LayoutFile written = parseLayout(first, further);
    written.plugins.emplace();
    if (!further.empty()) std::abort();
    return 0;
}
