#pragma once

#include <string>
#include <vector>

#include "io/formats/Format.h"

namespace Kavelin::RecordingIO {

/// "Gyroscope" of "exp1/Gyroscope.csv".
std::string stemOf(const std::string& file);

/// Whether a line begins with these names, each perhaps with a unit behind it, separated by commas, or by semicolons
/// as spreadsheets save it.
bool beginsWithNames(const std::string& line, const std::vector<std::string>& names);

/// Writes out the names of columns that name an axis only: "X (rad/s)", "x-axis (rad/s)" or "X Axis (a.u.)" in
/// the file of a gyroscope are "Gyroscope x (rad/s)", "Gyroscope x".
/// @param unit of those that say none; may be empty
void nameAxes(TableForm& form, const std::string& quantity, const std::string& unit = "");

/// "Accelerometer" of "3a", "Gyroscope", "Magnetometer", "Quat": a name that columns are understood by.
std::string quantityOfPin(const std::string& pin);

/// The pins of which a table has all columns, by their names.
std::vector<std::string> wholePins(const TableForm& form);
bool hasPin(const TableForm& form, const std::string& pin);

/// Whether a table has columns of an acceleration without gravity.
bool hasLinearAcceleration(const TableForm& form);

/// The usual length of the vectors that these three columns hold in a table's first rows; NaN where there are
/// none.
double usualLength(const std::vector<std::string>& lines, const TableForm& form,
                   const std::vector<std::size_t>& columns);

/// Whether files are in one and the same folder.
bool areTogether(const std::vector<std::string>& files);

}  // namespace Kavelin::RecordingIO
