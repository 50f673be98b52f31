#pragma once

#include <Kavelin/Core/Export.h>

#include <cereal/cereal.hpp>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

namespace Kavelin::Core {

/// What a snapshot holds.
enum class StateExtent : std::uint8_t {
    kAll,      ///< counts, for reports, as well
    kResults,  ///< what later results depend on, and nothing else
};

/// Writes state as bytes, by the `serialize` templates of its owners (cereal's): numbers as they lie in memory,
/// lengths in as few bytes as they need. For the same kind of machine: little-endian, 64 bits.
class StateWriter : public cereal::OutputArchive<StateWriter> {
public:
    explicit StateWriter(StateExtent extent) : OutputArchive(this), extent_(extent) {}

    StateExtent extent() const { return extent_; }
    bool isWhole() const { return extent_ == StateExtent::kAll; }
    const std::string& bytes() const { return bytes_; }
    std::string take() { return std::move(bytes_); }

    void write(const void* data, std::size_t size) { bytes_.append(static_cast<const char*>(data), size); }
    /// 7 bits a byte, the lowest first.
    void writeNumber(std::uint64_t number) {
        for (; number >= 0x80; number >>= 7) bytes_.push_back(static_cast<char>(number | 0x80));
        bytes_.push_back(static_cast<char>(number));
    }

private:
    StateExtent extent_;
    std::string bytes_;
};

/// Reads what a StateWriter wrote; borrows the bytes.
/// @throws Poco::DataFormatException where they end early, or a length cannot be
class StateReader : public cereal::InputArchive<StateReader> {
public:
    StateReader(std::string_view bytes, StateExtent extent)
        : InputArchive(this), rest_(bytes), extent_(extent) {}

    StateExtent extent() const { return extent_; }
    bool isWhole() const { return extent_ == StateExtent::kAll; }
    std::string_view rest() const { return rest_; }

    void read(void* data, std::size_t size) {
        if (size == 0) return;
        const std::string_view bytes = readBytes(size);
        std::memcpy(data, bytes.data(), size);
    }
    std::string_view readBytes(std::size_t size) {
        if (size > rest_.size()) failShort();
        const std::string_view bytes = rest_.substr(0, size);
        rest_.remove_prefix(size);
        return bytes;
    }
    /// Of a list whose elements take a byte or more: no more than can follow.
    std::uint64_t readLength() {
        const std::uint64_t length = readNumber();
        if (length > rest_.size()) failShort();
        return length;
    }
    std::uint64_t readNumber() {
        std::uint64_t number = 0;
        for (unsigned shift = 0; shift < 63; shift += 7) {
            const auto byte = static_cast<std::uint8_t>(readBytes(1).front());
            number |= std::uint64_t{byte & 0x7fU} << shift;
            if ((byte & 0x80U) == 0) return number;
        }
        failShort();
    }
    /// Of a matrix that follows.
    std::size_t elementBytes(std::uint64_t rows, std::uint64_t cols, std::size_t each) const {
        const std::uint64_t most = rest_.size() / each;
        if (cols != 0 && rows > most / cols) failShort();
        return static_cast<std::size_t>(rows * cols) * each;
    }

private:
    [[noreturn]] KAVELIN_API static void failShort();

    std::string_view rest_;
    StateExtent extent_;
};

// What cereal asks of an archive.

template <class T>
requires std::is_arithmetic_v<T>
void save(StateWriter& to, const T& value) { to.write(&value, sizeof value); }
template <class T>
requires std::is_arithmetic_v<T>
void load(StateReader& from, T& value) { from.read(&value, sizeof value); }
template <class T>
void save(StateWriter& to, const cereal::BinaryData<T>& data) {
    to.write(data.data, static_cast<std::size_t>(data.size));
}
template <class T>
void load(StateReader& from, cereal::BinaryData<T>& data) {
    from.read(data.data, static_cast<std::size_t>(data.size));
}
template <class T>
void save(StateWriter& to, const cereal::SizeTag<T>& tag) {
    to.writeNumber(tag.size);
}
template <class T>
void load(StateReader& from, cereal::SizeTag<T>& tag) {
    tag.size = static_cast<std::decay_t<T>>(from.readLength());
}
template <class T>
void serialize(StateWriter& to, cereal::NameValuePair<T>& pair) {
    to(pair.value);
}
template <class T>
void serialize(StateReader& from, cereal::NameValuePair<T>& pair) {
    from(pair.value);
}

}  // namespace Kavelin::Core

CEREAL_REGISTER_ARCHIVE(Kavelin::Core::StateWriter)
CEREAL_REGISTER_ARCHIVE(Kavelin::Core::StateReader)
CEREAL_SETUP_ARCHIVE_TRAITS(Kavelin::Core::StateReader, Kavelin::Core::StateWriter)
