#include "io/recording/RecordingReader.h"

#include <zlib.h>

#include <charconv>

#include "support/TemporaryFolder.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;

std::string number(double value) {
    char text[32];
    return {text, std::to_chars(text, text + 32, value).ptr};
}

/// Everything the reader says about a text: "0.1: 3a=1,2,3; 3m=..." a row, "!" and the message a fault.
std::string told(RecordingReader& reader) {
    std::string out;
    for (;;) {
        const auto next = reader.next();
        if (next == RecordingReader::Next::kEnd) return out;
        if (next == RecordingReader::Next::kFault) {
            out += "!" + reader.message() + "\n";
            continue;
        }
        out += number(reader.row().time()) + ":";
        for (std::size_t i = 0; i < reader.schema().channels.size(); ++i) {
            if (!reader.row().has(i)) continue;
            out += " " + reader.schema().channels[i].pin + (reader.row().isRepeated(i) ? "~" : "=");
            for (std::size_t e = 0; e < reader.schema().channels[i].size(); ++e) {
                out += (e ? "," : "") + number(reader.row().values(i)[e]);
            }
        }
        out += "\n";
    }
}

std::string told(std::string_view text, const ReaderOptions& options = {}, std::size_t block = 64) {
    RecordingReader reader(memorySource(text), "r.csv", options, block);
    return told(reader);
}

TEST(RecordingReader, readsRows) {
    const struct {
        const char* rule;
        const char* text;
        const char* rows;
    } rows[] = {
        {"plain", "t,ax,ay,az\n0,1,2,3\n0.5,-1e3,.5,+7\n", "0: 3a=1,2,3\n0.5: 3a=-1000,0.5,7\n"},
        {"carriage returns, no line feed at the end", "t,ax,ay,az\r\n0,1,2,3\r\n1,4,5,6",
         "0: 3a=1,2,3\n1: 3a=4,5,6\n"},
        {"mark, comments and blank lines", "\xEF\xBB\xBF# by hand\n\n// more\nt,ax,ay,az\n\n# x\n0,1,2,3\n",
         "0: 3a=1,2,3\n"},
        {"the separator said first", "sep=;\nt;ax;ay;az\n0;1;2;3\n", "0: 3a=1,2,3\n"},
        {"blanks, quotes and decimal commas", "t;ax;ay;az\n 0 ; \"1\" ;2,5; 3\n", "0: 3a=1,2.5,3\n"},
        {"missing values send nothing",
         "t,ax,ay,az,mx,my,mz\n0,1,2,3,,,\n1,nan,2,3,4,5,NaN\n2,\"\",,,4,5,6\n",
         "0: 3a=1,2,3\n1:\n2: 3m=4,5,6\n"},
        {"cells of unknown columns may hold anything", "t,note,ax,ay,az,end\n0,\"a,b\",1,2,3,x\n",
         "0: 3a=1,2,3\n"},
        {"separators behind the last column", "t,ax,ay,az\n0,1,2,3,,\n", "0: 3a=1,2,3\n"},
        {"units", "t (ms),ax (mg),ay (mg),az (mg)\n1234,0,1000,2000\n", "1.234: 3a=0,9.80665,19.6133\n"},
        {"-9999 in all cells of a vector counts as missing", "t,ax,ay,az\n0,-9999,-9999,-9999\n1,-9999,2,3\n",
         "0:\n1: 3a=-9999,2,3\n"},
        {"a header in a comment", "% made by hand\n%t,ax,ay,az\n0,1,2,3\n", "0: 3a=1,2,3\n"},
        {"a counter is not a sensor", "t,id,ax,ay,az\n0,1,1,2,3\n1,2,4,5,6\n2,3,7,8,9\n3,4,1,1,1\n",
         "0: 3a=1,2,3\n1: 3a=4,5,6\n2: 3a=7,8,9\n3: 3a=1,1,1\n"},
        {"rows of another sensor are not read", "t,id,ax,ay,az\n0,L,1,2,3\n1,L,4,5,6\n2,R,7,8,9\n",
         "0: 3a=1,2,3\n1: 3a=4,5,6\n!r.csv:4: the table holds several sensors: column 'id' has 'L' and 'R'; "
         "split the file by this column, one file a sensor, or choose one with --sensor NAME (fuse) or the "
         "property Sensor\n"},
        {"equal time stamps", "t,ax,ay,az\n1,1,2,3\n1,4,5,6\n", "1: 3a=1,2,3\n1: 3a=4,5,6\n"},
    };
    for (const auto& row : rows) EXPECT_EQ(told(row.text), row.rows) << row.rule;
}

TEST(RecordingReader, reportsFaultsWithTheirLineAndGoesOn) {
    const struct {
        const char* rule;
        const char* line;
        const char* message;
        Fault fault;
    } rows[] = {
        {"text in a number", "1,x,2,3", "r.csv:3: column 2 holds 'x', which is no number",
         Fault::kNotANumber},
        {"a number with a tail", "1,2.5m,2,3", "r.csv:3: column 2 holds '2.5m', which is no number",
         Fault::kNotANumber},
        {"beyond a double", "1,1e999,2,3", "r.csv:3: column 2 holds '1e999', which is no number",
         Fault::kNotANumber},
        {"short row", "1,2,3", "r.csv:3: too few cells: the row has 3 of 4 cells", Fault::kShortRow},
        {"long row", "1,2,3,4,5",
         "r.csv:3: too many cells: the row has 5, the header 4 (are commas used as decimal points?)",
         Fault::kLongRow},
        {"time backwards", "-1,2,3,4", "r.csv:3: time runs backwards: -1 s after 0 s", Fault::kTimeBackwards},
        {"no time", ",2,3,4", "r.csv:3: the row has no time stamp", Fault::kNoTime},
        {"infinite time", "inf,2,3,4", "r.csv:3: column 1 holds 'inf', which is no number",
         Fault::kNotANumber},
        {"infinite value", "1,2,-inf,4", "r.csv:3: column 3 holds '-inf', which is no number",
         Fault::kNotANumber},
        {"a line without end",
         "1,0000000000000000000000000000000000000000000000000000000000000000000000000000000000000000,2,3",
         "r.csv:3: a line is longer than 64 bytes", Fault::kUnreadable},
    };
    for (const auto& row : rows) {
        const std::string text = std::string("t,ax,ay,az\n0,1,1,1\n") + row.line + "\n2,3,3,3\n";
        RecordingReader reader(memorySource(text), "r.csv", {}, 64);
        const std::string all = told(reader);
        EXPECT_THAT(all, testing::StartsWith("0: 3a=1,1,1\n!" + std::string(row.message))) << row.rule;
        EXPECT_THAT(all, testing::EndsWith("\n2: 3a=3,3,3\n")) << row.rule;
        EXPECT_EQ(reader.fault(), row.fault) << row.rule;
        EXPECT_EQ(reader.rows(), 2u) << row.rule;
    }
}

TEST(RecordingReader, tellsAFileThatEndsInMidRow) {
    EXPECT_EQ(told("t,ax,ay,az\n0,1,2,3\n1,4,5"),
              "0: 3a=1,2,3\n!r.csv:3: the file ends in the middle of this row, after 3 of 4 cells\n");
    EXPECT_EQ(told("t,ax,ay,az\n0,1,2,3\n1,4,5,-"),
              "0: 3a=1,2,3\n!r.csv:3: column 4 holds '-', which is no number: the file ends in the middle of "
              "this row\n");
}

TEST(RecordingReader, refusesFilesThatCannotBeUsed) {
    const auto refusal = [](const std::string& text) -> std::string {
        try {
            RecordingReader(memorySource(text), "r.csv", {});
        } catch (const Poco::DataFormatException& exception) {
            return exception.message();
        }
        return "accepted";
    };
    EXPECT_EQ(refusal(""), "r.csv: the file is empty: there is no header and no row");
    EXPECT_EQ(refusal("# only\n\n"), "r.csv:2: no header: there are only comments and empty lines");
    EXPECT_THAT(refusal("1,2,3\n4,5,6\n"), HasSubstr("r.csv:1: no header: the first line holds numbers"));
    std::string late = "t,id,ax,ay,az\n";  // a second sensor that is not among the first rows
    for (int i = 0; i < 200; ++i) late += std::to_string(i) + (i < 150 ? ",L" : ",R") + ",1,2,3\n";
    EXPECT_THAT(refusal(late), HasSubstr("column 'id' has 'L' and 'R'"));
    EXPECT_THROW(RecordingReader::open("/nowhere/r.csv", {}), Poco::FileNotFoundException);
    EXPECT_THROW(RecordingReader::open("/", {}), Poco::OpenFileException);
}

TEST(RecordingReader, repeatsAndKeepsTogetherWhatIsAsked) {
    ReaderOptions options;
    options.repeat = {"3m"};
    options.together = {"3a", "3g", "3m"};
    const char* text =
        "t,ax,ay,az,gx,gy,gz,mx,my,mz\n"
        "0,1,1,1,2,2,2,,,\n"  // no field yet: nothing can be paired
        "1,1,1,1,2,2,2,3,3,3\n"
        "2,1,1,1,2,2,2,,,\n"
        "3,,,,2,2,2,4,4,4\n"  // a rate without acceleration would pair with the next row's
        "4,1,1,1,2,2,2,,,\n";
    EXPECT_EQ(told(text, options),
              "0:\n1: 3a=1,1,1 3g=2,2,2 3m=3,3,3\n2: 3a=1,1,1 3g=2,2,2 3m~3,3,3\n3:\n4: 3a=1,1,1 3g=2,2,2 "
              "3m~4,4,4\n");
}

TEST(RecordingReader, readsTheSameWhateverTheBlocks) {
    std::mt19937 random(7);
    std::string text = "t,ax,ay,az,gx,gy,gz\n";
    for (int row = 0; row < 300; ++row) {
        text += std::to_string(row) + "." + std::to_string(random() % 1000);
        for (int cell = 0; cell < 6; ++cell) {
            text += "," + (random() % 9 == 0 ? std::string() : number(static_cast<double>(random()) / 1e3));
        }
        text += random() % 2 == 0 ? "\n" : "\r\n";
    }
    const std::string whole = told(text, {}, 1 << 20);
    EXPECT_EQ(std::count(whole.begin(), whole.end(), '\n'), 300);
    for (const std::size_t block : {128u, 129u, 200u, 1000u})
        EXPECT_EQ(told(text, {}, block), whole) << block;
}

TEST(RecordingReader, readsGzip) {
    const TemporaryFolder folder;
    const std::string path = folder.path("r.csv.gz");
    std::string rows = "0: 3a=1,2,3\n";
    const auto append = [&path](const std::string& text) {  // each call appends a gzip member
        const gzFile file = ::gzopen(path.c_str(), "ab");
        ::gzwrite(file, text.data(), static_cast<unsigned>(text.size()));
        ::gzclose(file);
    };
    append("t,ax,ay,az\n0,1,2,3\n");
    std::string more;
    for (int i = 1; i < 100000; ++i) {
        more += std::to_string(i) + ",1,2,3\n";
        rows += number(i) + ": 3a=1,2,3\n";
    }
    append(more);
    RecordingReader whole = RecordingReader::open(path, {});
    EXPECT_TRUE(told(whole) == rows);

    std::filesystem::resize_file(path, std::filesystem::file_size(path) - 30);
    RecordingReader cut = RecordingReader::open(path, {});
    EXPECT_THAT(told(cut), HasSubstr("ends in the middle of its compressed data"));
    EXPECT_EQ(cut.fault(), Fault::kUnreadable);
    EXPECT_GT(cut.rows(), 1u);
}

}  // namespace
}  // namespace Kavelin::RecordingIO
