#include "cli/fleet/UnitColumns.h"

#include <Poco/Exception.h>

#include <algorithm>

#include "io/recording/RecordingReader.h"
#include "io/recording/Text.h"
#include "io/recording/TimeChoice.h"

namespace Kavelin::Cli {

namespace {

using RecordingIO::TableForm;
using Kind = TableForm::Time::Kind;

constexpr std::size_t kFewestTimes = 9;  // to say anything of their steps

}  // namespace

UnitColumns::UnitColumns(const std::string& columns, const RecordingIO::ReaderOptions& options)
    : options_(options), form_(RecordingIO::findForm({columns}, hints(false))) {
    form_.commaIsPoint = form_.separator != ',';  // a comma that separates nothing
    RecordingIO::chooseTime(form_, {}, hints(false));
    requirePlainTime();
}

RecordingIO::FormHints UnitColumns::hints(bool isWhole) const {
    return RecordingIO::hintsOf(options_, isWhole);
}

/// Counters depend on where they began and on what is lost between two batches.
void UnitColumns::requirePlainTime() const {
    if (form_.time && form_.time->kind != Kind::kCounter) return;
    std::vector<std::string> names;
    for (const RecordingIO::ColumnName& column : form_.columns)
        names.push_back(RecordingIO::printable(column.raw));
    throw Poco::DataFormatException(
        "rows in batches have a time each: name a column t, time or timestamp, with "
        "its unit, such as t [s]; the columns are " +
        RecordingIO::listed(names));
}

UnitTime UnitColumns::decideTime(const std::vector<std::string>& lines) const {
    const std::size_t column = form_.time->column;
    std::vector<std::string> timed;
    for (const std::string& line : lines) {
        const std::vector<std::string> cells = RecordingIO::splitCells(line, form_.separator);
        if (column < cells.size() && !RecordingIO::isMissing(cells[column]) && !cells[column].empty())
            timed.push_back(line);
    }
    TableForm form = form_;
    form.time.reset();
    RecordingIO::chooseTime(form, timed, hints(false));
    if (!form.time || form.time->column != column)
        throw Poco::DataFormatException("the time column '" +
                                        RecordingIO::printable(form_.columns[column].raw) +
                                        "' holds neither numbers nor dates");
    return {form.time->kind == Kind::kDate, form.time->unit};
}

bool UnitColumns::isUnitAssumed(const UnitTime& time) const {
    return !time.isDate && time.unit.empty() && form_.columns[form_.time->column].unit.empty() &&
           !options_.units.contains("t");
}

void UnitColumns::requireSeconds(const std::vector<double>& times) const {
    if (times.size() < kFewestTimes) return;
    const std::size_t column = form_.time->column;
    std::vector<std::string> lines;
    for (const double time : times) {
        std::string line(column, form_.separator);
        line += RecordingIO::exactText(time);
        line.append(form_.columns.size() - column - 1, form_.separator);
        lines.push_back(std::move(line));
    }
    TableForm form = form_;
    form.time.reset();
    RecordingIO::chooseTime(form, lines, hints(true));
    if (form.time && form.time->unit.empty()) return;
    throw Poco::DataFormatException(
        "the times in '" + RecordingIO::printable(form_.columns[column].raw) +
        "' do not look like seconds: name their unit in the column, such as t [ms]");
}

RecordingIO::Schema UnitColumns::schema(const UnitTime& time) const {
    TableForm form = form_;
    if (time.isDate) form.time->kind = Kind::kDate;
    form.time->unit = time.unit;
    RecordingIO::Schema schema = RecordingIO::understandTable(form, options_);
    if (!schema.sensorColumn) return schema;
    throw Poco::DataFormatException(
        "the column '" + RecordingIO::printable(schema.columnNames[*schema.sensorColumn]) +
        "' says which sensor a row is of: the rows of a unit are all of one, so leave "
        "it out");
}

}  // namespace Kavelin::Cli
