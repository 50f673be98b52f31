#include "settings/IniFile.h"

#include <new>

#include "support/OwnFolder.h"
#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

IniFile parsed(const std::string& text) {
    IniFile file("dir/x.par");
    std::istringstream input(text);
    file.parse(input);
    return file;
}

struct ValueRow {
    const char* rule;
    const char* text;
    const char* section;
    const char* name;
    const char* value;
};

TEST(IniFile, valuesByRows) {
    const ValueRow rows[] = {
        {"plain entry", "[A]\nx=1\n", "A", "x", "1"},
        {"last line without an end", "[A]\nx=1", "A", "x", "1"},
        {"blanks around name and value", "[A]\n \t x y \t=\t 1 2 \t \n", "A", "x y", "1 2"},
        {"blanks around and inside the brackets", " \t[ A b ] \nx=1\n", "A b", "x", "1"},
        {"cut at the first equals sign", "[A]\nx = a=b==c\n", "A", "x", "a=b==c"},
        {"empty value", "[A]\nx=\n", "A", "x", ""},
        {"empty name", "[A]\n= 1\n", "A", "", "1"},
        {"comment lines", "// [B]\n[A]\n  // x=1\nx=2\n", "A", "x", "2"},
        {"a later // belongs to the value", "[A]\nx=1 // one\n", "A", "x", "1 // one"},
        {"no other comment form", "[A]\n#x=1\n;y=2\n", "A", "#x", "1"},
        {"carriage return, line feed", "[A]\r\nx=1\r\n", "A", "x", "1"},
        {"carriage return alone", "[A]\rx=1\r", "A", "x", "1"},
        {"lines of blanks only", "\n \t\n[A]\n\n \nx=1\n", "A", "x", "1"},
        {"line without an equals sign", "[A]\nnothing\nx=1\n", "A", "x", "1"},
        {"bracket that does not close does not open a section", "[A]\n[B\nx=1\n", "A", "x", "1"},
        {"text after the bracket: no section", "[A]\n[B] // b\nx=1\n", "A", "x", "1"},
        {"section without a name", "[]\nx=1\n", "", "x", "1"},
        {"case counts", "[A]\nX=1\nx=2\n", "A", "x", "2"},
        {"the first of equal names", "[A]\nx=1\nx=2\n", "A", "x", "1"},
        {"one star is nothing special", "[A]\n*x=1\n", "A", "*x", "1"},
        {"byte order mark", "\xEF\xBB\xBF[A]\nx=1\n", "A", "x", "1"},
        {"block found without its mark", "[A]\n**M = 2\na\n b \n", "A", "M", "a\n b \n"},
        {"block found with its mark", "[A]\n ** M=1\na\n", "A", "**M", "a\n"},
        {"a mark finds blocks only", "[A]\nM=1\n**M=1\nb\n", "A", "**M", "b\n"},
        {"block lines are not parsed", "[A]\n**M=3\n[B]\n//c\nx=1\nx=2\n", "A", "x", "2"},
        {"block lines are kept whole, empty ones too", "[A]\n**M=3\n[B]\n\n//c\nx=2\n", "A", "M",
         "[B]\n\n//c\n"},
        {"block lines end alike", "[A]\r\n**M=1\r\n1 2\r\n", "A", "M", "1 2\n"},
        {"block longer than the file", "[A]\n**M=5\na\nb", "A", "M", "a\nb\n"},
        {"count beyond every number", "[A]\n**M=99999999999999999999\na\n", "A", "M", "a\n"},
        {"count that is not a number", "[A]\n**M=two\nx=1\n", "A", "x", "1"},
        {"count below 0", "[A]\n**M=-1\nx=1\n", "A", "x", "1"},
        {"count with more text", "[A]\n**M=1 line\nx=1\nx=2\n", "A", "x", "2"},
        {"block without an equals sign", "[A]\n**M\nx=1\n", "A", "x", "1"},
    };
    for (const ValueRow& row : rows) {
        SCOPED_TRACE(row.rule);
        testing::internal::CaptureStdout();
        EXPECT_EQ(parsed(row.text).getValue(row.section, row.name), row.value);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    }
}

TEST(IniFile, missesPrintTheirPlaceAndGiveAnEmptyText) {
    const std::string noKey = "Unable to locate specified key: B\n(keyfile is dir/x.par )\n";
    const std::string noValue =
        "Unable to locate specified value: y\n(but Key:A exist.)\n(keyfile is dir/x.par )\n";
    const struct {
        const char* text;
        const char* section;
        const char* name;
        std::string printed;
    } rows[] = {
        {"[A]\nx=1\n", "B", "x", noKey},
        {"[b]\nx=1\n", "B", "x", noKey},
        {"", "B", "x", noKey},
        {"[A]\nx=1\n", "A", "y", noValue},
        {"y=1\n[A]\nx=1\n", "A", "y", noValue},       // before the first section: belongs to none
        {"[A]\nx=1\n[A]\ny=1\n", "A", "y", noValue},  // a second section of the name is hidden
        {"[A]\nx=1\n[B]\ny=1\n", "A", "y", noValue},
        {"[A]\n**x=1\ny=1\n", "A", "y", noValue},  // taken by the block
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text);
        testing::internal::CaptureStdout();
        EXPECT_EQ(parsed(row.text).getValue(row.section, row.name), "");
        EXPECT_EQ(testing::internal::GetCapturedStdout(), row.printed);
    }
}

TEST(IniFile, indicesInFileOrder) {
    const IniFile file = parsed("[A]\nx=1\n**M=1\n0\n[B]\ny=2\n");
    EXPECT_EQ(file.findKey("A"), 0);
    EXPECT_EQ(file.findKey("B"), 1);
    EXPECT_EQ(file.findKey("C"), -1);
    EXPECT_EQ(file.findValue(0, "**M"), 1);
    EXPECT_EQ(file.findValue(1, "x"), -1);
    EXPECT_EQ(file.findValue(-1, "x"), -1);
    EXPECT_EQ(file.findValue(2, "x"), -1);
}

TEST(IniFile, doubles) {
    const IniFile file = parsed("[A]\na=1.5\nb= -2e-3 // why\nc=\nd=one\ne=3,5\n");
    EXPECT_EQ(file.getDouble("A", "a"), 1.5);
    EXPECT_EQ(file.getDouble("A", "b"), -2e-3);
    EXPECT_EQ(file.getDouble("A", "c"), 0.0);
    EXPECT_EQ(file.getDouble("A", "d"), 0.0);
    EXPECT_EQ(file.getDouble("A", "e"), 3.0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(file.getDouble("A", "z"), 0.0);
    EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::HasSubstr("specified value: z"));
}

TEST(IniFile, matricesByRows) {
    const Matrix empty;
    const struct {
        const char* rule;
        const char* text;  // what follows the section's head
        Matrix matrix;
    } rows[] = {
        {"block, a line a row", "**M=3\n2 3\n1 2 3\n4 5 6\n", Matrix{{1, 2, 3}, {4, 5, 6}}},
        {"block, one line", "**M=1\n2 2 1 2 3 4\n", Matrix{{1, 2}, {3, 4}}},
        {"block, any breaks", "**M=4\n2\n2\t1\n2 3\n4\n", Matrix{{1, 2}, {3, 4}}},
        {"entry", "M=1 2 -1e3 .5\n", Matrix{{-1000, .5}}},
        {"too many elements", "M=1 1 7 8 9\n", Matrix{{7}}},
        {"too few elements", "**M=2\n2 2\n1 2\n", Matrix{{1, 2}, {0, 0}}},
        {"no number among the elements", "M=2 2 1 x 3 4\n", Matrix{{1, 0}, {0, 0}}},
        {"not-a-number does not count as a number", "M=1 2 nan 4\n", Matrix{{0, 0}}},
        {"no rows", "M=0 3\n", Matrix(0, 3)},
        {"empty text", "M=\n", empty},
        {"one dimension", "M=3\n", empty},
        {"dimension that is not a number", "M=a 3 1 2 3\n", empty},
        {"dimension that is not a whole number", "M=1.5 3 1 2 3\n", empty},
        {"dimension below 0", "M=-1 -3 1 2 3\n", empty},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.rule);
        const Matrix read = parsed(std::string("[A]\n") + row.text).getMatrix("A", "M");
        ASSERT_EQ(read.rows(), row.matrix.rows());
        ASSERT_EQ(read.cols(), row.matrix.cols());
        EXPECT_EQ(read, row.matrix);
    }
}

TEST(IniFile, matrixTooLargeIsOutOfMemory) {
    for (const char* dimensions :
         {"65536 65536", "2147483648 1", "99999999999 99999999999", "40000 40000", "1 16777217"}) {
        SCOPED_TRACE(dimensions);
        EXPECT_THROW(parsed(std::string("[A]\nM=") + dimensions + " 1 2 3\n").getMatrix("A", "M"),
                     std::bad_alloc);
    }
}

TEST(IniFile, readsAFileAndKeepsTheOldContentsWhenItCannot) {
    const auto folder = ownFolder() / "inifile_test";
    std::filesystem::create_directories(folder);
    const auto path = folder / "a.par";
    std::ofstream(path) << "[A]\nx=1\n";

    IniFile file(path.string());
    EXPECT_TRUE(file.read());
    EXPECT_EQ(file.getValue("A", "x"), "1");
    std::filesystem::remove(path);
    EXPECT_FALSE(file.read());
    EXPECT_EQ(file.getValue("A", "x"), "1");

    EXPECT_FALSE(IniFile(folder.string()).read());  // a folder opens, but cannot be read
    EXPECT_FALSE(IniFile("").read());
    std::ofstream{path};
    EXPECT_TRUE(IniFile(path.string()).read());  // an empty file is a file
    std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
