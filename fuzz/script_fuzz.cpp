// Script lines: any text is either read or refused with a message;
// a sample that was read reads back from its own text.

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "cli/CommandContext.h"
#include "cli/ScriptFormat.h"

using namespace Kavelin::Cli;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        try {
            const auto line = parseScriptLine(text.substr(0, end));
            if (const auto* sample = line ? std::get_if<SampleLine>(&*line) : nullptr) {
                const std::string written = sampleText(sample->pin, sample->t, sample->value);
                const auto again = std::get<SampleLine>(*parseScriptLine(written));
                if (sampleText(again.pin, again.t, again.value) != written) std::abort();
            }
        } catch (const UsageError& refused) {
            if (*refused.what() == '\0') std::abort();
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return 0;
}
