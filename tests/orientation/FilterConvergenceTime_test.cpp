#include "orientation/FilterConvergenceTime.h"

#include "support/FilterTest.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

using Harness = FilterHarness<FilterConvergenceTime>;

void startRecording(Harness& h) {
    h.feed("motionStoped", 0.0, row({1}));
    h.process();
}

/// Feeds a time and an error and processes them.
void record(Harness& h, double time, double error) {
    h.feed("timeStamp", 0.0, row({time}));
    h.feed("errorAngle", 0.0, row({error}));
    h.process();
}

/// The last value that a pin sent since the last clear; -1 for none.
double last(const Harness& h, const std::string& pin) {
    const auto sent = h.sent(pin);
    return sent.empty() ? -1.0 : sent.back().value(0, 0);
}

TEST(FilterConvergenceTime, TimesTheEntryIntoTheBand) {
    struct Row {
        const char* name;
        std::vector<double> errors;
        double finalAngle, convergenceTime;  // after the last error; -1: not sent with it
        const char *threshold = "1", *maximum = "5";
    };
    // times are 10.0, 10.5, 11.0, ...
    const Row rows[] = {
        {"three errors", {9, 9, 9}, -1, -1},
        {"the first error is not looked at", {9, 1, 1, 1}, 1, 0},
        {"outside at 3: the time of error 2", {9, 9, 9, 9, 1, 1, 1, 1}, 1, 1.0},
        {"outside at the newest end is skipped", {9, 9, 9, 2, 2, 2, 1, 3}, 2, 0.5},
        {"mean of the last two of eight", {9, 9, 9, 9, 9, 9, 0.5, 1.5}, 1, 2.0},
        {"at m + threshold is outside", {1, 1, 2, 1, 1}, 1, 0.5},
        {"at m - threshold is outside", {1, 1, 0, 1, 1}, 1, 0.5},
        {"equal to the maximum accuracy is not evaluated", {9, 9, 9, 9, 5, 5, 5, 5}, 5, -1},
        {"a higher maximum", {9, 9, 9, 9, 5, 5, 5, 5}, 5, 1.0, "1", "6"},
        {"a wider band", {1, 1, 2, 1, 1}, 1, 0, "1.5"},
    };
    for (const Row& row_ : rows) {
        Harness h;
        h.set("threshold", row_.threshold);
        h.set("maximumAccuracy", row_.maximum);
        startRecording(h);
        for (std::size_t i = 0; i < row_.errors.size(); ++i) {
            h.clear();
            record(h, 10.0 + 0.5 * static_cast<double>(i), row_.errors[i]);
        }
        EXPECT_EQ(last(h, "finalAngle"), row_.finalAngle) << row_.name;
        EXPECT_EQ(last(h, "convergenceTime"), row_.convergenceTime) << row_.name;
    }
}

TEST(FilterConvergenceTime, RaisesWhenTheTimeIsNotThereAndGoesOn) {
    Harness h;
    startRecording(h);
    for (const double error : {9.0, 9.0, 9.0, 9.0}) {
        h.feed("errorAngle", 0.0, row({error}));  // four errors, no time
    }
    h.process(4);
    h.clear();
    h.feed("errorAngle", 0.0, row({1}));
    try {
        h.process();
        FAIL() << "nothing raised";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "invalid vector<T> subscript");
    }
    EXPECT_EQ(last(h, "finalAngle"), 1.0);        // was sent before
    EXPECT_EQ(last(h, "convergenceTime"), -1.0);  // was not
    for (const double time : {3.0, 4.0, 6.0, 7.0}) h.feed("timeStamp", 0.0, row({time}));
    h.process(4);
    h.feed("errorAngle", 0.0, row({1}));
    h.process();  // the error that came with the exception was recorded: six errors, outside at 3
    EXPECT_EQ(last(h, "convergenceTime"), 3.0);
    h.clear();
    h.command("reset");
    h.process();
    EXPECT_EQ(last(h, "convergenceTime"), 0.0);
}

TEST(FilterConvergenceTime, RecordsFromTheMotionStopToTheReset) {
    Harness h;
    for (int i = 0; i < 6; ++i) record(h, 100 + i, 9);  // errors are dropped, times stay in the pin
    for (const Matrix& still : {row({0, 0}), row({-0.0}), Matrix(0, 0)}) h.feed("motionStoped", 0.0, still);
    h.process(3);
    record(h, 106, 9);
    EXPECT_TRUE(h.sends().empty());
    h.feed("motionStoped", 0.0, row({0, kNaN}));
    h.feed("errorAngle", 0.0, row({9}));
    h.process();
    h.feed("motionStoped", 0.0, row({0}));  // does not end it
    for (const double error : {9.0, 9.0, 1.0}) h.feed("errorAngle", 0.0, row({error}));
    h.process(3);
    EXPECT_EQ(last(h, "convergenceTime"), 101.0 - 100.0);  // 100 to 103 were the waiting times
    EXPECT_GT(h.sends().back().t, 1.3e10);                 // wall clock: seconds since 1582

    h.command("reset");
    h.clear();
    h.process();
    EXPECT_EQ(h.sends().size(), 1U);
    EXPECT_EQ(last(h, "convergenceTime"), 0.0);
    record(h, 200, 1);
    EXPECT_EQ(h.sends().size(), 1U);  // not recording
}

TEST(FilterConvergenceTime, AnEmptyTimeEndsTheCallBeforeTheError) {
    Harness h;
    startRecording(h);
    for (const double error : {1.0, 1.0, 1.0}) record(h, 0, error);
    h.feed("timeStamp", 0.0, Matrix(0, 0));
    h.feed("errorAngle", 0.0, row({1}));
    h.process();
    EXPECT_TRUE(h.sends().empty());
    h.process();  // the error was left in the pin
    EXPECT_EQ(last(h, "finalAngle"), 1.0);
    h.feed("errorAngle", 0.0, Matrix(3, 0));  // an empty error is consumed and not recorded
    h.clear();
    h.process();
    EXPECT_TRUE(h.sends().empty());
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
