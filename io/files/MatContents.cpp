#include "io/files/MatContents.h"

#include <Poco/Exception.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "io/files/MatCheck.h"
#include "io/files/MatLibrary.h"

namespace Kavelin::RecordingIO {

namespace {

using Variable = std::unique_ptr<::matvar_t, decltype(&::Mat_VarFree)>;

/// A file in memory, for a library that opens files by their names.
class MemoryFile {
public:
    explicit MemoryFile(std::string_view bytes) : fd_(::memfd_create("kavelin-mat", MFD_CLOEXEC)) {
        while (fd_ >= 0 && !bytes.empty()) {
            const ::ssize_t count = ::write(fd_, bytes.data(), bytes.size());
            if (count <= 0) throw Poco::ReadFileException("no memory for a MATLAB file");
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
    }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    ~MemoryFile() { ::close(fd_); }
    std::string path() const { return fmt::format("/proc/self/fd/{}", fd_); }

private:
    int fd_;
};

template <class Value>
std::vector<double> converted(const ::matvar_t& variable, std::size_t count) {
    const auto* values = static_cast<const Value*>(variable.data);
    return std::vector<double>(values, values + count);
}

/// The values as doubles; nothing for a class without numbers.
std::optional<std::vector<double>> valuesOf(const ::matvar_t& variable, std::size_t count) {
    if (count == 0) return std::vector<double>();
    switch (variable.class_type) {
        case MAT_C_DOUBLE:
            return converted<double>(variable, count);
        case MAT_C_SINGLE:
            return converted<float>(variable, count);
        case MAT_C_INT8:
            return converted<std::int8_t>(variable, count);
        case MAT_C_UINT8:
            return converted<std::uint8_t>(variable, count);
        case MAT_C_INT16:
            return converted<std::int16_t>(variable, count);
        case MAT_C_UINT16:
            return converted<std::uint16_t>(variable, count);
        case MAT_C_INT32:
            return converted<std::int32_t>(variable, count);
        case MAT_C_UINT32:
            return converted<std::uint32_t>(variable, count);
        case MAT_C_INT64:
            return converted<std::int64_t>(variable, count);
        case MAT_C_UINT64:
            return converted<std::uint64_t>(variable, count);
        default:
            return std::nullopt;
    }
}

struct Shape {
    std::size_t rows = 0;
    std::size_t columns = 0;
    std::size_t count() const { return rows * columns; }
};

Shape shapeOf(const ::matvar_t& variable) {
    if (variable.rank < 1 || !variable.dims) return {};
    Shape shape{variable.dims[0], 1};
    for (int i = 1; i < variable.rank; ++i) shape.columns *= variable.dims[i];
    return shape;
}

/// The character at a place of a char array, in UTF-8.
std::string characterAt(const ::matvar_t& text, std::size_t at) {
    char32_t unit = 0;
    if (text.data_size == 1) unit = static_cast<const unsigned char*>(text.data)[at];
    if (text.data_size == 2) unit = static_cast<const std::uint16_t*>(text.data)[at];
    if (unit < 0x20 || unit == 0x7F) return "?";
    if (unit < 0x80 || text.data_type == MAT_T_UTF8) return std::string(1, static_cast<char>(unit));
    const auto byte = [](char32_t value) { return static_cast<char>(static_cast<unsigned char>(value)); };
    if (unit < 0x800) return {byte(0xC0 | unit >> 6), byte(0x80 | (unit & 0x3F))};
    return {byte(0xE0 | unit >> 12), byte(0x80 | (unit >> 6 & 0x3F)), byte(0x80 | (unit & 0x3F))};
}

class Collector {
public:
    Collector(const MatLibrary& library, MatContents& out) : library_(library), out_(out) {}

    void add(const ::matvar_t* variable, const std::string& name) {
        if (!variable) return;
        const Shape shape = shapeOf(*variable);
        if (variable->class_type == MAT_C_STRUCT) return addStruct(*variable, name, shape.count());
        if (variable->class_type == MAT_C_CELL) return addCells(*variable, name, shape.count());
        ++visited_;
        if (name.empty()) return;  // what MATLAB keeps for its objects
        if (!variable->data && shape.count() > 0)
            throw Poco::DataFormatException(fmt::format("'{}' has no values", name));
        if (variable->class_type == MAT_C_CHAR) return addText(*variable, name, shape);
        if (variable->isComplex) return out_.leftOut.push_back(name + " (complex numbers)");
        if (auto values = valuesOf(*variable, shape.count()))
            out_.arrays.push_back({name, shape.rows, shape.columns, std::move(*values)});
    }

    /// Arrays that are neither structs nor cells.
    std::size_t visited() const { return visited_; }

private:
    void addStruct(const ::matvar_t& variable, const std::string& name, std::size_t count) {
        const unsigned fields = library_.fieldCount(const_cast<::matvar_t*>(&variable));
        char* const* names = library_.fieldNames(&variable);
        for (std::size_t i = 0; i < count; ++i) {
            const std::string element = count > 1 ? fmt::format("{}({})", name, i + 1) : name;
            for (unsigned f = 0; f < fields; ++f)
                add(library_.field(const_cast<::matvar_t*>(&variable), f, i), element + "." + names[f]);
        }
    }

    void addCells(const ::matvar_t& variable, const std::string& name, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i)
            add(library_.cell(const_cast<::matvar_t*>(&variable), static_cast<int>(i)),
                fmt::format("{}{{{}}}", name, i + 1));
    }

    void addText(const ::matvar_t& text, const std::string& name, const Shape& shape) {
        // In UTF-8 a character may have several bytes; MATLAB writes such texts in a single row.
        const bool isUtf8 = text.data_type == MAT_T_UTF8 && shape.rows == 1;
        const std::size_t columns = isUtf8 ? text.nbytes : shape.columns;
        const std::size_t rows = columns > 0 ? shape.rows : 0;
        MatText out{name, {}};
        for (std::size_t r = 0; r < rows; ++r) {
            std::string row;
            for (std::size_t c = 0; c < columns; ++c) row += characterAt(text, c * shape.rows + r);
            row.erase(row.find_last_not_of(' ') + 1);
            out.rows.push_back(std::move(row));
        }
        out_.texts.push_back(std::move(out));
    }

    const MatLibrary& library_;
    MatContents& out_;
    std::size_t visited_ = 0;
};

[[noreturn]] void refuseOpaque(const std::vector<MatOpaque>& all) {
    const auto& [name, kind] = all.front();
    std::string way = "save its values as plain arrays: save('rec.mat', 't', 'acc', 'gyr', 'mag', '-v7')";
    if (kind == "timetable" || kind == "table") way = fmt::format("write{0}({1}, '{1}.csv')", kind, name);
    const std::string others = all.size() > 1 ? fmt::format(" (and {} more)", all.size() - 1) : "";
    throw Poco::DataFormatException(
        fmt::format("variable '{}'{} is a {} of MATLAB, which only MATLAB can read. In MATLAB: {}", name,
                    others, kind, way));
}

std::string allOf(ByteSource& bytes, std::size_t limit) {
    std::string file;
    for (std::size_t have = 0;;) {
        file.resize(have + (std::size_t{1} << 16));
        const std::size_t count = bytes.read(file.data() + have, file.size() - have);
        file.resize(have += count);
        if (count == 0) return file;
        if (have > limit)
            throw Poco::DataFormatException(fmt::format("the MATLAB file has more than {} bytes", limit));
    }
}

}  // namespace

bool MatContents::beginsLike(std::string_view first) {
    if (first.size() < 128) return false;
    const std::string_view end = first.substr(124, 4);
    return end == std::string_view("\0\1IM", 4) || end == std::string_view("\1\0MI", 4);
}

MatContents MatContents::read(ByteSource& bytes, const std::string& path, std::size_t limit) try {
    CheckedMat checked = checkMat(allOf(bytes, limit), limit);
    const MemoryFile file(std::exchange(checked.bytes, {}));
    const MatLibrary& library = matLibrary();
    const std::unique_ptr<::mat_t, decltype(&::Mat_Close)> mat(
        library.open(file.path().c_str(), MAT_ACC_RDONLY), library.close);
    if (!mat) throw Poco::DataFormatException("the MATLAB file is damaged");
    MatContents out;
    Collector collector(library, out);
    for (;;) {
        const Variable variable(library.readNext(mat.get()), library.freeVariable);
        if (!variable) break;
        collector.add(variable.get(), variable->name ? variable->name : "");
    }
    if (collector.visited() != checked.values)
        throw Poco::DataFormatException("the MATLAB file has a variable that cannot be read");
    for (const MatOpaque& opaque : checked.opaque)
        out.leftOut.push_back(fmt::format("{} ({})", opaque.name, opaque.kind));
    if (out.arrays.empty() && !checked.opaque.empty()) refuseOpaque(checked.opaque);
    return out;
} catch (const Poco::DataFormatException& error) {
    throw Poco::DataFormatException(fmt::format("'{}': {}", path, error.message()));
}

}  // namespace Kavelin::RecordingIO
