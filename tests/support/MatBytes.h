#pragma once

#include <zlib.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace Kavelin::Tests {

/// Writes MATLAB files of level 5, sound or not.
struct MatBytes {
    bool isBigEndian = false;

    template <class Value>
    std::string values(std::vector<Value> values) const {
        std::string bytes(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(Value));
        for (std::size_t i = 0; isBigEndian && i < values.size(); ++i)
            std::reverse(bytes.data() + i * sizeof(Value), bytes.data() + (i + 1) * sizeof(Value));
        return bytes;
    }
    std::string words(std::vector<std::uint32_t> list) const { return values(std::move(list)); }
    std::string element(std::uint32_t type, const std::string& data) const {
        return words({type, static_cast<std::uint32_t>(data.size())}) + data +
               (type == 15 ? "" : std::string((8 - data.size() % 8) % 8, '\0'));
    }
    std::string array(std::uint32_t kind, std::vector<std::uint32_t> size, const std::string& name,
                      const std::string& parts) const {
        return element(
            14, element(6, words({kind, 0})) + element(5, words(std::move(size))) + element(1, name) + parts);
    }
    std::string row(const std::string& name, std::vector<double> row) const {
        const auto count = static_cast<std::uint32_t>(row.size());
        return array(6, {1, count}, name, element(9, values(std::move(row))));
    }
    std::string opaque(const std::string& name, const std::string& kind) const {
        return element(14, element(6, words({17, 0})) + element(1, name) + element(1, "MCOS") +
                               element(1, kind) + array(13, {1, 1}, "", element(6, words({7}))));
    }
    std::string compressed(const std::string& bytes) const {
        std::string out(::compressBound(bytes.size()), '\0');
        ::uLongf size = out.size();
        ::compress(reinterpret_cast<Bytef*>(out.data()), &size, reinterpret_cast<const Bytef*>(bytes.data()),
                   bytes.size());
        return element(15, out.substr(0, size));
    }
    std::string file(const std::string& variables) const {
        const std::string mark = isBigEndian ? std::string("\1\0MI", 4) : std::string("\0\1IM", 4);
        return "MATLAB 5.0 MAT-file" + std::string(105, ' ') + mark + variables;
    }
};

}  // namespace Kavelin::Tests
