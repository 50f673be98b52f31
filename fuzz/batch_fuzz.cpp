// Batches of rows of a unit: any columns, payload and bytes of a state give an answer, or a refusal that changes nothing.

#include <Poco/Exception.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "cli/fleet/UnitEngine.h"
#include "fuzz/FuzzedPlugin.h"
#include "io/FilterVerdict.h"

namespace {

using namespace Kavelin;
using namespace Kavelin::Cli;

/// What a unit's layout has besides.
class VerdictPlugin : public Core::DefaultPlugin {
public:
    VerdictPlugin() : DefaultPlugin("FuzzedVerdict", "1.0") {
        metaData_.hostVersion = Core::kHostVersion;
        static constexpr Core::RegistryRow kRows[] = {Core::row<RecordingIO::FilterVerdict>()};
        Core::registerFilters(*this, kRows);
        Core::FlowManager::instance().getPluginManager().installPlugin(*this);
    }
};

/// @return whether the batch was taken
bool advance(UnitEngine& engine, std::string& state, const Batch& batch) {
    const std::string before = state;
    try {
        const Answer answer = engine.advance(state, batch);
        const auto lines = static_cast<std::size_t>(std::ranges::count(answer.rows, '\n'));
        if (answer.rowsTaken == 0 || lines > answer.rowsTaken || state.empty()) std::abort();
        return true;
    } catch (const Poco::DataFormatException& refusal) {
        if (refusal.message().empty() || state != before) std::abort();
        return false;
    }
}

}  // namespace

/// The first line names the columns, or is empty; what follows is the payload. The second half of it comes again as a
/// batch of its own, and to a state in which a byte is changed.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Installed for ever; the pointers are kept where a search for leaks finds them.
    [[gnu::used]] static const Fuzz::FuzzedPlugin* const plugin = new Fuzz::FuzzedPlugin;
    [[gnu::used]] static const VerdictPlugin* const verdict = new VerdictPlugin;
    static UnitEngine& engine = *new UnitEngine({});
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string columns(text.substr(0, end));
    const std::string_view payload = text.substr(std::min(end + 1, text.size()));
    std::string state;
    if (!advance(engine, state, {columns, payload})) return 0;
    engine.verdict();
    const std::string_view second = payload.substr(payload.size() / 2);
    std::string damaged = state;
    damaged[size * 7919 % damaged.size()] ^= static_cast<char>(1 + size % 255);
    advance(engine, state, {"", second});
    advance(engine, damaged, {"", second});
    return 0;
}
