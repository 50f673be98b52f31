#pragma once

#include <Kavelin/Core/ErrorLog.h>

#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace Kavelin::Python {

/// A refusal that is of this Python class. C++ code of the program that throws its own exceptions needs none of
/// these: `kindOf` knows what each is in Python.
class Refusal : public std::runtime_error {
public:
    /// The classes of kavelin/_errors.py.
    enum class Kind { kError, kInvalidValue, kWrongType, kUnknownName, kReadOnly, kFileError, kMissingFile };

    Refusal(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
    Kind kind() const { return kind_; }

private:
    Kind kind_;
};

/// What an exception of the program is in Python. A Cli::UsageError is an InvalidValue. [any thread]
Refusal::Kind kindOf(const std::exception& error);

/// The text that the program shows for it, without "kavelin: ".
std::string textOf(const std::exception& error);

/// Runs `read`, which reads `file`. Whatever is thrown for a file that does not exist becomes a kavelin.MissingFile
/// of the same text. [without the interpreter's lock too]
template <class Read>
auto readingFile(const std::filesystem::path& file, Read read) {
    try {
        return read();
    } catch (const std::exception& error) {
        std::error_code unknown;
        if (std::filesystem::exists(file, unknown) || unknown) throw;
        throw Refusal(Refusal::Kind::kMissingFile, textOf(error));
    }
}

}  // namespace Kavelin::Python
