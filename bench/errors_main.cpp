// Prints the orientation error of every estimator on every recording, and what a sample costs.
//
//   bench_errors [NAME]...      estimators whose name contains one of the names; all without
//
// Recordings with a reference are taken from the folder in KAVELIN_DATA; simulated ones are always there.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "bench/support/Estimator.h"
#include "bench/support/SimulatedRecordings.h"

namespace {

using namespace Kavelin::Bench;

std::vector<Recording> loadRecordings() {
    std::vector<Recording> recordings;
    if (const char* folder = std::getenv("KAVELIN_DATA")) {
        for (const auto& path : findRecordings(folder)) recordings.push_back(loadRecording(path));
    } else {
        std::puts("Real recordings skipped: KAVELIN_DATA names no folder.");
    }
    for (Recording& recording : simulatedRecordings()) recordings.push_back(std::move(recording));
    return recordings;
}

std::vector<Estimate> run(const EstimatorEntry& entry, const Recording& recording) {
    const auto estimator = entry.make();
    std::vector<Estimate> estimates;
    estimates.reserve(recording.samples.size());
    for (const Sample& sample : recording.samples) {
        if (const auto attitude = estimator->step(sample)) estimates.push_back({sample.t, *attitude});
    }
    return estimates;
}

// ns a sample, the least of several runs.
double cost(const EstimatorEntry& entry, const Recording& recording) {
    using Clock = std::chrono::steady_clock;
    double least = 1e30;
    for (int i = 0; i < 5; ++i) {
        const auto estimator = entry.make();
        const auto begin = Clock::now();
        for (const Sample& sample : recording.samples) static_cast<void>(estimator->step(sample));
        const std::chrono::duration<double, std::nano> spent = Clock::now() - begin;
        least = std::min(least, spent.count() / static_cast<double>(recording.samples.size()));
    }
    return least;
}

const char* alignmentName(Alignment alignment) {
    if (alignment == Alignment::StartPose) return "start pose";
    return alignment == Alignment::Heading ? "heading" : "none";
}

bool chosen(const EstimatorEntry& entry, int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (entry.name.find(argv[i]) != std::string::npos) return true;
    }
    return argc < 2;
}

void printTable(int argc, char** argv) {
    const std::vector<Recording> recordings = loadRecordings();
    std::puts("RMS error in degrees over the movement; alignment: what is taken out before (an arbitrary");
    std::puts(
        "heading of the reference is always taken out). ns: a call with one sample set, whole recording.\n");
    std::printf("%-18s %-28s %-10s %8s %8s %8s %8s\n", "recording", "estimator", "alignment", "total",
                "heading", "inclin.", "ns");
    for (const Recording& recording : recordings) {
        for (const EstimatorEntry& entry : allEstimators()) {
            if (!chosen(entry, argc, argv)) continue;
            const ErrorFigures e = compareWithTruth(recording, run(entry, recording), entry.alignment);
            const bool turned = entry.alignment == Alignment::None && !recording.headingKnown;
            std::printf("%-18s %-28s %-10s %8.2f %8.2f %8.2f %8.0f\n", recording.name.c_str(),
                        entry.name.c_str(), alignmentName(turned ? Alignment::Heading : entry.alignment),
                        e.total, e.heading, e.inclination, cost(entry, recording));
        }
    }
}

}  // namespace

int main(int argc, char** argv) try {
    printTable(argc, argv);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "bench_errors: %s\n", error.what());
    return 2;
}
