#include "cli/validate/ValidateReport.h"

#include <cstring>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>

#include "io/recording/Text.h"

namespace Kavelin::Cli {

namespace {

constexpr std::size_t kMostLines = 12;  // of what a check's process wrote

std::string endText(const ChildEnd& end) {
    if (end.status) return fmt::format("its process ended with status {} in the middle of it", *end.status);
    if (end.signal == 0) return "its process could not be started";
    return fmt::format("its process was ended by signal {} ({})", end.signal, ::strsignal(end.signal));
}

/// "passed 12, skipped 1": those that there are.
std::string countsText(const std::map<Outcome, std::size_t>& counts) {
    std::string text;
    for (const auto& [outcome, count] : counts)
        text += fmt::format("{}{} {}", text.empty() ? "" : ", ", outcomeName(outcome), count);
    return text;
}

std::string shellWord(const std::string& word) {
    const bool isPlain =
        word.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./+=") ==
        std::string::npos;
    if (isPlain && !word.empty()) return word;
    std::string quotedWord = "'";
    for (const char c : word) quotedWord += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quotedWord + "'";
}

void tell(std::ostream& out, const Validated& check, std::uint64_t seed) {
    out << "  " << check.name() << ": " << outcomeName(check.outcome) << ": " << check.wrong << '\n';
    if (!check.isFault()) return;
    if (!check.where.empty()) out << "    where: " << check.where << '\n';
    if (!check.expected.empty()) out << "    expected: " << check.expected << '\n';
    std::istringstream lines(check.output);
    std::size_t count = 0;
    for (std::string line; count < kMostLines && std::getline(lines, line); ++count)
        out << "    output: " << line << '\n';
    out << "    reproduce: " << reproduceCommand(check, seed) << '\n';
}

nlohmann::ordered_json jsonOf(const Validated& check, std::uint64_t seed) {
    nlohmann::ordered_json json{{"plugin", check.plugin}};
    if (!check.type.empty()) json["type"] = check.type;
    json["check"] = check.check;
    json["outcome"] = outcomeName(check.outcome);
    if (check.outcome == Outcome::skipped) json["reason"] = check.wrong;
    if (!check.isFault()) return json;
    json["wrong"] = check.wrong;
    if (!check.where.empty()) json["where"] = check.where;
    if (!check.expected.empty()) json["expected"] = check.expected;
    if (!check.output.empty()) json["output"] = check.output;
    json["reproduce"] = reproduceCommand(check, seed);
    return json;
}

}  // namespace

void conclude(Validated& check, const CheckRecord& record, const ChildEnd& end) {
    check.output = end.text;
    check.outcome = record.outcome;
    check.where = record.where.str();
    check.wrong = record.wrong.str();
    check.expected = record.expected.str();
    const bool isWhole = record.outcome != Outcome::running && end.status == 0;
    if (isWhole) return;
    check.outcome = end.isOverdue ? Outcome::timedOut : Outcome::crashed;
    check.where = record.step.str();
    check.wrong = end.isOverdue ? "it did not come to its end within the time limit" : endText(end);
    check.expected.clear();
}

std::string reproduceCommand(const Validated& check, std::uint64_t seed) {
    return fmt::format("kavelin validate {} --reproduce {} --seed {}", shellWord(check.plugin),
                       shellWord(check.name()), seed);
}

void ValidateReport::add(std::span<const Validated> checks) {
    std::map<Outcome, std::size_t> own;
    for (const Validated& check : checks) ++own[check.outcome], ++counts_[check.outcome];
    if (options_.json) all_.insert(all_.end(), checks.begin(), checks.end());
    if (options_.json || checks.empty()) return;
    const Validated& first = checks.front();
    out_ << (first.type.empty() ? first.plugin : first.type) << ": " << countsText(own) << '\n';
    for (const Validated& check : checks)
        if (check.outcome != Outcome::passed) tell(out_, check, options_.seed);
    out_.flush();
}

void ValidateReport::finish() {
    std::size_t sum = 0;
    for (const auto& [outcome, count] : counts_) sum += count;
    if (!options_.json) {
        out_ << fmt::format("{}: {}; seed {}\n", RecordingIO::counted(sum, "check"), countsText(counts_),
                            options_.seed);
        return;
    }
    nlohmann::ordered_json json{{"seed", options_.seed}};
    json["counts"] = nlohmann::ordered_json::object();
    for (const auto& [outcome, count] : counts_) json["counts"][outcomeName(outcome)] = count;
    json["checks"] = nlohmann::ordered_json::array();
    for (const Validated& check : all_) json["checks"].push_back(jsonOf(check, options_.seed));
    out_ << json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << '\n';
}

bool ValidateReport::hasFaults() const {
    for (const auto& [outcome, count] : counts_)
        if (outcome != Outcome::passed && outcome != Outcome::skipped) return true;
    return false;
}

}  // namespace Kavelin::Cli
