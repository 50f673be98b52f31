#include "io/writing/NumpyFile.h"

#include <fmt/format.h>
#include <zip.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include "io/recording/TableWriter.h"
#include "io/writing/PartFile.h"

namespace Kavelin::RecordingIO {

namespace {

const char* const kDouble = std::endian::native == std::endian::little ? "<f8" : ">f8";
constexpr std::size_t kAlignment = 64;  // of the data, from the begin of the file

/// A text as a literal of Python.
std::string literal(const std::string& text) {
    std::string out = "'";
    for (const char c : text) {
        if (static_cast<unsigned char>(c) < 0x20)
            out += fmt::format("\\x{:02x}", static_cast<unsigned>(c));
        else if (c == '\'' || c == '\\')
            out += {'\\', c};
        else
            out += c;
    }
    return out + "'";
}

/// What stands before the numbers.
/// @param shape as a tuple of Python
std::string npyHeader(const std::string& type, const std::string& shape) {
    std::string text = fmt::format("{{'descr': {}, 'fortran_order': False, 'shape': {}, }}", type, shape);
    const bool isAscii = std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
    // Version 1 has two bytes for the length, version 2 four, version 3 is in UTF-8 as well.
    const int version = !isAscii ? 3 : text.size() + 2 * kAlignment > 0xffff ? 2 : 1;
    const std::size_t begin = version == 1 ? 10 : 12;
    const std::size_t whole = (begin + text.size() + kAlignment) / kAlignment * kAlignment;
    text.append(whole - begin - text.size() - 1, ' ');
    text += '\n';
    std::string out = "\x93NUMPY";
    out += {static_cast<char>(version), '\0'};
    for (std::size_t byte = 0; byte < begin - 8; ++byte)
        out += static_cast<char>(text.size() >> (8 * byte) & 0xff);
    return out + text;
}

std::string tuple(std::size_t rows, const CollectedArray& array) {
    if (array.size() == 1) return fmt::format("({},)", rows);
    if (array.rows == 1 || array.cols == 1) return fmt::format("({}, {})", rows, array.size());
    return fmt::format("({}, {}, {})", rows, array.rows, array.cols);
}

std::string recordType(const CollectedTable& table) {
    std::string type = fmt::format("[('t', '{}')", kDouble);
    for (const CollectedArray& array : table.arrays) {
        const auto names =
            array.columns.empty() ? columnNames(array.name, array.rows, array.cols) : array.columns;
        for (const std::string& name : names) type += fmt::format(", ({}, '{}')", literal(name), kDouble);
    }
    return type + "]";
}

bool writeRecords(std::FILE* file, const CollectedTable& table) {
    std::vector<double> record;
    for (std::size_t row = 0; row < table.times.size(); ++row) {
        record.assign(1, table.times[row]);
        for (const CollectedArray& array : table.arrays) {
            const double* const sample = array.values.data() + row * array.size();
            record.insert(record.end(), sample, sample + array.size());
        }
        if (std::fwrite(record.data(), sizeof(double), record.size(), file) != record.size()) return false;
    }
    return true;
}

/// Adds an array to an archive, which borrows `header` and `values` until it is closed.
bool addMember(zip_t* archive, const std::string& name, const std::string& header,
               const std::vector<double>& values) {
    // libzip takes its fragments without const and does not change them.
    zip_buffer_fragment_t fragments[] = {
        {reinterpret_cast<zip_uint8_t*>(const_cast<char*>(header.data())), header.size()},
        {reinterpret_cast<zip_uint8_t*>(const_cast<double*>(values.data())), values.size() * sizeof(double)}};
    zip_source_t* const source = zip_source_buffer_fragment(archive, fragments, 2, 0);
    if (source == nullptr) return false;
    const zip_int64_t index = zip_file_add(archive, (name + ".npy").c_str(), source, ZIP_FL_ENC_UTF_8);
    if (index < 0) {
        zip_source_free(source);
        return false;
    }
    constexpr zip_uint16_t kFirstDay = 1 << 5 | 1;  // 1 January 1980: not that of the writing
    const auto member = static_cast<zip_uint64_t>(index);
    return zip_set_file_compression(archive, member, ZIP_CM_STORE, 0) == 0 &&
           zip_file_set_dostime(archive, member, 0, kFirstDay, 0) == 0;
}

}  // namespace

void writeNpy(const CollectedTable& table, const std::string& path) {
    PartFile part(path);
    const std::string header = npyHeader(recordType(table), fmt::format("({},)", table.times.size()));
    std::FILE* const file = std::fopen(part.name().c_str(), "wb");
    if (file == nullptr) refuseResult(path, errno);
    bool isWritten =
        std::fwrite(header.data(), 1, header.size(), file) == header.size() && writeRecords(file, table);
    int error = errno;
    if (std::fclose(file) != 0 && std::exchange(isWritten, false)) error = errno;
    if (!isWritten) part.fail(std::strerror(error));
    part.complete();
}

void writeNpz(const CollectedTable& table, const std::string& path) {
    PartFile part(path);
    int error = 0;
    zip_t* const archive = zip_open(part.name().c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    if (archive == nullptr) {
        zip_error_t reason;
        zip_error_init_with_code(&reason, error);
        const std::string text = zip_error_strerror(&reason);
        zip_error_fini(&reason);
        part.fail(text);
    }
    const std::size_t rows = table.times.size();
    std::vector<std::string> headers = {npyHeader(literal(kDouble), fmt::format("({},)", rows))};
    for (const CollectedArray& array : table.arrays)
        headers.push_back(npyHeader(literal(kDouble), tuple(rows, array)));
    bool isWritten = addMember(archive, "t", headers[0], table.times);
    for (std::size_t i = 0; i < table.arrays.size(); ++i)
        isWritten =
            isWritten && addMember(archive, table.arrays[i].name, headers[i + 1], table.arrays[i].values);
    if (!isWritten || zip_close(archive) != 0) {
        const std::string text = zip_strerror(archive);
        zip_discard(archive);
        part.fail(text);
    }
    part.complete();
}

}  // namespace Kavelin::RecordingIO
