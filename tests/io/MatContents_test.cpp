#include "io/files/MatContents.h"

#include <fmt/format.h>

#include "support/MatBytes.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;
using namespace std::string_view_literals;

/// What a file holds, "name 1x2 1,2"; or what is said of it.
std::string told(const std::string& bytes, std::size_t limit = 100'000) {
    std::string out;
    const std::string refusal = outcome([&] {
        const auto source = memorySource(bytes);
        const MatContents file = MatContents::read(*source, "r.mat", limit);
        for (const MatArray& a : file.arrays)
            out += fmt::format("{} {}x{} {}; ", a.name, a.rows, a.columns, fmt::join(a.values, ","));
        for (const MatText& t : file.texts) out += fmt::format("{} '{}'; ", t.name, fmt::join(t.rows, "|"));
        out += fmt::format("{}", fmt::join(file.leftOut, "; "));
    });
    return refusal == "accepted" ? out : refusal;
}

TEST(MatContents, readsArraysStructsCellsAndTexts) {
    for (const bool big : {false, true}) {
        const MatBytes w{big};
        const std::string names = std::string("t\0\0\0x\0\0\0", 8);
        const std::string fields = w.element(5, w.words({4})) + w.element(1, names);
        const std::string all =
            w.compressed(w.array(6, {2, 2}, "a", w.element(3, w.values<std::int16_t>({1, 2, 3, -4})))) +
            w.array(7, {1, 2}, "single", w.element(7, w.values<float>({0.5f, kNaN}))) +
            w.array(8, {1, 1}, "small", w.words({1u | 1u << 16, 0}).replace(4, 1, "\xFF")) +
            w.array(2, {1, 1}, "s", fields + w.row("", {7}) + w.opaque("", "string")) +
            w.array(2, {1, 2}, "r",
                    fields + w.row("", {1}) + w.row("", {2}) + w.row("", {3}) + w.element(14, "")) +
            w.array(
                1, {1, 2}, "c",
                w.row("", {8, 9}) +
                    w.array(4, {2, 2}, "", w.element(4, w.values<std::uint16_t>({'a', 'b', 0xB5, ' '})))) +
            w.array(6 | 0x800, {1, 1}, "z",
                    w.element(9, w.values<double>({1})) + w.element(9, w.values<double>({2}))) +
            w.opaque("T", "timetable") + w.row("", {5});
        EXPECT_EQ(told(w.file(all)),
                  "a 2x2 1,2,3,-4; single 1x2 0.5,nan; small 1x1 -1; s.t 1x1 7; s.x 0x0 ; r(1).t 1x1 1; "
                  "r(1).x 1x1 2; r(2).t 1x1 3; r(2).x 0x0 ; c{1} 1x2 8,9; c{2} 'a\xC2\xB5|b'; z (complex "
                  "numbers); s.x (string); T (timetable)")
            << big;
    }
}

TEST(MatContents, refusesWhatItCannotRead) {
    const MatBytes w;
    std::string deep = w.row("", {1});
    for (int i = 0; i < 20; ++i) deep = w.array(1, {1, 1}, "", deep);
    const std::string sound = w.row("a", {1, 2});
    std::string flipped = w.compressed(sound);
    flipped[30] = static_cast<char>(flipped[30] ^ 0x10);
    const struct {
        const char* rule;
        std::string bytes;
        const char* message;
    } rows[] = {
        {"a table", w.file(w.opaque("Acc", "timetable") + w.opaque("X", "table")),
         "'r.mat': variable 'Acc' (and 1 more) is a timetable of MATLAB, which only MATLAB can read. In "
         "MATLAB: writetimetable(Acc, 'Acc.csv')"},
        {"an object", w.file(w.opaque("O", "Rec\033[1m")), "is a Rec?[1m of MATLAB"},
        {"a name that a terminal would obey", w.file(w.row("a\033[1m", {1})), "the name 'a?[1m'"},
        {"level 7.3", w.file("").replace(125, 1, "\2"), "save('rec.mat', '-v7')"},
        {"no such file", std::string(200, 'x'), "is no MATLAB file of level 5"},
        {"short", "MATLAB 5.0", "is no MATLAB file of level 5"},
        {"cut", w.file(sound).substr(0, 190), "an element of 72 bytes where"},
        {"cut in a tag", w.file(sound + "abc"), "ends within the tag"},
        {"more values than bytes", w.file(w.array(6, {1, 3}, "a", w.element(9, w.values<double>({1, 2})))),
         "'a' has 3 values and 16 bytes"},
        {"huge dimensions", w.file(w.array(6, {1u << 20, 1u << 20}, "a", w.element(9, ""))),
         "more than 2^31 values"},
        {"bytes that become too many doubles",
         w.file(w.array(9, {20'000, 1}, "a", w.element(2, std::string(20'000, 'x')))),
         "too many values to read, at array 'a'"},
        {"huge cells", w.file(w.array(1, {1, 1u << 20}, "a", "")), "1048576 arrays in 0 bytes"},
        {"huge structs of nothing",
         w.file(w.array(2, {1, 1u << 30}, "a", w.element(5, w.words({4})) + w.element(1, ""))),
         "1073741824 arrays"},
        {"field names of no length",
         w.file(w.array(2, {1, 1}, "a", w.element(5, w.words({0})) + w.element(1, "ab"))), "no sound length"},
        {"an unknown class", w.file(w.array(99, {1, 1}, "a", "")), "unknown class 99"},
        {"an unknown type", w.file(w.array(6, {1, 1}, "a", w.element(10, "12345678"))), "8 bytes of type 10"},
        {"no variable", w.file(w.element(9, "12345678")), "a variable of type 9"},
        {"too deep", w.file(deep), "more than 16 deep"},
        {"compressed, damaged", w.file(flipped), "the MATLAB file is damaged: "},
        {"compressed, without end", w.file(w.element(15, w.compressed(sound).substr(8, 20))),
         "compressed data that end too early"},
        {"a bomb", w.file(w.compressed(std::string(200'000, '\0'))), "more than 99872 bytes, decompressed"},
    };
    for (const auto& row : rows) {
        EXPECT_THAT(told(row.bytes), AllOf(testing::StartsWith("Poco::DataFormatException: 'r.mat': "),
                                           HasSubstr(row.message)))
            << row.rule;
    }
}

}  // namespace
}  // namespace Kavelin::RecordingIO
