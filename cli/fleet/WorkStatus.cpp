#include "cli/fleet/WorkStatus.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <numeric>

namespace Kavelin::Cli {

namespace {

constexpr std::array kVerdicts = {"good", "doubtful", "bad"};

void count(std::array<std::uint64_t, 3>& counts, const std::string& verdict) {
    for (std::size_t i = 0; i < kVerdicts.size(); ++i)
        if (verdict == kVerdicts[i]) ++counts[i];
}

/// A number that a status has, under the name that others see.
struct Figure {
    const char* name;
    const char* type;
    const char* help;
    std::uint64_t PartStatus::*member;
};
constexpr Figure kFigures[] = {
    {"units", "gauge", "Units in memory.", &PartStatus::units},
    {"lag_messages", "gauge", "Messages of rows that wait for the worker.", &PartStatus::lag},
    {"rows_total", "counter", "Rows computed.", &PartStatus::rows},
    {"refused_rows_total", "counter", "Rows left out, because they cannot be used.",
     &PartStatus::refusedRows},
    {"messages_total", "counter", "Messages of rows computed.", &PartStatus::messages},
    {"redelivered_total", "counter", "Messages that came again and were not computed again.",
     &PartStatus::redelivered},
    {"bad_messages_total", "counter", "Messages moved to the stream of bad ones.", &PartStatus::badMessages},
    {"results_total", "counter", "Results that the server has stored.", &PartStatus::results},
    {"snapshots_total", "counter", "Snapshots that the server has stored.", &PartStatus::snapshots}};

using Parts = std::span<const PartStatus* const>;

template <class Lines>
void writeMetric(std::string& text, const char* name, const char* type, const char* help, Parts parts,
                 Lines lines) {
    text += fmt::format("# HELP kavelin_work_{0} {1}\n# TYPE kavelin_work_{0} {2}\n", name, help, type);
    for (std::size_t i = 0; i < parts.size(); ++i)
        if (parts[i]) lines(i, *parts[i]);
}

void writeVerdicts(std::string& text, Parts parts) {
    writeMetric(
        text, "units_by_verdict", "gauge", "Units in memory by what their attitude is worth.", parts,
        [&text](std::size_t part, const PartStatus& status) {
            for (const auto& [aspect, counts] :
                 {std::pair("tilt", status.verdicts.tilt), {"heading", status.verdicts.heading}})
                for (std::size_t i = 0; i < counts.size(); ++i)
                    text += fmt::format(
                        "kavelin_work_units_by_verdict{{part=\"{}\",aspect=\"{}\",verdict=\"{}\"}} {}\n",
                        part, aspect, kVerdicts[i], counts[i]);
        });
}

void writeLatency(std::string& text, Parts parts) {
    writeMetric(text, "latency_seconds", "histogram",
                "From when the server got rows, by its clock, until it had their result, by this one.", parts,
                [&text](std::size_t part, const PartStatus& status) {
                    const LatencyHistogram& latency = status.latency;
                    std::uint64_t sum = 0;
                    const auto line = [&](const std::string& bound) {
                        text +=
                            fmt::format("kavelin_work_latency_seconds_bucket{{part=\"{}\",le=\"{}\"}} {}\n",
                                        part, bound, sum);
                    };
                    for (std::size_t i = 0; i < latency.kBoundsMs.size(); ++i) {
                        sum += latency.counts[i];
                        line(fmt::format("{}", latency.kBoundsMs[i] / 1000.0));
                    }
                    sum = latency.count();
                    line("+Inf");
                    text += fmt::format(
                        "kavelin_work_latency_seconds_sum{{part=\"{0}\"}} {1}\n"
                        "kavelin_work_latency_seconds_count{{part=\"{0}\"}} {2}\n",
                        part, latency.seconds, sum);
                });
}

}  // namespace

void LatencyHistogram::add(double latencySeconds) {
    const auto bound = std::lower_bound(kBoundsMs.begin(), kBoundsMs.end(), latencySeconds * 1000.0);
    ++counts[static_cast<std::size_t>(bound - kBoundsMs.begin())];
    seconds += latencySeconds;
}

std::uint64_t LatencyHistogram::count() const {
    return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0});
}

void VerdictCounts::add(const std::string& tiltVerdict, const std::string& headingVerdict) {
    count(tilt, tiltVerdict);
    count(heading, headingVerdict);
}

nlohmann::json toJson(const PartStatus& status) {
    nlohmann::json json;
    for (const Figure& figure : kFigures) json[figure.name] = status.*figure.member;
    json["rows_per_second"] = status.rowsPerSecond;
    for (std::size_t i = 0; i < kVerdicts.size(); ++i) {
        json["tilt"][kVerdicts[i]] = status.verdicts.tilt[i];
        json["heading"][kVerdicts[i]] = status.verdicts.heading[i];
    }
    return json;
}

PartStatus partStatusFrom(const nlohmann::json& json) {
    PartStatus status;
    for (const Figure& figure : kFigures) status.*figure.member = json.value(figure.name, std::uint64_t{0});
    status.rowsPerSecond = json.value("rows_per_second", 0.0);
    for (std::size_t i = 0; i < kVerdicts.size(); ++i) {
        const auto read = [&](const char* aspect) {
            return json.contains(aspect) ? json.at(aspect).value(kVerdicts[i], std::uint64_t{0}) : 0;
        };
        status.verdicts.tilt[i] = read("tilt");
        status.verdicts.heading[i] = read("heading");
    }
    return status;
}

std::string prometheusText(Parts parts) {
    std::string text;
    for (const Figure& figure : kFigures)
        writeMetric(text, figure.name, figure.type, figure.help, parts,
                    [&](std::size_t part, const PartStatus& status) {
                        text += fmt::format("kavelin_work_{}{{part=\"{}\"}} {}\n", figure.name, part,
                                            status.*figure.member);
                    });
    writeVerdicts(text, parts);
    writeLatency(text, parts);
    return text;
}

}  // namespace Kavelin::Cli
