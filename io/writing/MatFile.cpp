#include "io/writing/MatFile.h"

#include <Poco/Exception.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>
#include <set>
#include <string_view>

#include "io/files/MatLibrary.h"
#include "io/writing/PartFile.h"

namespace Kavelin::RecordingIO {

namespace {

constexpr std::size_t kLongestName = 63;
constexpr std::string_view kWords[] = {
    "break",  "case", "catch",     "classdef", "continue",   "else",   "elseif", "end",    "for", "function",
    "global", "if",   "otherwise", "parfor",   "persistent", "return", "spmd",   "switch", "try", "while"};

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isOfName(char c) { return isLetter(c) || (c >= '0' && c <= '9') || c == '_'; }

/// An array in the order of MATLAB, column behind column.
struct Variable {
    std::string name;
    std::vector<std::size_t> extents;
    std::vector<double> values;

    std::size_t bytes() const { return values.size() * sizeof(double); }
};

Variable variableOf(const std::string& name, const CollectedArray& array, std::size_t rows) {
    Variable variable{name, {rows, array.size()}, std::vector<double>(array.values.size())};
    const bool isMatrix = array.rows > 1 && array.cols > 1;
    if (isMatrix) variable.extents = {array.rows, array.cols, rows};
    for (std::size_t row = 0; row < rows; ++row) {
        for (std::size_t element = 0; element < array.size(); ++element) {
            const std::size_t r = element / array.cols;
            const std::size_t c = element % array.cols;
            const std::size_t to = isMatrix ? r + array.rows * (c + array.cols * row) : row + rows * element;
            variable.values[to] = array.values[row * array.size() + element];
        }
    }
    return variable;
}

using File = std::unique_ptr<mat_t, decltype(&::Mat_Close)>;
using Entry = std::unique_ptr<matvar_t, decltype(&::Mat_VarFree)>;

bool write(const MatLibrary& library, mat_t* file, Variable& variable) {
    const Entry entry(library.makeVariable(variable.name.c_str(), MAT_C_DOUBLE, MAT_T_DOUBLE,
                                           static_cast<int>(variable.extents.size()), variable.extents.data(),
                                           variable.values.data(), MAT_F_DONT_COPY_DATA),
                      library.freeVariable);
    return entry && library.write(file, entry.get(), MAT_COMPRESSION_NONE) == 0;
}

bool isNext(const MatLibrary& library, mat_t* file, const Variable& variable) {
    const Entry entry(library.readNext(file), library.freeVariable);
    return entry && entry->name == variable.name &&
           std::equal(variable.extents.begin(), variable.extents.end(), entry->dims,
                      entry->dims + entry->rank) &&
           entry->nbytes == variable.bytes() &&
           (variable.bytes() == 0 || std::memcmp(entry->data, variable.values.data(), variable.bytes()) == 0);
}

}  // namespace

std::vector<std::string> matNames(const std::vector<std::string>& arrays) {
    std::vector<std::string> names;
    std::set<std::string> taken(std::begin(kWords), std::end(kWords));
    taken.insert("t");
    for (const std::string& array : arrays) {
        std::string name = array;
        std::replace_if(
            name.begin(), name.end(), [](char c) { return !isOfName(c); }, '_');
        if (name.empty() || !isLetter(name[0])) name.insert(0, "x");
        const std::string stem = name;
        for (int number = 2; !taken.insert(name).second; ++number) name = stem + "_" + std::to_string(number);
        if (name.size() > kLongestName)
            throw Poco::InvalidArgumentException("'" + array +
                                                 "': a name in MATLAB has at most 63 characters");
        names.push_back(name);
    }
    return names;
}

void writeMat(const CollectedTable& table, const std::string& path) {
    const MatLibrary& library = matLibrary();
    std::vector<std::string> names;
    for (const CollectedArray& array : table.arrays) names.push_back(array.name);
    names = matNames(names);
    const std::size_t rows = table.times.size();
    std::vector<Variable> variables = {variableOf("t", {"t", {}, 1, 1, table.times}, rows)};
    for (std::size_t i = 0; i < names.size(); ++i)
        variables.push_back(variableOf(names[i], table.arrays[i], rows));

    PartFile part(path);
    // Without a text of its own, the library writes the date.
    File file(library.create(part.name().c_str(), "MATLAB 5.0 MAT-file, written by kavelin", MAT_FT_MAT5),
              library.close);
    if (!file) part.fail("the file cannot be created");
    for (Variable& variable : variables)
        if (!write(library, file.get(), variable)) part.fail("libmatio cannot write '" + variable.name + "'");
    // The library does not notice a full disk: what was written is read again.
    file.reset();
    file.reset(library.open(part.name().c_str(), MAT_ACC_RDONLY));
    for (const Variable& variable : variables)
        if (!file || !isNext(library, file.get(), variable))
            part.fail("'" + variable.name + "' could not be written whole: is the disk full?");
    file.reset();
    part.complete();
}

}  // namespace Kavelin::RecordingIO
