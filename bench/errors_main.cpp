// Prints the orientation error of every estimator on every recording, and what a sample costs.
//
//   bench_errors [NAME]...      estimators whose name contains one of the names; all without
//
// Recordings with a reference are taken from the folder in KAVELIN_DATA; simulated ones are always there.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <limits>
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

// ns of processor time a sample, the least of several runs.
double cost(const EstimatorEntry& entry, const Recording& recording) {
    std::clock_t least = std::numeric_limits<std::clock_t>::max();
    for (int i = 0; i < 5; ++i) {
        const auto estimator = entry.make();
        const std::clock_t begin = std::clock();
        for (const Sample& sample : recording.samples) static_cast<void>(estimator->step(sample));
        least = std::min(least, std::clock() - begin);
    }
    return 1e9 * static_cast<double>(least) / CLOCKS_PER_SEC / static_cast<double>(recording.samples.size());
}

// What is taken out before the comparison, in a word.
const char* alignedBy(Alignment alignment) {
    if (alignment == Alignment::kStart) return "start";
    return alignment == Alignment::kHeading ? "heading" : "none";
}

bool chosen(const EstimatorEntry& entry, int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (entry.name.find(argv[i]) != std::string::npos) return true;
    }
    return argc < 2;
}

void printRow(const EstimatorEntry& entry, const Recording& recording) {
    const std::vector<Pair> pairs = pairUp(recording, run(entry, recording));
    const Alignment alignment = appliedAlignment(recording, entry.alignment);
    const ErrorFigures e = errorsOf(recording, pairs, alignment);
    std::printf("%-18s %-28s %-8s ", recording.name.c_str(), entry.name.c_str(), alignedBy(alignment));
    if (e.count > 0) {
        std::printf("%8.2f %8.2f %8.2f", e.total, e.heading, e.inclination);
    } else {
        std::printf("%8s %8s %8s", "none", "-", "-");
    }
    const double astray = lastTimeAstray(pairs, alignment);
    if (alignment == Alignment::kHeading || e.count == 0) {
        std::printf(" %8s", "-");
    } else if (astray > 0.0 && astray == pairs.back().t) {
        std::printf(" %8s", "never");
    } else {
        std::printf(" %8.0f", astray);
    }
    std::printf(" %8.0f\n", cost(entry, recording));
}

void printTable(int argc, char** argv) {
    const std::vector<Recording> recordings = loadRecordings();
    std::puts(
        "RMS error in degrees over the movement. Aligned by: what is taken out before. none; heading: the "
        "one turn");
    std::puts(
        "about the vertical that fits best (the estimator's or the reference's heading is arbitrary); start: "
        "the");
    std::puts(
        "rotation at the first output with a reference (the estimator is relative to its start). 3 deg: the "
        "time in s");
    std::puts("from which the total error stays below 3 degrees. ns: processor time of one sample set.\n");
    std::printf("%-18s %-28s %-8s %8s %8s %8s %8s %8s\n", "recording", "estimator", "aligned", "total",
                "heading", "inclin.", "3 deg", "ns");
    for (const Recording& recording : recordings) {
        for (const EstimatorEntry& entry : allEstimators()) {
            if (chosen(entry, argc, argv)) printRow(entry, recording);
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
