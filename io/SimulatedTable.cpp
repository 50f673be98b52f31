#include "io/SimulatedTable.h"

#include <cmath>

namespace Kavelin::RecordingIO {

namespace {

// Steps to which a column is rounded, as steps to one unit.
const double kTimeSteps = 1e6;
const double kAccelerationSteps = 1e4;
const double kRateSteps = 1e5;
const double kFieldSteps = 1e3;
const double kAttitudeSteps = 1e6;

double rounded(double value, double steps) {
    const double whole = std::floor(value * steps + 0.5);
    return whole == 0.0 ? 0.0 : whole / steps;  // no -0
}

template <int kSize>
void cells(ResultFile& file, Eigen::Matrix<double, kSize, 1> values, double steps) {
    for (double& value : values) value = rounded(value, steps);
    file.cells(values.data(), kSize);
}

}  // namespace

std::uint64_t writeSimulation(const SimulationOptions& options, bool truth, ResultFile& file,
                              const std::function<bool()>& isStopped) {
    Simulator simulator(options);
    file.header(truth ? "t,ax,ay,az,gx,gy,gz,mx,my,mz,qw,qx,qy,qz" : "t,ax,ay,az,gx,gy,gz,mx,my,mz");
    SimulatedRow row;
    while (!(isStopped && isStopped()) && simulator.next(row)) {
        if (row.isLost) continue;
        file.number(rounded(row.t, kTimeSteps));
        cells<3>(file, row.acceleration, kAccelerationSteps);
        cells<3>(file, row.rate, kRateSteps);
        if (row.hasField) {
            cells<3>(file, row.field, kFieldSteps);
        } else {
            file.emptyCells(3);
        }
        if (truth) cells<4>(file, row.attitude, kAttitudeSteps);
        file.endRow();
    }
    return file.rows();
}

}  // namespace Kavelin::RecordingIO
