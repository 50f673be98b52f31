// Messages of a page: any text is answered with one JSON object, done or refused with a reason.

#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string_view>

#include "cli/CommandContext.h"
#include "cli/view/ViewRequest.h"

using namespace Kavelin::Cli;

namespace {

struct Target final : ViewTarget {
    void watch(const std::vector<std::string>& pins) override {
        if (pins.size() > kMostWatchedPins) std::abort();
    }
    void write(const std::string&, const std::string&, const std::string& value) override {
        throw UsageError(value);
    }
    void command(const std::string&, const std::string&) override {}
    void transport(ViewAction action) override {
        if (action < ViewAction::kPause || action > ViewAction::kRestart) std::abort();
    }
    void setPace(double pace) override {
        if (!(pace > 0.0)) std::abort();
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Target target;
    const ViewAnswer answer =
        answerViewMessage(std::string_view(reinterpret_cast<const char*>(data), size), target);
    const auto reply = nlohmann::json::parse(answer.reply);
    if (reply["type"] != "reply" || !reply["ok"].is_boolean()) std::abort();
    if (!reply["ok"].get<bool>() && reply["text"].get<std::string>().empty()) std::abort();
    if (reply["ok"].get<bool>() && !reply["id"].is_number_integer()) std::abort();
    return 0;
}
