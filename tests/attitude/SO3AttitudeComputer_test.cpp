#include "attitude/so3/SO3AttitudeComputer.h"

#include <cstdlib>

#include "support/Estimators.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Eigen::Vector3d;

// Rows of numbers below a header line; "nan" is read as such.
std::vector<std::vector<double>> readTable(const std::filesystem::path& file) {
    std::ifstream in(file);
    std::vector<std::vector<double>> rows;
    std::string line, cell;
    std::getline(in, line);
    while (std::getline(in, line)) {
        std::istringstream cells(line);
        for (rows.emplace_back(); std::getline(cells, cell, ',');) rows.back().push_back(std::stod(cell));
    }
    return rows;
}

// Recordings with gaps, lost fields, magnets on the sensor and in the room, with the output of another
// implementation of the same equations at every tenth row.
TEST(SO3AttitudeComputer, AgreesWithAnotherImplementation) {
    const char* root = std::getenv("KAVELIN_DATA");
    const std::filesystem::path folder = std::filesystem::path(root ? root : "") / "so3";
    if (!root || !std::filesystem::is_directory(folder)) {
        GTEST_SKIP() << "skipped: KAVELIN_DATA names no folder with recordings in so3/";
    }
    for (const char* name : {"gaps", "iron", "iron_from_start", "combined", "nan_samples", "magnets"}) {
        const auto expected = readTable(folder / (std::string(name) + ".expected.csv"));
        ASSERT_FALSE(expected.empty()) << name;
        ErrorState estimator;
        std::size_t next = 0, row = 0;
        double angle = 0, others = 0;  // degrees; largest difference of all other outputs
        for (const std::vector<double>& s : readTable(folder / (std::string(name) + ".csv"))) {
            estimator.advance(s[0], {s[1], s[2], s[3]}, {s[4], s[5], s[6]}, {s[7], s[8], s[9]});
            if (row++ % 10 != 0 || next == expected.size()) continue;
            const std::vector<double>& e = expected[next++];
            angle = std::max(angle, errorDegrees(estimator.attitude(), {e[1], e[2], e[3], e[4]}));
            Eigen::Matrix<double, 16, 1> is;
            is << estimator.tiltDeviation(), estimator.headingDeviation(), estimator.bias(),
                estimator.hardIron(), estimator.atRest(), estimator.fieldDisturbed(), estimator.accBias(),
                estimator.linearAcceleration();
            others = std::max(others, (is - Eigen::Matrix<double, 16, 1>::Map(&e[5])).cwiseAbs().maxCoeff());
        }
        EXPECT_EQ(next, expected.size()) << name;
        EXPECT_LT(angle, 1e-6) << name;
        EXPECT_LT(others, 1e-7) << name;
    }
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
