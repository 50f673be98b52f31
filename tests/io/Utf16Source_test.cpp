#include "io/files/Utf16Source.h"

#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;
using namespace std::string_view_literals;

/// Bytes that come one by one, as a slow pipe's may.
class Dribble : public ByteSource {
public:
    explicit Dribble(std::string_view bytes) : bytes_(memorySource(bytes)) {}
    std::size_t read(char* into, std::size_t) override { return bytes_->read(into, 1); }

private:
    std::unique_ptr<ByteSource> bytes_;
};

/// What a recording of these bytes reads like.
std::string read(std::string_view bytes) {
    return firstBytes(*recognised(std::make_unique<Dribble>(bytes), "r"), 1'000'000);
}

TEST(Utf16Source, becomesUtf8) {
    const struct {
        const char* rule;
        std::string_view bytes;
        std::string_view text;
    } rows[] = {
        {"a mark, little end first", "\xFF\xFEt\0,\0"sv, "t,"},
        {"a mark, big end first", "\xFE\xFF\0t\0,"sv, "t,"},
        {"no mark", "t\0,\0\xB5\0"sv, "t,\xC2\xB5"},
        {"no mark, big end first", "\0t\0,\x20\xAC"sv, "t,\xE2\x82\xAC"},
        {"a pair", "\xFF\xFE\x3D\xD8\0\xDE!\0"sv, "\xF0\x9F\x98\x80!"},
        {"a high half alone", "\xFF\xFE\x3D\xD8!\0"sv, "\xEF\xBF\xBD!"},
        {"two high halves", "\xFF\xFE\x3D\xD8\x3D\xD8\0\xDE"sv, "\xEF\xBF\xBD\xF0\x9F\x98\x80"},
        {"a low half alone", "\xFF\xFE\0\xDE!\0"sv, "\xEF\xBF\xBD!"},
        {"cut within a pair", "\xFF\xFE!\0\x3D\xD8"sv, "!\xEF\xBF\xBD"},
        {"cut within a unit", "\xFF\xFE!\0!"sv, "!\xEF\xBF\xBD"},
        {"a second mark is a character", "\xFF\xFE\xFF\xFEt\0"sv, "\xEF\xBB\xBFt"},
    };
    for (const auto& row : rows) EXPECT_EQ(read(row.bytes), row.text) << row.rule;
    std::string units, text;
    for (int i = 0; i < 20'000; ++i) {  // over the ends of blocks
        units += "\x3D\xD8\0\xDEt\0"sv;
        text += "\xF0\x9F\x98\x80t";
    }
    EXPECT_EQ(read("\xFF\xFE" + units), text);
}

}  // namespace
}  // namespace Kavelin::RecordingIO
