#include "io/recording/TableForm.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <set>

#include "io/recording/ColumnMeaning.h"
#include "io/recording/LoggerNames.h"
#include "io/recording/TableLine.h"
#include "io/recording/Text.h"
#include "io/recording/Units.h"

namespace Kavelin::RecordingIO {

namespace {

const std::size_t kNone = std::string::npos;

/// A header that the lines may have, and what speaks for it.
struct Header {
    std::size_t line = kNone;  ///< index of the line with the names
    char separator = ',';
    bool merges = false;
    std::vector<ColumnName> columns;
    std::size_t known = 0;  ///< columns whose names say what they are
};

class FormFinder {
public:
    FormFinder(const std::vector<std::string>& lines, const FormHints& hints)
        : lines_(lines), hints_(hints) {}

    TableForm find() {
        findRows();
        chooseHeader();
        describeSeparator();
        takeKindsRow();
        takeUnitsRow();
        takeDevicesRow();
        takeDecimalComma();
        writeOutNames(form_);
        takeRate();
        return std::move(form_);
    }

private:
    /// The rate that the lines above the rows give; of several, as of other sensors, none.
    void takeRate() {
        for (std::size_t i = 0; i < firstRow_; ++i) {
            const double rate = rateIn(lines_[i]);
            if (form_.rate > 0.0 && rate > 0.0 && rate != form_.rate) {
                form_.whyNoTime =
                    fmt::format("The lines above it give two rates, {:g} and {:g} Hz", form_.rate, rate);
                form_.rate = 0.0;
                return;
            }
            if (rate > 0.0) form_.rate = rate;
        }
    }

    void findRows() {
        firstRow_ = lines_.size();
        const auto forced = hints_.dialect.headerLine;
        for (std::size_t i = forced.value_or(0); i < lines_.size(); ++i) {
            const std::string_view text = trimmed(lines_[i]);
            if (text.empty() || isComment(text) || isMetadata(text)) continue;
            if (!isRowOfNumbers(text) && text.find_first_not_of(",;\t ") != kNone) continue;
            firstRow_ = i;
            return;
        }
    }

    void chooseHeader() {
        if (hints_.dialect.headerLine) return chooseForcedHeader(*hints_.dialect.headerLine);
        Header best;
        bool any = false;
        for (std::size_t i = 0; i < firstRow_; ++i) {
            const std::string_view text = trimmed(lines_[i]);
            any = any || !text.empty();
            if (text.empty() || isComment(text)) continue;
            Header header = headerAt(i);
            const bool saysSomething = !isMetadata(text);
            if (header.known == 0 && !saysSomething) continue;
            const bool isFirst = best.line == kNone;
            if (isFirst || header.known > best.known) best = std::move(header);
        }
        if (best.line == kNone) return chooseWithoutHeader(any);
        accept(std::move(best));
    }

    void chooseForcedHeader(std::size_t number) {
        if (number > lines_.size())
            throw Poco::DataFormatException(fmt::format(
                "the dialect says that line {} is the header, but the file has {} lines up to its "
                "first rows",
                number, lines_.size()));
        if (number > 0) return accept(headerAt(number - 1));
        chooseWithoutHeader(true);
    }

    void accept(Header header) {
        form_.separator = header.separator;
        form_.mergesSeparators = header.merges;
        form_.columns = std::move(header.columns);
        form_.headerLine = header.line + 1;
        form_.firstRow = header.line + 2;
    }

    /// The names in the last comment, or no names at all and a mapping that does without.
    void chooseWithoutHeader(bool any) {
        if (firstRow_ == lines_.size()) {
            any = any || !lines_.empty();
            throw Poco::DataFormatException(any ? "no header: there are only comments and empty lines"
                                                : "the file is empty: there is no header and no row");
        }
        const Split row = numbersIn(lines_[firstRow_]);
        for (std::size_t i = firstRow_; i-- > 0;) {
            if (!isComment(trimmed(lines_[i]))) continue;
            const std::string names = namesInFormat(lines_[i]);
            Header header = headerOf(names.empty() ? withoutCommentMark(lines_[i]) : std::string_view(names));
            if (header.columns.size() != row.cells || header.known == 0) break;
            header.line = i;
            accept(std::move(header));
            form_.firstRow = firstRow_ + 1;
            return;
        }
        if (!mapsByNumber()) {
            throw Poco::DataFormatException(
                "no header: the first line holds numbers, not column names; "
                "a recording begins with a line such as t,ax,ay,az,gx,gy,gz,mx,my,mz. Say what the columns "
                "are "
                "with --map \"t = #1; 3a = #2, #3, #4\", or the property Mapping",
                static_cast<int>(firstRow_ + 1));
        }
        for (std::size_t i = 0; i < row.cells; ++i) form_.columns.emplace_back(fmt::format("#{}", i + 1));
        form_.separator = row.separator;
        form_.mergesSeparators = row.merges;
        form_.headerLine = 0;
        form_.firstRow = firstRow_ + 1;
        form_.decisions.emplace_back("no header");
    }

    /// Whether a mapping names all its columns by their numbers.
    bool mapsByNumber() const {
        const std::vector<MappingEntry> entries = parseMapping(hints_.mapping);
        return !entries.empty() && std::ranges::all_of(entries, [](const MappingEntry& entry) {
            return std::ranges::all_of(entry.columns, [](const std::string& name) {
                return name.size() > 1 && name[0] == '#' &&
                       name.find_first_not_of("0123456789", 1) == std::string::npos;
            });
        });
    }

    /// The header that a line makes, alone or with groups of columns in the line above.
    Header headerAt(std::size_t index) const {
        Header header = headerOf(lines_[index]);
        header.line = index;
        if (index == 0) return header;
        Header grouped = header;
        nameByGroups(grouped, cellsOf(lines_[index - 1], header.separator, header.merges));
        return grouped.known > header.known ? grouped : header;
    }

    Header headerOf(std::string_view line) const {
        Header header;
        header.separator = hints_.dialect.separator.value_or(separatorOf(line, header.merges));
        for (const std::string& cell : cellsOf(line, header.separator, header.merges))
            header.columns.emplace_back(cell);
        header.known = knownOf(header.columns);
        return header;
    }

    /// The separator that gives most names; blanks only where nothing else gives any, and the rows agree.
    char separatorOf(std::string_view line, bool& merges) const {
        char best = ',';
        std::size_t most = 1;
        for (const char candidate : {'\t', ';', ','}) {
            const std::size_t count = splitCells(line, candidate).size();
            if (count <= most) continue;
            most = count;
            best = candidate;
        }
        if (most > 1 || firstRow_ == lines_.size()) return best;
        const std::string& row = lines_[firstRow_];
        // Each single blank separates, so that empty cells can be: unless that does not fit the header.
        const std::size_t names = cellsOf(trimmed(line), kBlank, true).size();
        if (names < 2) return best;
        merges = splitCells(row, kBlank).size() != names;
        if (merges && cellsOf(row, kBlank, true).size() != names) return best;
        return kBlank;
    }

    std::size_t knownOf(const std::vector<ColumnName>& columns) const {
        std::vector<bool> isKnown(columns.size(), false);
        for (const ColumnGroup& group : groupColumns(columns, isKnown))
            for (const std::size_t column : group.columns) isKnown[column] = true;
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const ColumnName& column = columns[i];
            isKnown[i] = isKnown[i] || column.isTime() || column.isCounter() ||
                         column.isLinearAcceleration() || meaningOf(column.name);
        }
        auto known = static_cast<std::size_t>(std::ranges::count(isKnown, true));
        if (known == 0 || !hints_.mapping.empty()) known += mappedIn(columns);
        return known;
    }

    std::size_t mappedIn(const std::vector<ColumnName>& columns) const {
        std::size_t count = 0;
        for (const MappingEntry& entry : parseMapping(hints_.mapping)) {
            for (const std::string& name : entry.columns) {
                const bool isThere = std::ranges::any_of(columns, [&](const ColumnName& column) {
                    return column.raw == name || equalsIgnoringCase(column.name, name);
                });
                if (isThere) ++count;
            }
        }
        return count;
    }

    /// "Accelerometer,,,Gyroscope" above ",X,Y,Z,X": a group goes on until the next one begins.
    static void nameByGroups(Header& header, const std::vector<std::string>& groups) {
        std::string group;
        for (std::size_t i = 0; i < header.columns.size(); ++i) {
            if (i < groups.size() && !groups[i].empty()) group = groups[i];
            if (group.empty()) continue;
            const std::string axis = header.columns[i].raw;
            header.columns[i] = ColumnName(axis.empty() ? group : group + " " + axis, group + " " + axis);
        }
        std::vector<ColumnGroup> found =
            groupColumns(header.columns, std::vector<bool>(header.columns.size(), false));
        header.known = 0;
        for (const ColumnGroup& one : found) header.known += one.columns.size();
        for (const ColumnName& column : header.columns) header.known += column.isTime() ? 1 : 0;
    }

    void describeSeparator() {
        if (form_.separator != ',') form_.decisions.emplace_back(separatorName(form_.separator));
    }

    /// A line below the names that says which values are calibrated, and which raw: of two columns of one name, that
    /// of raw values is left out.
    void takeKindsRow() {
        if (form_.headerLine == 0 || form_.firstRow - 1 >= firstRow_) return;
        const std::vector<std::string> kinds =
            cellsOf(lines_[form_.firstRow - 1], form_.separator, form_.mergesSeparators);
        const auto filled =
            std::ranges::count_if(kinds, [](const std::string& kind) { return !kind.empty(); });
        const auto known = std::ranges::count_if(
            kinds, [](const std::string& kind) { return kind == "CAL" || kind == "RAW"; });
        if (known == 0 || known < filled || kinds.size() > form_.columns.size() + 1) return;
        for (std::size_t i = 0; i < form_.columns.size(); ++i) {
            for (std::size_t j = 0; j < form_.columns.size() && i < kinds.size() && kinds[i] == "RAW"; ++j) {
                const bool isTwin =
                    j < kinds.size() && kinds[j] == "CAL" && form_.columns[j].raw == form_.columns[i].raw;
                if (isTwin) form_.columns[i] = ColumnName("");
            }
        }
        ++form_.firstRow;
    }

    /// A line below the names that holds only units.
    void takeUnitsRow() {
        const std::size_t index = form_.firstRow - 1;
        if (form_.headerLine == 0 || index >= firstRow_) return;
        const std::vector<std::string> cells =
            cellsOf(lines_[index], form_.separator, form_.mergesSeparators);
        std::size_t units = 0;
        std::size_t filled = 0;
        for (const std::string& cell : cells) {
            if (cell.empty()) continue;
            ++filled;
            units += isUnit(cell) ? 1 : 0;
        }
        if (units == 0 || 3 * units < filled || cells.size() > form_.columns.size() + 1) return;
        for (std::size_t i = 0; i < std::min(cells.size(), form_.columns.size()); ++i) {
            const std::string unit(trimmed(withoutBrackets(cells[i])));
            if (form_.columns[i].unit.empty()) form_.columns[i].unit = unit;
        }
        form_.firstRow = index + 2;
        form_.decisions.push_back(fmt::format("units in line {}", index + 1));
    }

    static std::string_view withoutBrackets(std::string_view text) {
        const bool isBracketed = text.size() > 1 && (text.front() == '(' || text.front() == '[') &&
                                 (text.back() == ')' || text.back() == ']');
        return isBracketed ? text.substr(1, text.size() - 2) : text;
    }

    static bool isUnit(std::string_view cell) {
        for (const Quantity quantity : {Quantity::kTime, Quantity::kAcceleration, Quantity::kRate,
                                        Quantity::kField, Quantity::kAngle}) {
            if (findUnit(quantity, withoutBrackets(cell))) return true;
        }
        return false;
    }

    bool hasTwins() const {
        std::set<std::string> names;
        return !std::ranges::all_of(form_.columns, [&](const ColumnName& column) {
            return column.raw.empty() || names.insert(column.raw).second;
        });
    }

    /// A line above the names that says which device each column is of.
    void takeDevicesRow() {
        if (form_.headerLine < 2) return;
        const std::string& line = lines_[form_.headerLine - 2];
        if (isComment(trimmed(line)) || isMetadata(line)) return;
        std::vector<std::string> cells = cellsOf(line, form_.separator, form_.mergesSeparators);
        // Of cells that were merged, only the first has the name.
        if (hasTwins()) cells.resize(form_.columns.size());
        for (std::size_t i = 1; i < cells.size() && hasTwins(); ++i)
            if (cells[i].empty()) cells[i] = cells[i - 1];
        const auto filled = static_cast<std::size_t>(
            std::ranges::count_if(cells, [](const std::string& cell) { return !cell.empty(); }));
        if (cells.size() < form_.columns.size() || 2 * filled < cells.size()) return;
        const std::set<std::string> devices(cells.begin(), cells.end());
        if (2 * devices.size() > filled) return;
        for (std::size_t i = 0; i < form_.columns.size(); ++i) form_.columns[i].sensor = cells[i];
        form_.decisions.push_back(fmt::format("devices in line {}", form_.headerLine - 1));
    }

    /// "1,234", which may be a thousand and more, or one and a bit; "0,234" and "9,81" are no thousands.
    static bool mayBeThousands(std::string_view cell) {
        cell.remove_prefix(cell.starts_with('-') ? 1 : 0);
        return !cell.starts_with('0') && cell.size() == cell.find(',') + 4;
    }

    /// Where cells are not separated by commas, or stand in quotes, a comma in a number is a decimal one.
    void takeDecimalComma() {
        for (std::size_t i = firstRow_; i < lines_.size(); ++i) {
            if (form_.separator == ',' && lines_[i].find('"') == std::string::npos) continue;
            for (const std::string& cell : cellsOf(lines_[i], form_.separator, form_.mergesSeparators)) {
                if (cell.find(',') == std::string::npos || !isNumber(cell)) continue;
                if (form_.separator != ',' || !mayBeThousands(cell)) form_.commaIsPoint = true;
            }
        }
        if (hints_.dialect.commaIsPoint) form_.commaIsPoint = *hints_.dialect.commaIsPoint;
        if (form_.commaIsPoint) form_.decisions.emplace_back("decimal comma");
    }

    const std::vector<std::string>& lines_;
    const FormHints& hints_;
    std::size_t firstRow_ = 0;  // index of the first line of numbers
    TableForm form_;
};

}  // namespace

Dialect parseDialect(std::string_view text) {
    Dialect dialect;
    for (const std::string& entry : namesIn(text)) {
        const std::size_t equals = entry.find('=');
        const std::string key(trimmed(std::string_view(entry).substr(0, std::min(equals, entry.size()))));
        const std::string value(
            equals == std::string::npos ? "" : trimmed(std::string_view(entry).substr(equals + 1)));
        const auto separator = std::ranges::find(kSeparators, value, &NamedSeparator::name);
        if (key == "separator" && separator != std::end(kSeparators)) {
            dialect.separator = separator->separator;
        } else if (key == "decimal" && (value == "comma" || value == "point")) {
            dialect.commaIsPoint = value == "comma";
        } else if (key == "header" && !value.empty() &&
                   value.find_first_not_of("0123456789") == std::string::npos && value.size() < 7) {
            dialect.headerLine = std::stoul(value);
        } else if (key == "counter" && !value.empty()) {
            dialect.counter = value;
        } else {
            throw Poco::DataFormatException(
                "'" + entry +
                "' is not a dialect: expected are separator=comma|semicolon|tab|blank, decimal=point|comma, "
                "header=LINE (0: none), counter=COLUMN, with commas between them");
        }
    }
    return dialect;
}

TableForm findForm(const std::vector<std::string>& lines, const FormHints& hints) {
    return FormFinder(lines, hints).find();
}

TableForm formOfHeader(std::string_view line) {
    TableForm form;
    std::size_t most = 1;
    for (const char candidate : {'\t', ';', ','}) {
        const std::size_t count = splitCells(line, candidate).size();
        if (count <= most) continue;
        most = count;
        form.separator = candidate;
    }
    for (const std::string& cell : splitCells(line, form.separator)) form.columns.emplace_back(cell);
    return form;
}

bool isWholeHeader(std::string_view line) {
    const std::vector<ColumnName> columns = formOfHeader(line).columns;
    const std::vector<ColumnGroup> groups = groupColumns(columns, std::vector<bool>(columns.size(), false));
    return std::ranges::any_of(columns, &ColumnName::isTime) &&
           std::ranges::any_of(groups, [](const ColumnGroup& group) { return group.missing.empty(); });
}

}  // namespace Kavelin::RecordingIO
