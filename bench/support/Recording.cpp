#include "bench/support/Recording.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace Kavelin::Bench {

namespace fs = std::filesystem;

namespace {

using Table = std::vector<std::vector<double>>;

std::vector<std::string> splitCells(const std::string& line) {
    std::vector<std::string> cells;
    std::istringstream stream(line);
    for (std::string cell; std::getline(stream, cell, ',');) cells.push_back(cell);
    return cells;
}

double toNumber(const std::string& cell) {
    return cell.empty() ? std::nan("") : std::strtod(cell.c_str(), nullptr);
}

// The named columns of a file, row by row.
Table readColumns(const fs::path& file, const std::vector<std::string>& names) {
    std::ifstream stream(file);
    std::string line;
    if (!stream || !std::getline(stream, line)) throw std::runtime_error("Cannot read " + file.string());
    const std::vector<std::string> header = splitCells(line);
    std::vector<std::size_t> columns;
    for (const std::string& name : names) {
        const auto at = std::find(header.begin(), header.end(), name);
        if (at == header.end()) throw std::runtime_error(file.string() + " has no column " + name);
        columns.push_back(static_cast<std::size_t>(at - header.begin()));
    }
    Table table;
    while (std::getline(stream, line)) {
        const std::vector<std::string> cells = splitCells(line);
        std::vector<double> row;
        for (const std::size_t c : columns)
            row.push_back(c < cells.size() ? toNumber(cells[c]) : std::nan(""));
        table.push_back(row);
    }
    return table;
}

void addSamples(Recording& recording, const fs::path& file) {
    for (const auto& r : readColumns(file, {"t", "ax", "ay", "az", "gx", "gy", "gz", "mx", "my", "mz"})) {
        recording.samples.push_back({r[0], {r[1], r[2], r[3]}, {r[4], r[5], r[6]}, {r[7], r[8], r[9]}});
    }
}

void addTruth(Recording& recording, const fs::path& file) {
    for (const auto& r : readColumns(file, {"t", "qw", "qx", "qy", "qz"})) {
        const Eigen::Quaterniond q(r[1], r[2], r[3], r[4]);
        if (q.coeffs().allFinite()) recording.truth.push_back({r[0], q.normalized()});
    }
}

}  // namespace

bool Recording::counts(double t) const {
    return movement.empty() || std::any_of(movement.begin(), movement.end(), [t](const auto& interval) {
               return t >= interval.first && t < interval.second;
           });
}

Recording loadRecording(const fs::path& folder) {
    Recording recording;
    recording.name = folder.filename().string();
    const bool single = fs::exists(folder / "recording.csv");
    recording.headingKnown = single;
    addSamples(recording, folder / (single ? "recording.csv" : "imu.csv"));
    addTruth(recording, folder / (single ? "recording.csv" : "reference.csv"));
    if (fs::exists(folder / "movement.csv")) {
        for (const auto& r : readColumns(folder / "movement.csv", {"t_start", "t_end"})) {
            recording.movement.emplace_back(r[0], r[1]);
        }
    }
    return recording;
}

std::vector<fs::path> findRecordings(const fs::path& root) {
    std::vector<fs::path> found;
    for (const auto& entry : fs::directory_iterator(root)) {
        if (fs::exists(entry.path() / "movement.csv") || fs::exists(entry.path() / "reference.csv")) {
            found.push_back(entry.path());
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

}  // namespace Kavelin::Bench
