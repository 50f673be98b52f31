#pragma once

#include <string>
#include <vector>

#include "io/files/MatContents.h"
#include "io/formats/Format.h"

namespace Kavelin::RecordingIO {

/// A table of arrays that a format puts together, column by column.
class MatTable {
public:
    /// @param raw what the file calls the column  @param meaning as ColumnName takes it
    void add(const std::string& raw, const std::string& meaning, std::vector<double> values);
    void say(std::string decision) { table_.form.decisions.push_back(std::move(decision)); }
    TableForm& form() { return table_.form; }
    bool has(const std::string& raw) const;

    /// A table for each sensor, of its samples only, where the times of all together run backwards: an array that
    /// was put together of several streams. Otherwise the table itself.
    std::vector<MatTable> perSensor() &&;

    /// The table, its time found as a table of text's is; columns that are longer are cut to the shortest.
    TablePlan plan(const Sighting& sighting, const std::string& file) &&;

private:
    bool runsBackwards(std::size_t time) const;
    MatTable samplesOf(const ColumnGroup& group, std::size_t time) const;
    void takeDays();

    ArrayTable table_;
};

/// Element i of every sample of an array, whose samples are its columns or its rows.
std::vector<double> elementOf(const MatArray& array, std::size_t i, bool samplesAreColumns);

}  // namespace Kavelin::RecordingIO
