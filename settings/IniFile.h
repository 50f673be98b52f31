#pragma once

#include <Kavelin/Typed/Matrix.h>

#include <iosfwd>
#include <string>
#include <vector>

namespace Kavelin::OrientationInternal {

using Core::Matrix;

/// Reads a settings file (".par") into memory and answers lookups by section and name. Never writes.
///
/// The grammar, line by line; line ends are LF, CR LF or CR, and "blank" is any of blank, tab, CR, LF:
///  - a line of blanks only, and a line that begins with "//": skipped; a later "//" belongs to the value;
///  - `[name]`: opens a section; a second one of the same name is a section of its own, hidden by the first;
///  - `**name = n`: a block; the n lines that follow, whatever they hold, are its value, each ended by "\n".
///    An n that is not a number or below 0 counts as 0; one beyond the end of the file takes all lines left;
///  - `name = value`: an entry, both sides trimmed, cut at the first "="; a leading "*" belongs to the name;
///  - a line without "=": skipped. An entry or block before the first section belongs to none and is dropped.
///
/// A block's name is stored without its "**", and found with or without it; a name with "**" finds blocks
/// only. Of equal names in a section the first counts. A UTF-8 byte order mark at the start is skipped.
class IniFile {
public:
    /// Keeps the file's name; reads nothing yet.
    /// @param mode is kept for callers that hand one on, and has no effect.
    explicit IniFile(std::string path, bool mode = true);
    virtual ~IniFile() = default;

    /// Opens the file and parses it.  @return false when it cannot be opened or read (a folder, for one);
    /// what was read before then stays.  [any thread, one at a time]
    bool read();

    /// Replaces the contents by what the stream holds up to its end.
    void parse(std::istream& input);

    /// Index of the first section of this exact name, -1 when there is none.
    int findKey(const std::string& section) const;

    /// Index of the first entry of this exact name in the section of this index, -1 when there is none.
    int findValue(int section, const std::string& name) const;

    /// Text of an entry. When it is missing, prints what and where on standard output
    /// and returns an empty text.
    std::string getValue(const std::string& section, const std::string& name) const;

    /// Number that an entry's text begins with; 0 when the entry is missing (printed) or does not begin
    /// with a number.
    double getDouble(const std::string& section, const std::string& name) const;

    /// Matrix of an entry's text: row count, column count, then the elements row by row, apart by blanks or
    /// lines. What follows the last element is ignored. From the first element that is missing or not a
    /// number, all are 0.
    /// @return 0x0 when the entry is missing (printed), or a dimension is missing, not a whole number,
    /// or below 0.
    /// @throws std::bad_alloc for more elements than the largest int, and for more than 16,777,216 that the
    /// text does not hold, so that a short text cannot ask for gigabytes.
    Matrix getMatrix(const std::string& section, const std::string& name) const;

    const std::string& path() const { return path_; }

private:
    struct Section {
        std::string name;
        std::vector<std::string> valueNames;  // index for index with `values`, in file order
        std::vector<std::string> values;
        std::vector<bool> isBlock;
    };

    void parseLine(const std::string& line, std::istream& input);
    void add(const std::string& name, std::string value, bool isBlock);

    std::string path_;
    std::vector<Section> keys_;
};

}  // namespace Kavelin::OrientationInternal
