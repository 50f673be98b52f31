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
Eigen::Matrix<double, kSize, 1> rounded(Eigen::Matrix<double, kSize, 1> values, double steps) {
    for (double& value : values) value = rounded(value, steps);
    return values;
}

/// Goes through the rows, with their values rounded.
template <class Take>
void eachRow(Simulator& simulator, const std::function<bool()>& isStopped, Take take) {
    SimulatedRow row;
    while (!(isStopped && isStopped()) && simulator.next(row)) {
        if (row.isLost) continue;
        row.t = rounded(row.t, kTimeSteps);
        row.acceleration = rounded<3>(row.acceleration, kAccelerationSteps);
        row.rate = rounded<3>(row.rate, kRateSteps);
        if (row.hasField) row.field = rounded<3>(row.field, kFieldSteps);
        row.attitude = rounded<4>(row.attitude, kAttitudeSteps);
        take(row);
    }
}

const char* headerOf(bool truth) {
    return truth ? "t,ax,ay,az,gx,gy,gz,mx,my,mz,qw,qx,qy,qz" : "t,ax,ay,az,gx,gy,gz,mx,my,mz";
}

}  // namespace

std::uint64_t writeSimulation(const SimulationOptions& options, bool truth, ResultFile& file,
                              const std::function<bool()>& isStopped) {
    Simulator simulator(options);
    file.header(headerOf(truth));
    eachRow(simulator, isStopped, [&](const SimulatedRow& row) {
        file.number(row.t);
        file.cells(row.acceleration.data(), 3);
        file.cells(row.rate.data(), 3);
        if (row.hasField) {
            file.cells(row.field.data(), 3);
        } else {
            file.emptyCells(3);
        }
        if (truth) file.cells(row.attitude.data(), 4);
        file.endRow();
    });
    return file.rows();
}

ArrayTable simulate(const SimulationOptions& options, bool truth, const std::function<bool()>& isStopped) {
    Simulator simulator(options);
    ArrayTable table;
    table.form = formOfHeader(headerOf(truth));
    table.columns.resize(table.form.columns.size());
    eachRow(simulator, isStopped, [&](const SimulatedRow& row) {
        std::size_t column = 0;
        const auto add = [&](double value) { table.columns[column++].push_back(value); };
        add(row.t);
        for (const double value : row.acceleration) add(value);
        for (const double value : row.rate) add(value);
        for (const double value : row.field) add(row.hasField ? value : std::nan(""));
        if (!truth) return;
        for (const double value : row.attitude) add(value);
    });
    return table;
}

}  // namespace Kavelin::RecordingIO
