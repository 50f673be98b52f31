#include "io/files/MatCheck.h"

#include <Poco/Exception.h>
#include <fmt/format.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>

namespace Kavelin::RecordingIO {

namespace {

// Source of the layout: MathWorks, "MAT-File Format", level 5.
constexpr std::size_t kHeader = 128;
constexpr std::size_t kDeepest = 16;
constexpr std::size_t kMostElements = 1'000'000;
constexpr std::size_t kMostDimensions = 32;

enum Type : std::uint32_t { kInt8 = 1, kInt32 = 5, kUint32 = 6, kMatrix = 14, kCompressed = 15 };
enum Class : std::uint32_t {
    kCell = 1,
    kStruct = 2,
    kObject = 3,
    kChar = 4,
    kSparse = 5,
    kDouble = 6,
    kUint64 = 15,
    kFunction = 16,
    kOpaque = 17
};
constexpr std::uint32_t kComplexFlag = 0x0800;

constexpr std::uint32_t kUtf8 = 16;
constexpr std::uint32_t kUtf16 = 17;

/// Bytes of a value of a data type that an array of a class may have; 0 for other types.
std::size_t sizeOf(std::uint32_t type, std::uint32_t kind) {
    constexpr std::array<std::size_t, 14> kSizes = {0, 1, 1, 2, 2, 4, 4, 4, 0, 8, 0, 0, 8, 8};
    if (kind == kChar && type > 4) return type == kUtf8 ? 1 : type == kUtf16 ? 2 : 0;
    return type < kSizes.size() ? kSizes[type] : 0;
}

[[noreturn]] void fail(const std::string& what) {
    throw Poco::DataFormatException("the MATLAB file is damaged: " + what);
}

struct Element {
    std::uint32_t type = 0;
    std::string_view data;
    std::string_view whole;  // with its tag and its padding
};

/// Takes elements off the front of some bytes.
class Elements {
public:
    Elements(std::string_view bytes, bool isBigEndian) : rest_(bytes), isBigEndian_(isBigEndian) {}

    bool atEnd() const { return rest_.empty(); }
    std::size_t left() const { return rest_.size(); }
    bool isBigEndian() const { return isBigEndian_; }

    std::uint32_t number(std::string_view bytes) const {
        std::array<unsigned char, 4> b{};
        std::memcpy(b.data(), bytes.data(), 4);
        if (isBigEndian_) std::reverse(b.begin(), b.end());
        return b[0] | std::uint32_t{b[1]} << 8 | std::uint32_t{b[2]} << 16 | std::uint32_t{b[3]} << 24;
    }

    Element next() {
        if (rest_.size() < 8) fail("it ends within the tag of an element");
        const std::uint32_t first = number(rest_);
        Element element;
        if (first >> 16) {  // the short form: length and type in one word, the data in the other
            element = {first & 0xFFFF, rest_.substr(4, first >> 16), rest_.substr(0, 8)};
            if (first >> 16 > 4) fail(fmt::format("a short element of {} bytes", first >> 16));
        } else {
            const std::size_t length = number(rest_.substr(4));
            if (length > rest_.size() - 8)
                fail(fmt::format("an element of {} bytes where {} are left", length, rest_.size() - 8));
            const std::size_t padded = first == kCompressed ? length : (length + 7) / 8 * 8;
            element = {first, rest_.substr(8, length), rest_.substr(0, std::min(8 + padded, rest_.size()))};
        }
        rest_.remove_prefix(element.whole.size());
        return element;
    }

    Element next(std::uint32_t type, const char* what) {
        const Element element = next();
        if (element.type != type) fail(fmt::format("{} of type {} instead of {}", what, element.type, type));
        return element;
    }

private:
    std::string_view rest_;
    bool isBigEndian_;
};

std::string text(std::string_view bytes) {
    std::string out(bytes.substr(0, bytes.find('\0')).substr(0, 200));
    std::replace_if(
        out.begin(), out.end(), [](unsigned char c) { return std::iscntrl(c) || c > 0x7E; }, '?');
    return out;
}

/// The name of a variable or a field, which a message may show as it stands.
std::string nameOf(std::string_view bytes) {
    std::string name = text(bytes);
    if (name != bytes.substr(0, bytes.find('\0'))) fail("the name '" + name + "', which is none of MATLAB's");
    return name;
}

/// The head of an array: what comes before its values.
struct Head {
    std::uint32_t kind = 0;
    bool isComplex = false;
    std::size_t count = 1;  // product of the dimensions
    std::string name;
};

class Checker {
public:
    Checker(bool isBigEndian, std::size_t mostValues, CheckedMat& out)
        : isBigEndian_(isBigEndian), mostValues_(mostValues), out_(out) {}

    /// Adds a variable to the checked file, unless it is opaque.
    void addVariable(std::string_view matrix) {
        const std::size_t begin = out_.bytes.size();
        if (!addMatrix(matrix, "", 0)) out_.bytes.resize(begin);
    }

private:
    /// @return false where the array is opaque: then nothing sound has been added.
    bool addMatrix(std::string_view matrix, const std::string& within, std::size_t depth) {
        if (depth > kDeepest) fail(fmt::format("arrays more than {} deep in each other", kDeepest));
        if (++elements_ > kMostElements) fail(fmt::format("more than {} arrays", kMostElements));
        if (matrix.empty()) {
            putEmptyArray();
            return true;
        }
        const std::size_t begin = out_.bytes.size();
        putTag(kMatrix, 0);
        if (!addContents(Elements(matrix, isBigEndian_), within, depth)) return false;
        const std::string length = numberText(static_cast<std::uint32_t>(out_.bytes.size() - begin - 8));
        out_.bytes.replace(begin + 4, 4, length);
        return true;
    }

    bool addContents(Elements in, const std::string& within, std::size_t depth) {
        const Element flags = in.next(kUint32, "array flags");
        if (flags.data.size() != 8) fail("array flags of another length than 8");
        Head head{in.number(flags.data) & 0xFF, (in.number(flags.data) & kComplexFlag) != 0, 1, {}};
        if (head.kind == kOpaque) return leaveOut(in, within);
        put(flags);
        const Element dimensions = put(in.next(kInt32, "dimensions"));
        head.count = product(in, dimensions);
        const Element name = put(in.next(kInt8, "an array's name"));
        head.name = within.empty() ? nameOf(name.data) : within;
        if (head.kind == kStruct) return addFields(in, head, depth);
        if (head.kind == kCell) return addCells(in, head, depth);
        if (head.kind == kSparse) return leaveOut(head, "sparse matrix");
        if (head.kind == kObject) return leaveOut(head, "object");
        if (head.kind == kFunction) return leaveOut(head, "function");
        if (head.kind < kChar || head.kind > kUint64)
            fail(fmt::format("an array of the unknown class {}", head.kind));
        ++out_.values;
        addValues(in, head);
        if (head.isComplex) addValues(in, head);
        return true;
    }

    std::size_t product(const Elements& in, const Element& dimensions) {
        const std::size_t rank = dimensions.data.size() / 4;
        if (rank < 2 || rank > kMostDimensions || dimensions.data.size() % 4 != 0)
            fail(fmt::format("dimensions of {} bytes", dimensions.data.size()));
        std::size_t count = 1;
        for (std::size_t i = 0; i < rank; ++i) {
            const std::size_t size = in.number(dimensions.data.substr(4 * i));
            if (size > INT32_MAX || (size > 0 && count > INT32_MAX / size))
                fail("an array of more than 2^31 values");
            count *= size;
        }
        return count;
    }

    void addValues(Elements& in, const Head& head) {
        const Element values = put(in.next());
        if (head.count > mostValues_)
            throw Poco::DataFormatException(
                fmt::format("the MATLAB file holds too many values to read, at array '{}'", head.name));
        mostValues_ -= head.count;
        const std::size_t size = sizeOf(values.type, head.kind);
        // A text in UTF-8 has fewer characters than bytes.
        const bool fits = head.kind == kChar && values.type == kUtf8
                              ? values.data.size() >= head.count
                              : values.data.size() == head.count * size;
        if (size == 0 || !fits)
            fail(fmt::format("array '{}' has {} values and {} bytes of type {}", head.name, head.count,
                             values.data.size(), values.type));
    }

    bool addFields(Elements& in, const Head& head, std::size_t depth) {
        const Element length = in.next(kInt32, "a length of field names");
        const Element names = in.next(kInt8, "field names");
        const std::size_t size = length.data.size() == 4 ? in.number(length.data) : 0;
        if (size == 0 || size > 1024 || names.data.size() % size != 0) fail("field names of no sound length");
        // The library knows one form of each: the short one of the length, the long one of the names.
        putNumber(4u << 16 | kInt32);
        putNumber(static_cast<std::uint32_t>(size));
        putTag(kInt8, names.data.size());
        out_.bytes += names.data;
        pad();
        const std::size_t fields = names.data.size() / size;
        requireRoom(in, fields, head.count);
        for (std::size_t i = 0; i < fields * head.count; ++i) {
            const std::string element = head.count > 1 ? fmt::format("({})", i / fields + 1) : "";
            addPart(in, head.name + element + "." + nameOf(names.data.substr(i % fields * size, size)),
                    depth);
        }
        return true;
    }

    bool addCells(Elements& in, const Head& head, std::size_t depth) {
        requireRoom(in, 1, head.count);
        for (std::size_t i = 0; i < head.count; ++i)
            addPart(in, fmt::format("{}{{{}}}", head.name, i + 1), depth);
        return true;
    }

    /// Each array within another has a tag at least.
    static void requireRoom(const Elements& in, std::size_t fields, std::size_t count) {
        if (count > kMostElements || fields * count > in.left() / 8)
            fail(fmt::format("{} arrays in {} bytes", count, in.left()));
    }

    void addPart(Elements& in, const std::string& name, std::size_t depth) {
        const std::size_t begin = out_.bytes.size();
        if (addMatrix(in.next(kMatrix, "an array within another").data, name, depth + 1)) return;
        out_.bytes.resize(begin);
        putEmptyArray();
    }

    bool leaveOut(Elements& in, const std::string& within) {
        const Element name = in.next(kInt8, "an object's name");
        in.next(kInt8, "an object's type");
        const Element kind = in.next(kInt8, "an object's class");
        return leaveOut({0, false, 1, within.empty() ? nameOf(name.data) : within}, text(kind.data));
    }
    bool leaveOut(const Head& head, const std::string& kind) {
        out_.opaque.push_back({head.name, kind});
        return false;
    }

    Element put(const Element& element) {
        out_.bytes += element.whole;
        pad();  // the last one may lack its padding
        return element;
    }
    void pad() { out_.bytes.resize((out_.bytes.size() + 7) / 8 * 8); }
    void putEmptyArray() {
        ++out_.values;
        putTag(kMatrix, 48);
        putTag(kUint32, 8);
        putTag(kDouble, 0);  // the flags
        putTag(kInt32, 8);
        putTag(0, 0);  // the dimensions
        putTag(kInt8, 0);
        putTag(9, 0);  // values of type double
    }
    void putTag(std::uint32_t type, std::size_t length) {
        putNumber(type);
        putNumber(static_cast<std::uint32_t>(length));
    }
    void putNumber(std::uint32_t value) { out_.bytes += numberText(value); }
    std::string numberText(std::uint32_t value) const {
        std::string bytes(4, '\0');
        for (std::size_t i = 0; i < 4; ++i)
            bytes[isBigEndian_ ? 3 - i : i] = static_cast<char>(value >> 8 * i & 0xFF);
        return bytes;
    }

    bool isBigEndian_;
    std::size_t mostValues_;  // still
    CheckedMat& out_;
    std::size_t elements_ = 0;
};

std::string inflated(std::string_view packed, std::size_t limit) {
    ::z_stream stream{};
    if (::inflateInit(&stream) != Z_OK) throw Poco::DataFormatException("zlib cannot start");
    const std::unique_ptr<::z_stream, int (*)(::z_streamp)> end(&stream, ::inflateEnd);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
    stream.avail_in = static_cast<uInt>(packed.size());
    std::string out;
    for (int status = Z_OK; status != Z_STREAM_END;) {
        const std::size_t have = out.size();
        if (have > limit) fail(fmt::format("more than {} bytes, decompressed", limit));
        out.resize(have + std::clamp<std::size_t>(have, 1 << 12, 1 << 24));
        stream.next_out = reinterpret_cast<Bytef*>(out.data() + have);
        stream.avail_out = static_cast<uInt>(out.size() - have);
        status = ::inflate(&stream, Z_NO_FLUSH);
        out.resize(out.size() - stream.avail_out);
        if (status != Z_OK && status != Z_STREAM_END)
            fail(stream.msg ? stream.msg : "compressed data that end too early");
    }
    return out;
}

bool isBigEndian(std::string_view file) {
    const std::string_view mark = file.size() < kHeader ? "" : file.substr(126, 2);
    if (mark != "IM" && mark != "MI")
        throw Poco::DataFormatException(
            "the file is no MATLAB file of level 5, as save('rec.mat', '-v7') writes it");
    const bool big = mark == "MI";
    if (file[big ? 124 : 125] == '\2')
        throw Poco::DataFormatException(
            "the file is a MATLAB 7.3 file (HDF5), which is not read here: in MATLAB, save('rec.mat', "
            "'-v7')");
    return big;
}

}  // namespace

CheckedMat checkMat(std::string_view file, std::size_t limit) {
    const bool big = isBigEndian(file);
    if (file.size() > limit)
        throw Poco::DataFormatException(fmt::format("the MATLAB file has more than {} bytes", limit));
    CheckedMat out;
    out.bytes = file.substr(0, kHeader);
    out.bytes.replace(116, 8, 8, '\0');                 // where MATLAB keeps what its objects hold: left out
    Checker checker(big, limit / sizeof(double), out);  // a value of a byte becomes a double
    for (Elements in(file.substr(kHeader), big); !in.atEnd();) {
        const Element element = in.next();
        if (element.type == kMatrix) {
            checker.addVariable(element.data);
        } else if (element.type == kCompressed) {
            const std::string bytes = inflated(element.data, limit - std::min(limit, out.bytes.size()));
            checker.addVariable(Elements(bytes, big).next(kMatrix, "a compressed variable").data);
        } else {
            fail(fmt::format("a variable of type {}", element.type));
        }
    }
    return out;
}

}  // namespace Kavelin::RecordingIO
