#pragma once

#include <Kavelin/Typed/Matrix.h>
#include <Poco/Exception.h>

#include <array>
#include <charconv>
#include <limits>
#include <locale>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>

namespace Kavelin::Core {

/// A value as a stream writes it with default settings, whatever the program's locale.
template <class T>
std::string streamed(const T& value) {
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << value;
    if (!stream) throw Poco::DataFormatException("The value cannot be written as text");
    return stream.str();
}

/// The shortest text that reads back to exactly this double.
inline std::string shortest(double value) {
    std::array<char, 32> text;
    const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
    return std::string(text.data(), end);
}

/// The numbers that streams write as words and cannot read: "nan" and "inf", with or without a sign.
inline std::optional<double> numberWord(std::string_view word) {
    const bool minus = word.starts_with('-');
    if (minus) word.remove_prefix(1);
    if (word != "nan" && word != "inf") return std::nullopt;
    const double value =
        word == "nan" ? std::numeric_limits<double>::quiet_NaN() : std::numeric_limits<double>::infinity();
    return minus ? -value : value;
}

/// Text form of a property's value: `write`, `read` (raising Poco::DataFormatException), and `exact`, which
/// `readExact` reads back to exactly the value. Only `readExact` knows "nan" and "inf": the text form is what
/// streams read and write.
template <class T>
struct TextForm {
    static std::string write(const T& value) { return streamed(value); }
    static T read(const std::string& text) {
        std::istringstream stream(text);
        stream.imbue(std::locale::classic());
        T value{};
        stream >> value;
        if (!stream) throw Poco::DataFormatException("'" + text + "' is no " + kind());
        return value;
    }
    static T readExact(const std::string& text) {
        if constexpr (std::is_same_v<T, double>) {
            if (const std::optional<double> value = numberWord(text)) return *value;
        }
        return read(text);
    }
    static std::string exact(const T& value) {
        if constexpr (std::is_same_v<T, double>) {
            return shortest(value);
        } else {
            return write(value);
        }
    }
    static const char* kind() {
        if constexpr (std::is_same_v<T, int>) return "int";
        if constexpr (std::is_same_v<T, unsigned>) return "unsigned int";
        if constexpr (std::is_same_v<T, double>) return "double";
        if constexpr (std::is_same_v<T, bool>) return "bool";
    }
};

template <>
struct TextForm<std::string> {
    static std::string write(const std::string& value) { return value; }
    static std::string read(const std::string& text) { return text; }
    static std::string readExact(const std::string& text) { return text; }
    static std::string exact(const std::string& value) { return value; }
    static const char* kind() { return "text"; }
};

/// Row count, column count, then the elements row by row, each after one blank: "2 2 1 2 3 4". Elements are
/// written with six digits, or with as many more as they need to read back equal.
///
/// Reading: both counts below 1 give the empty matrix; elements that the text lacks are 0.0; what follows the
/// last element is ignored. Refused are more than `kMostElements` elements, a count that is not a whole
/// number, one count below 0 with the other above, and an element that is not a number.
template <>
struct TextForm<Matrix> {
    static constexpr long long kMostElements = 16777216;

    static std::string write(const Matrix& value) {
        std::string text = std::to_string(value.rows()) + " " + std::to_string(value.cols());
        for (Eigen::Index i = 0; i < value.size(); ++i) text += " " + element(value.data()[i]);
        return text;
    }
    static Matrix read(const std::string& text) { return read(text, false); }
    static Matrix readExact(const std::string& text) { return read(text, true); }
    static std::string exact(const Matrix& value) { return write(value); }
    static const char* kind() { return "matrix"; }

private:
    static Matrix read(const std::string& text, bool wordsToo) {
        std::istringstream stream(text);
        stream.imbue(std::locale::classic());
        const long long rows = readCount(stream, text);
        const long long columns = readCount(stream, text);
        if (rows < 1 && columns < 1) return {};
        if (rows < 0 || columns < 0 || (columns > 0 && rows > kMostElements / columns)) {
            throw Poco::DataFormatException("A matrix cannot have " + std::to_string(rows) + " x " +
                                            std::to_string(columns) + " elements");
        }
        Matrix value = Matrix::Zero(rows, columns);
        for (Eigen::Index i = 0; i < value.size() && stream >> std::ws && !stream.eof(); ++i) {
            if (!readElement(stream, value.data()[i], wordsToo)) {
                throw Poco::DataFormatException("Element " + std::to_string(i + 1) +
                                                " of the matrix is not a number");
            }
        }
        return value;
    }
    static bool readElement(std::istringstream& stream, double& element, bool wordsToo) {
        const auto place = wordsToo ? stream.tellg() : std::istringstream::pos_type();
        if (stream >> element) return true;
        if (!wordsToo) return false;
        stream.clear();
        stream.seekg(place);
        std::string word;
        stream >> word;
        const std::optional<double> number = numberWord(word);
        element = number.value_or(0.0);
        return number.has_value();
    }
    static std::string element(double value) {
        const std::string plain = streamed(value);
        double back = 0.0;
        std::from_chars(plain.data(), plain.data() + plain.size(), back);
        return back == value ? plain : shortest(value);
    }
    static long long readCount(std::istream& stream, const std::string& text) {
        std::string word;
        stream >> word;
        const char* const begin = word.c_str() + (word.starts_with('+') ? 1 : 0);
        long long count = 0;
        const auto [end, error] = std::from_chars(begin, word.c_str() + word.size(), count);
        if (error != std::errc{} || end != word.c_str() + word.size()) {
            throw Poco::DataFormatException(
                "'" + text.substr(0, 40) +
                "' is not a matrix: a matrix begins with the row count and the column count");
        }
        return count;
    }
};

}  // namespace Kavelin::Core
