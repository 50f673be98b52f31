#include "io/formats/SensorNames.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "io/recording/Text.h"

namespace Kavelin::RecordingIO {

namespace {

/// 'x' of "X", "x-axis", "X Axis" and "W Element"; 0 for any other name.
char axisOf(const ColumnName& column) {
    std::string_view key = column.key;
    for (const std::string_view word : {"axis", "element"}) {
        if (key.size() > 1 && key.ends_with(word)) key.remove_suffix(word.size());
    }
    return key.size() == 1 && key[0] >= 'w' && key[0] <= 'z' ? key[0] : '\0';
}

double numberIn(const std::vector<std::string>& cells, std::size_t column) {
    double value = std::numeric_limits<double>::quiet_NaN();
    if (column >= cells.size()) return value;
    std::string text = cells[column];
    std::ranges::replace(text, ',', '.');
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

}  // namespace

std::string stemOf(const std::string& file) {
    const std::string leaf = leafOf(file);
    return leaf.substr(0, leaf.rfind('.'));
}

bool beginsWithNames(const std::string& line, const std::vector<std::string>& names) {
    const std::vector<std::string> cells = splitCells(line, line.find(';') == std::string::npos ? ',' : ';');
    return cells.size() >= names.size() && std::equal(names.begin(), names.end(), cells.begin(),
                                                      [](const std::string& name, const std::string& cell) {
                                                          return cell.starts_with(name);
                                                      });
}

void nameAxes(TableForm& form, const std::string& quantity, const std::string& unit) {
    for (ColumnName& column : form.columns) {
        const char axis = axisOf(column);
        if (axis == '\0') continue;
        const std::string own = column.unit.empty() ? unit : column.unit == "a.u." ? "" : column.unit;
        column = ColumnName(column.raw,
                            quantity + " " + std::string(1, axis) + (own.empty() ? "" : " (" + own + ")"));
    }
}

std::string quantityOfPin(const std::string& pin) {
    return pin == "3a" ? "Accelerometer" : pin == "3g" ? "Gyroscope" : pin == "3m" ? "Magnetometer" : "Quat";
}

std::vector<std::string> wholePins(const TableForm& form) {
    std::vector<std::string> pins;
    for (const ColumnGroup& group :
         groupColumns(form.columns, std::vector<bool>(form.columns.size(), false))) {
        if (group.missing.empty()) pins.push_back(group.pin);
    }
    return pins;
}

bool hasPin(const TableForm& form, const std::string& pin) {
    const std::vector<std::string> pins = wholePins(form);
    return std::ranges::find(pins, pin) != pins.end();
}

bool hasLinearAcceleration(const TableForm& form) {
    return std::ranges::any_of(form.columns, &ColumnName::isLinearAcceleration);
}

double usualLength(const std::vector<std::string>& lines, const TableForm& form,
                   const std::vector<std::size_t>& columns) {
    std::vector<double> lengths;
    for (std::size_t i = form.firstRow - 1; i < lines.size(); ++i) {
        const std::vector<std::string> cells = splitCells(lines[i], form.separator);
        double sum = 0.0;
        for (const std::size_t column : columns) sum += std::pow(numberIn(cells, column), 2);
        if (std::isfinite(sum)) lengths.push_back(std::sqrt(sum));
    }
    if (lengths.empty()) return std::numeric_limits<double>::quiet_NaN();
    const auto middle = lengths.begin() + static_cast<std::ptrdiff_t>(lengths.size() / 2);
    std::ranges::nth_element(lengths, middle);
    return *middle;
}

bool areTogether(const std::vector<std::string>& files) {
    return std::ranges::all_of(
        files, [&](const std::string& file) { return folderOf(file) == folderOf(files.front()); });
}

}  // namespace Kavelin::RecordingIO
