#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "io/recording/ColumnNames.h"

namespace Kavelin::RecordingIO {

/// The columns that make up a pin, found by what the words of their names mean: "gyro_rad[0]", "imu_Accel_X".
struct MeantColumns {
    static constexpr std::size_t kNoColumn = static_cast<std::size_t>(-1);

    std::vector<std::size_t> columns;  ///< an index an element; kNoColumn where there is none
    std::string unit;                  ///< as the names tell it; empty: they do not

    bool areComplete() const;
};

/// Finds the columns of pin "3a", "3g", "3m" or "quat"; of several for an element the first.
/// @param sensor whose columns; empty: of any
/// @param used columns to be passed over; empty: none
MeantColumns meantColumns(const std::vector<ColumnName>& columns, const std::string& pin,
                          const std::string& sensor, const std::vector<bool>& used);

/// The sensors that the columns' names tell apart, each once, in the order of the columns.
std::vector<std::string> sensorsOf(const std::vector<ColumnName>& columns);

/// "thigh_acc_x, shank_acc_x": gives the columns the sensors that the words before the quantity tell apart, where two
/// of them or more have a whole accelerometer or gyroscope.
void nameSensors(std::vector<ColumnName>& columns);

}  // namespace Kavelin::RecordingIO
