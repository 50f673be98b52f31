#include <charconv>
#include <deque>

#include "io/formats/MessageReader.h"
#include "io/formats/OpenRecording.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;

/// A stream whose reads bring what a test says, at the times that it says.
class ScriptedSource : public ByteSource, public LiveStream {
public:
    struct Read {
        double at;
        std::string bytes;
    };
    explicit ScriptedSource(std::deque<Read> reads, std::string* told = nullptr, bool isSerial = false)
        : reads_(std::move(reads)), told_(told), isSerial_(isSerial) {}

    std::size_t read(char* into, std::size_t size) override {
        if (reads_.empty()) return 0;
        arrival_ = reads_.front().at;
        const std::size_t count = reads_.front().bytes.copy(into, size);
        reads_.pop_front();
        return count;
    }
    bool mayWait() const override { return true; }
    double arrival() const override { return arrival_; }
    LiveStream* live() override { return this; }
    bool beginsMidLine() const override { return isSerial_; }
    std::string hintAboutRubbish() const override { return "; is 9600 baud its rate?"; }
    std::size_t longestLine() const override { return 256; }
    void tell(const std::string& what) override {
        if (told_) *told_ += what + "\n";
    }

private:
    std::deque<Read> reads_;
    std::string* told_;
    bool isSerial_;
    double arrival_ = 0.0;
};

std::string number(double value) {
    char text[32];
    return {text, std::to_chars(text, text + 32, std::round(value * 1e9) / 1e9).ptr};
}

/// "0.5 3a=1,2,3" a row, "!" and the message a fault, "?" and the text a refusal; "~" and how many lost before a row.
std::string rowsOf(std::unique_ptr<ByteSource> source, const OpenOptions& options = {}) {
    std::string out;
    try {
        const auto reader = openStream(std::move(source), "s", options);
        for (auto next = reader->next(); next != RowReader::Next::kEnd; next = reader->next()) {
            if (next == RowReader::Next::kFault) {
                out += "!" + reader->message() + "\n";
                continue;
            }
            const Row& row = reader->row();
            if (row.lost() > 0) out += "~" + std::to_string(row.lost()) + "\n";
            out += number(row.time());
            for (std::size_t i = 0; i < reader->schema().channels.size(); ++i) {
                if (!row.has(i)) continue;
                out += " " + reader->schema().channels[i].pin;
                for (std::size_t e = 0; e < reader->schema().channels[i].size(); ++e)
                    out += (e ? "," : "=") + number(row.values(i)[e]);
            }
            out += "\n";
        }
    } catch (const Poco::Exception& refusal) {
        out += "?" + refusal.message();
    }
    return out;
}

std::string rowsOf(std::deque<ScriptedSource::Read> reads, const OpenOptions& options = {}) {
    return rowsOf(std::make_unique<ScriptedSource>(std::move(reads)), options);
}

OpenOptions byArrival(const std::string& mapping = "3a = #1, #2, #3") {
    OpenOptions options;
    options.isByArrival = true;
    options.mapping = mapping;
    return options;
}

TEST(TimeOfArrival, IsThatOfTheRead) {
    EXPECT_EQ(rowsOf({{100, "1,2,3\n"}, {100.5, "4,5,"}, {100.75, "6\n"}}, byArrival()),
              "0 3a=1,2,3\n0.75 3a=4,5,6\n");
    EXPECT_EQ(rowsOf({{7, "t,ax,ay,az\n5,1,2,3\n"}, {8, "4,1,2,3\n"}}, byArrival("")),
              "0 3a=1,2,3\n1 3a=1,2,3\n")
        << "the times of the recording do not count";
}

TEST(TimeOfArrival, APacketsRowsShareTheTimeSinceTheOneBefore) {
    EXPECT_EQ(rowsOf({{0, "1,2,3\n"}, {0.4, "1,2,3\n# x\n1,2,3\nbad,2,3\n"}, {0.5, "1,2,3\n"}}, byArrival()),
              "0 3a=1,2,3\n0.1 3a=1,2,3\n0.3 3a=1,2,3\n!s:5: column 1 holds 'bad', which is no number\n0.5 "
              "3a=1,2,3\n");
}

TEST(TimeOfArrival, AfterASilenceRowsLieNoFurtherApartThanUsual) {
    EXPECT_EQ(rowsOf({{0, "1,2,3\n"}, {0.1, "1,2,3\n"}, {9, "1,2,3\n1,2,3\n"}}, byArrival()),
              "0 3a=1,2,3\n0.1 3a=1,2,3\n8.6 3a=1,2,3\n9 3a=1,2,3\n");
}

TEST(TimeOfArrival, WhatCameBeforeTheClockBeganIsLost) {
    EXPECT_EQ(rowsOf({{0, "ax,ay,az\n1,2,3\n1,2,3\n4,5,6\n"}, {1, "1,2,3\n"}}, byArrival("")),
              "~2\n0 3a=4,5,6\n1 3a=1,2,3\n");
}

TEST(TimeOfArrival, IsRefusedWhereNothingArrives) {
    EXPECT_THAT(outcome([] { openStream(memorySource("t,ax,ay,az\n0,1,2,3\n"), "r.csv", byArrival("")); }),
                HasSubstr("r.csv: a file does not arrive"));
    EXPECT_THAT(rowsOf({{0, "1,2,3,4\n"}}, byArrival("t = #1; 3a = #2, #3, #4")),
                HasSubstr("which of the two?"));
}

TEST(LiveRecording, AStreamThatIsJoinedInItsMiddleNeedsItsColumns) {
    EXPECT_THAT(rowsOf({{0, "0,1,2,3\n"}}), HasSubstr("--map \"t = #1; 3a = #2, #3, #4\""));
    EXPECT_THAT(rowsOf({{0, "0,1,2,3\n"}}), HasSubstr("add --time arrival, or --rate HZ"));
    OpenOptions options;
    options.mapping = "3a = #2, #3, #4";
    EXPECT_THAT(rowsOf({{0, "0,1,2,3\n"}}, options),
                HasSubstr("or take the time of arrival with --time arrival"));
    options.mapping += "; t = #1 (ms)";
    EXPECT_EQ(rowsOf({{0, "5,1,2,3\n"}}, options), "0.005 3a=1,2,3\n");
}

TEST(LiveRecording, ADeviceThatStartsAgainSendsItsHeaderAndItsTimeGoesOn) {
    std::string told;
    EXPECT_EQ(
        rowsOf(std::make_unique<ScriptedSource>(
            std::deque<ScriptedSource::Read>{{50, "# v1\nt;ax;ay;az\n9;1;2;3\n"},
                                             {52, "# v1\nt;ax;ay;az\n0;1;2;3\n"},
                                             {53, "1;1;2;3\n0.5;1;2;3\n"},
                                             {60, "t;ax;ay;az\n0.9;1;2;3\n"}},
            &told)),
        "9 3a=1,2,3\n11 3a=1,2,3\n12 3a=1,2,3\n!s:8: time runs backwards: 11.5 s after 12 s\n19 3a=1,2,3\n");
    EXPECT_EQ(told,
              "the device's time began again, at 0 s; the rows go on at 11 s\n"
              "the device's time began again, at 0.9 s; the rows go on at 19 s\n");
}

TEST(LiveRecording, TheRestOfALineAndRubbishAtTheStartArePassedOver) {
    const auto serial = [](std::deque<ScriptedSource::Read> reads) {
        return rowsOf(std::make_unique<ScriptedSource>(std::move(reads), nullptr, true));
    };
    EXPECT_EQ(serial({{0, "3,4\nt,ax,ay,az\n0,1,2,3\n"}}), "0 3a=1,2,3\n");
    EXPECT_EQ(serial({{0, "t,ax,ay,az\n0,1,2,3\n"}}), "0 3a=1,2,3\n")
        << "a board that restarts when it is opened";
    EXPECT_EQ(serial({{0, "\x8a\xfe\xd0\n\x01\x02\nboot: 1\nt,ax,ay,az\n0,1,2,3\n"}}), "0 3a=1,2,3\n");
    std::string rubbish;
    for (int i = 0; i < 30; ++i) rubbish += "\xfe\x80\x8e\x9a\n";
    EXPECT_THAT(serial({{0, rubbish}}),
                HasSubstr("what comes is no text: does the device send binary messages?"));
    EXPECT_THAT(serial({{0, rubbish}}), HasSubstr("; is 9600 baud its rate?"));
    std::deque<ScriptedSource::Read> flood;
    for (int i = 0; i < 30; ++i) flood.push_back({0, std::string(100, 'x')});
    EXPECT_THAT(serial(flood),
                HasSubstr("a line is longer than 256 bytes: are there no line feeds, or is it no text"));
}

const char* const kMessages =
    "{\"ping\":{}}\nI,1000000,180,0,0,0,0,1\nM,1010000,1,0,-1\nT,1010000,25.1\nI,1020000,0,0,0,0,0,1\n"
    "Q,1020000,1,0,0,0\nI,oops\nM,1015000,1,0,0\nI,1040000,0,0,x,0,0,1\nI,1060000,0,0,0,0,0\nI,1080000,0,0,0,"
    "0,0,2\n";

TEST(MessageReader, GivesEachKindItsOwnPinsAndTimes) {
    const std::string expected =
        "1 3a=0,0,9.80665 3g=3.141592654,0,0\n1.01 3m=1,0,-1\n1.02 3a=0,0,9.80665 3g=0,0,0\n1.02 "
        "quat=0.707106781,0,0,0.707106781\n"
        "!s:7: 'I,oops' is no message: a letter, a time stamp and numbers are expected\n"
        "!s:8: time runs backwards: 1.015 s after 1.02 s\n"
        "!s:9: value 4 of the message I is 'x', which is no number\n"
        "!s:10: 'I,1060000,0,0,0,0,0' is no message: a letter, a time stamp and numbers are expected\n"
        "1.08 3a=0,0,19.6133 3g=0,0,0\n";
    EXPECT_EQ(rowsOf({{0, std::string(kMessages).substr(0, 100)}, {0, std::string(kMessages).substr(100)}}),
              expected);
    EXPECT_EQ(rowsOf(std::make_unique<ScriptedSource>(
                         std::deque<ScriptedSource::Read>{{0, ",0,1\n"},
                                                          {0, std::string(kMessages).substr(12, 100)}},
                         nullptr, true))
                  .substr(0, 36),
              expected.substr(0, 36));
    OpenOptions table;
    table.format = "table";
    EXPECT_THAT(rowsOf({{0, kMessages}}, table), testing::StartsWith("?"));
}

TEST(MessageReader, SaysWhatCannotBeUsed) {
    OpenOptions options;
    options.format = "ximu3_ascii";
    EXPECT_THAT(rowsOf({{0, "T,1,25\n"}}, options),
                HasSubstr("no message with measurements came (I, M or Q)"));
    options.format = "ngimu_folder";
    EXPECT_THAT(rowsOf({{0, "T,1,25\n"}}, options),
                HasSubstr("a stream is a table or of the format ximu3_ascii"));
    EXPECT_THAT(rowsOf({{0, kMessages}}, byArrival("")), HasSubstr("no time of arrival goes with them"));
}

TEST(MessageReader, AUnitThatStartsAgainGoesOn) {
    std::string told;
    EXPECT_EQ(rowsOf(std::make_unique<ScriptedSource>(
                  std::deque<ScriptedSource::Read>{
                      {10, "M,9000000,1,0,0\nQ,9000000,1,0,0,0\nI,9000000,0,0,0,0,0,1\n"},
                      {12, "F,10,low battery\nI,1000000,0,0,0,0,0,1\n"},
                      {13, "M,2000000,1,0,0\n"}},
                  &told)),
              "9 3m=1,0,0\n9 quat=0.707106781,0,0,0.707106781\n9 3a=0,0,9.80665 3g=0,0,0\n11 3a=0,0,9.80665 "
              "3g=0,0,0\n12 3m=1,0,0\n");
    EXPECT_EQ(told, "the unit says: low battery\nthe unit's time began again; the rows go on at 11 s\n");
}

}  // namespace
}  // namespace Kavelin::RecordingIO
