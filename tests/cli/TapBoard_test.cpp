#include "cli/view/TapBoard.h"

#include <nlohmann/json.hpp>
#include <thread>

#include "cli/CommandContext.h"
#include "support/TestFilters.h"
#include "support/TestKit.h"

namespace Kavelin::Cli {
namespace {

using namespace Tests;
using nlohmann::json;

class TapBoardTest : public testing::Test {
protected:
    void send(double value) {
        filter.out.value() = Matrix::Constant(1, 1, value);
        filter.out.send(time++);
    }
    /// {"count", "skipped", "low", "high", the value} of what is new; null where nothing is.
    json news(WatchList& list) {
        const std::string text = board.samplesText(list);
        if (text.empty()) return nullptr;
        const json pin = json::parse(text)["pins"]["f:out"];
        return {pin["count"], pin["skipped"], pin["low"], pin["high"], pin["v"][0]};
    }

    ScriptedFilter filter{"f", [](ScriptedFilter&) {}};
    TapBoard board{{&filter}};
    double time = 0.0;
};

TEST_F(TapBoardTest, EachPageGetsTheNewestAndWhatItMissed) {
    WatchList early, late;
    board.watch(early, {"f:out"});
    EXPECT_EQ(news(early), nullptr) << "nothing was sent yet";
    send(0), send(1), send(0);  // a short flag
    EXPECT_EQ(news(early), (json{3, 0, 0, 1, 0}));
    EXPECT_EQ(news(early), nullptr);
    send(7);
    board.watch(late, {"f:out"});
    EXPECT_EQ(news(late), (json{4, 0, 7, 7, 7})) << "the present sample, at once";
    send(-2), send(std::numeric_limits<double>::quiet_NaN()), send(3);
    EXPECT_EQ(news(late), (json{7, 2, -2, 3, 3}));
    EXPECT_EQ(news(early), (json{7, 3, -2, 7, 3}));
    board.forget(late);
    send(9);
    EXPECT_EQ(news(early), (json{8, 0, 9, 9, 9}));
    board.forget(early);
    send(10);
    EXPECT_EQ(board.count(0), 9) << "counted, watched or not";
}

TEST_F(TapBoardTest, UnknownPinsAreRefusedAndWhatWasWatchedStays) {
    WatchList list;
    board.watch(list, {"f:out", "f:out"});
    try {
        board.watch(list, {"f:out", "f:ou"});
        FAIL();
    } catch (const UsageError& refusal) {
        EXPECT_STREQ(refusal.what(), "no output is named \"f:ou\"; did you mean \"f:out\"? Outputs: f:out");
    }
    send(1);
    EXPECT_EQ(news(list), (json{1, 0, 1, 1, 1}));
    board.forget(list);
}

/// Values and counts belong together, whatever the threads do.
TEST_F(TapBoardTest, AReaderInAnotherThreadSeesWholeSamples) {
    WatchList list;
    board.watch(list, {"f:out"});
    const std::jthread writer([&](const std::stop_token& stop) {
        for (int i = 1; !stop.stop_requested(); ++i) {
            filter.out.value() = Matrix::Constant(1 + i % 3, 2, i);
            filter.out.send(i);
        }
    });
    std::uint64_t seen = 0;
    for (int news = 0; news < 2000;) {
        const std::string text = board.samplesText(list);
        if (text.empty()) continue;
        const json pin = json::parse(text)["pins"]["f:out"];
        if (news++ > 0) {
            ASSERT_EQ(pin["count"], seen + pin["skipped"].get<std::uint64_t>() + 1);
        }
        seen = pin["count"];
        ASSERT_EQ(pin["t"], seen);
        ASSERT_EQ(pin["v"], json(std::vector<double>(2 * (1 + seen % 3), static_cast<double>(seen))));
    }
    board.forget(list);
}

}  // namespace
}  // namespace Kavelin::Cli
