#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "cli/layout/LayoutWriter.h"
#include "cli/layout/Overrides.h"

namespace {

using namespace Kavelin::Cli;

void overrideWithParts(LayoutFile layout, std::string_view text) {
    Mistakes mistakes;
    overrideProperty(layout, std::string(text), mistakes);
    overrideVariable(layout, std::string(text), mistakes);
    for (const std::string& name : layout.filterNames())
        overrideProperty(layout, name + ":p=" + std::string(text), mistakes);
}

}  // namespace

/// No text crashes the parser, and a layout without mistakes is written so that it reads back the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    Mistakes mistakes;
    const LayoutFile layout = parseLayout(text, mistakes);
    if (size < 100) overrideWithParts(layout, text);
    for (const Mistake& mistake : mistakes)
        if (mistake.place.line < 1 || mistake.place.column < 1) std::abort();
    if (!mistakes.empty()) return 0;
    const std::string written = writeLayout(layout);
    if (writeLayout(parseLayout(written, mistakes)) != written || !mistakes.empty()) std::abort();
    return 0;
}
