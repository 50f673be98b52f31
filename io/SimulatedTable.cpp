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

void vector(ResultFile& file, const Vector3& v, double steps) {
    for (int axis = 0; axis < 3; ++axis) {
        file.separator();
        file.number(rounded(v[axis], steps));
    }
}

}  // namespace

std::uint64_t writeSimulation(const SimulationOptions& options, bool truth, ResultFile& file,
                              bool (*isStopped)()) {
    Simulator simulator(options);
    file.header(truth ? "t,ax,ay,az,gx,gy,gz,mx,my,mz,qw,qx,qy,qz" : "t,ax,ay,az,gx,gy,gz,mx,my,mz");
    SimulatedRow row;
    while (!(isStopped && isStopped()) && simulator.next(row)) {
        if (row.isLost) continue;
        file.number(rounded(row.t, kTimeSteps));
        vector(file, row.acceleration, kAccelerationSteps);
        vector(file, row.rate, kRateSteps);
        if (row.hasField) {
            vector(file, row.field, kFieldSteps);
        } else {
            file.text(",,,");
        }
        for (int i = 0; truth && i < 4; ++i) {
            file.separator();
            file.number(rounded(row.attitude[i], kAttitudeSteps));
        }
        file.endRow();
    }
    return file.rows();
}

}  // namespace Kavelin::RecordingIO
