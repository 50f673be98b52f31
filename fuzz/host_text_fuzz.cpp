// Texts that the host itself reads: versions of modules, variables, names of filters and pins.

#include <Kavelin/Core/ComponentVersion.h>
#include <Kavelin/Core/FlowManager.h>
#include <Poco/Exception.h>

#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Kavelin::Core;
    const std::string text(reinterpret_cast<const char*>(data), size);
    FlowManager& flow = FlowManager::instance();
    flow.setVariable("A", "${B}");
    flow.setVariable("B", text.substr(0, 8));
    flow.expandVariables(text);
    if (flow.expandVariables("${A}") != "${B}") std::abort();  // inserted text is not expanded again
    try {
        if (ComponentVersion(text) != ComponentVersion(text)) std::abort();
    } catch (const Poco::SyntaxException& refusal) {
        if (refusal.message().empty()) std::abort();
    }
    try {
        const std::size_t end = text.find('\n');
        flow.connect(text.substr(0, end), end == std::string::npos ? "" : text.substr(end + 1));
        std::abort();  // there is no filter
    } catch (const Poco::SyntaxException&) {
    } catch (const Poco::NotFoundException&) {
    }
    return 0;
}
