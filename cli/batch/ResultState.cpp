#include "cli/batch/ResultState.h"

#include <Poco/SHA1Engine.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>

#include "attitude/rotation/AngleConstants.h"
#include "cli/SameFile.h"
#include "cli/WholeFile.h"

namespace Kavelin::Cli {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

namespace {

std::string fileText(const fs::path& file) {
    std::error_code unknown;
    const auto size = fs::file_size(file, unknown);
    const auto time = fs::last_write_time(file, unknown).time_since_epoch();
    return std::to_string(size) + " bytes, modified " +
           std::to_string(std::chrono::duration_cast<std::chrono::nanoseconds>(time).count());
}

std::string absolute(const std::string& path) {
    std::error_code unknown;
    return fs::weakly_canonical(fs::absolute(path, unknown), unknown).string();
}

/// Text for JSON: bytes that are not UTF-8 would not be read back.
std::string dumped(const Json& json) { return json.dump(2, ' ', false, Json::error_handler_t::replace); }

std::string text(const Json& json, const char* key) {
    const auto at = json.find(key);
    return at != json.end() && at->is_string() ? at->get<std::string>() : "";
}

/// The number at a path of keys, or nothing.
std::optional<double> number(const Json& json, const char* pointer) {
    const Json::json_pointer at(pointer);
    if (!json.contains(at) || !json.at(at).is_number()) return std::nullopt;
    return json.at(at).get<double>();
}

std::string grade(const Json& json, const char* name) {
    const auto at = json.find(name);
    return at != json.end() && at->is_object() ? text(*at, "grade") : "";
}

std::optional<double> biasOf(const Json& summary) {
    double sum = 0.0;
    for (const char* axis : {"/bias/0", "/bias/1", "/bias/2"}) {
        const std::optional<double> rate = number(summary, axis);
        if (!rate) return std::nullopt;
        sum += *rate * *rate;
    }
    return std::sqrt(sum) * OrientationInternal::kRadiansToDegrees;
}

std::optional<double> rateOf(const Json& summary) {
    for (const char* pin : {"/channels/3g/rate", "/channels/3a/rate", "/channels/3m/rate"})
        if (const auto rate = number(summary, pin)) return rate;
    return std::nullopt;
}

std::optional<double> either(std::optional<double> first, std::optional<double> second) {
    return first ? first : second;
}

}  // namespace

std::string stampOf(const std::string& path) {
    std::error_code unknown;
    if (!fs::exists(path, unknown)) return {};
    if (!fs::is_directory(path, unknown)) return fileText(path);
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(path, unknown))
        if (entry.is_regular_file(unknown)) files[entry.path().string()] = fileText(entry.path());
    Poco::SHA1Engine hash;
    for (const auto& [name, file] : files) {
        hash.update(name + '\0');
        hash.update(file + '\0');
    }
    return std::to_string(files.size()) + " files, " + Poco::SHA1Engine::digestToHex(hash.digest());
}

RunFigures figuresOf(const Json& summary) {
    return {
        .rows = number(summary, "/rows/read"),
        .rate = rateOf(summary),
        .gaps = number(summary, "/rows/gaps"),
        .rest = either(number(summary, "/evidence/restShare"), number(summary, "/flags/flag_rest")),
        .bias = biasOf(summary),
        .disturbed = either(number(summary, "/evidence/disturbedShare"), number(summary, "/flags/flag_mag")),
        .error = number(summary, "/errors/total"),
        .tilt = grade(summary, "tilt"),
        .heading = grade(summary, "heading")};
}

ResultState::ResultState(const std::string& folder, const std::string& result)
    : result_((fs::path(folder) / result).string()),
      file_((fs::path(folder) / kStateFolder / (result + ".json")).string()) {}

Json ResultState::read() const {
    std::ifstream stream(file_);
    return Json::parse(stream, nullptr, false);
}

std::optional<BatchEntry> ResultState::heldEntry(const std::string& recording,
                                                 const std::string& options) const {
    const Json state = read();
    if (!state.is_object() || number(state, "/status") != 0.0) return std::nullopt;
    const std::string settings = text(state, "settings");
    const bool holds = text(state, "recording") == absolute(recording) &&
                       text(state, "stamp") == stampOf(recording) && text(state, "options") == options &&
                       text(state, "settingsStamp") == stampOf(settings) &&
                       text(state, "resultStamp") == stampOf(result_);
    if (!holds || text(state, "stamp").empty() || text(state, "resultStamp").empty()) return std::nullopt;
    return BatchEntry{.recording = recording,
                      .sensor = {},
                      .result = result_,
                      .end = RunEnd::kDone,
                      .isKept = true,
                      .reason = {},
                      .figures = figuresOf(summary())};
}

std::string ResultState::otherRecording(const std::string& recording) const {
    std::error_code unknown;
    const Json state = read();
    if (!state.is_object() || !fs::exists(result_, unknown)) return {};
    const std::string other = text(state, "recording");
    const bool isOther = fs::exists(other, unknown) && !fs::equivalent(other, recording, unknown);
    return isOther && fs::exists(recording, unknown) ? other : "";
}

void ResultState::write(const BatchEntry& entry, const std::string& options,
                        const std::string& recordingStamp, const std::string& summary) const {
    std::error_code unknown;
    fs::create_directories(fs::path(file_).parent_path(), unknown);
    const Json read = Json::parse(summary, nullptr, false);
    const Json parsed = read.is_object() ? read : Json();
    const std::string settings = parsed.is_object() ? text(parsed, "settings") : "";
    writeWholeFile(file_, dumped({{"recording", absolute(entry.recording)},
                                  {"stamp", recordingStamp},
                                  {"options", options},
                                  {"settings", settings.empty() ? "" : absolute(settings)},
                                  {"settingsStamp", stampOf(settings)},
                                  {"resultStamp", entry.result.empty() ? "" : stampOf(result_)},
                                  {"status", static_cast<int>(entry.end)},
                                  {"reason", entry.reason},
                                  {"summary", parsed}}) +
                              "\n");
}

Json ResultState::summary() const {
    const Json state = read();
    const auto at = state.is_object() ? state.find("summary") : state.end();
    return state.is_object() && at != state.end() && at->is_object() ? *at : Json();
}

}  // namespace Kavelin::Cli
