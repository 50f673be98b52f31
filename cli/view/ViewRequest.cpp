#include "cli/view/ViewRequest.h"

#include <Kavelin/Core/ErrorLog.h>
#include <fmt/format.h>

#include <cstdint>
#include <nlohmann/json.hpp>
#include <optional>

#include "cli/CommandContext.h"
#include "cli/layout/Mistake.h"
#include "cli/layout/NearestNames.h"
#include "cli/layout/RoundGate.h"

namespace Kavelin::Cli {

namespace {

using nlohmann::json;
using nlohmann::ordered_json;

const std::vector<std::string> kRequests = {"watch", "write", "command", "transport", "pace"};
const std::vector<std::string> kActions = {"pause", "continue", "step", "restart"};

/// What is no request at all.
struct Malformed : UsageError {
    using UsageError::UsageError;
};

const json& member(const json& message, const char* key) {
    const auto found = message.find(key);
    if (found == message.end()) throw Malformed(fmt::format("\"{}\" is missing", key));
    return *found;
}

const std::string& text(const json& message, const char* key) {
    const json& value = member(message, key);
    if (!value.is_string()) throw Malformed(fmt::format("\"{}\" takes a text", key));
    return value.get_ref<const std::string&>();
}

std::vector<std::string> texts(const json& message, const char* key) {
    const json& value = member(message, key);
    if (!value.is_array()) throw Malformed(fmt::format("\"{}\" takes an array of texts", key));
    std::vector<std::string> all;
    for (const json& one : value) {
        if (!one.is_string()) throw Malformed(fmt::format("\"{}\" takes an array of texts", key));
        all.push_back(one.get<std::string>());
    }
    return all;
}

double pace(const json& message) {
    const json& value = member(message, "pace");
    if (value == "max") return kFullPace;
    const double number = value.is_number() ? value.get<double>() : 0.0;
    if (!(number > 0.0) || number == kFullPace)
        throw Malformed("\"pace\" takes a number greater than 0, or \"max\"");
    return number;
}

/// @return the place of a name among those that there are
std::size_t oneOf(const std::string& name, const char* what, const std::vector<std::string>& names) {
    for (std::size_t i = 0; i < names.size(); ++i)
        if (names[i] == name) return i;
    throw Malformed(noSuch(what, name, names));
}

void perform(const json& message, ViewTarget& target) {
    switch (oneOf(text(message, "do"), "request", kRequests)) {
        case 0: {
            const std::vector<std::string> pins = texts(message, "pins");
            if (pins.size() > kMostWatchedPins)
                throw UsageError(
                    fmt::format("a page may watch {} pins; these are {}", kMostWatchedPins, pins.size()));
            return target.watch(pins);
        }
        case 1:
            return target.write(text(message, "filter"), text(message, "property"), text(message, "value"));
        case 2:
            return target.command(text(message, "filter"), text(message, "property"));
        case 3:
            return target.transport(
                static_cast<ViewAction>(oneOf(text(message, "action"), "action", kActions)));
        default:
            return target.setPace(pace(message));
    }
}

ViewAnswer answer(const ordered_json& id, const std::string& refusal, bool isRequest) {
    ordered_json reply{{"type", "reply"}, {"id", id}, {"ok", refusal.empty()}};
    if (!refusal.empty()) reply["text"] = refusal;
    return {reply.dump(-1, ' ', false, ordered_json::error_handler_t::replace), isRequest};
}

/// Deep nesting would exhaust the stack of what reads it; no request has any.
bool isShallow(int depth, json::parse_event_t, json&) {
    if (depth > 8) throw Malformed("the message is nested too deep");
    return true;
}

}  // namespace

ViewAnswer answerViewMessage(std::string_view message, ViewTarget& target) {
    ordered_json id;
    try {
        if (message.size() > kLongestViewMessage)
            throw Malformed(
                fmt::format("a message may have {} bytes; this has {}", kLongestViewMessage, message.size()));
        const json request = json::parse(message, isShallow, false);
        if (!request.is_object()) throw Malformed("a message is one JSON object");
        const json& number = member(request, "id");
        if (!number.is_number_integer()) throw Malformed("\"id\" takes a whole number");
        id = number;
        perform(request, target);
        return answer(id, {}, true);
    } catch (const Malformed& refusal) {
        return answer(id, refusal.what(), false);
    } catch (const std::exception& error) {
        const std::string why = Core::exceptionMessage(error);
        return answer(id, why.empty() ? Core::exceptionType(error) : why, true);
    }
}

}  // namespace Kavelin::Cli
