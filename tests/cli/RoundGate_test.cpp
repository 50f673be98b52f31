#include "cli/layout/RoundGate.h"

#include <future>
#include <thread>

#include "LayoutTestPlugin.h"
#include "cli/layout/LayoutRun.h"
#include "support/TestKit.h"

namespace Kavelin::Cli {
namespace {

using namespace Tests;

/// A clock that stands still but where somebody waits for it: then it is that late already.
class JumpingTimer : public RoundGate::Timer {
public:
    RoundGate::Clock::time_point now() const override { return now_; }
    void await(std::condition_variable&, std::unique_lock<std::mutex>&,
               RoundGate::Clock::time_point until) override {
        now_ = until;
    }
    double seconds() const { return std::chrono::duration<double>(now_.time_since_epoch()).count(); }
    void let(double seconds) {
        now_ +=
            std::chrono::duration_cast<RoundGate::Clock::duration>(std::chrono::duration<double>(seconds));
    }

private:
    RoundGate::Clock::time_point now_{};
};

TEST(ParsePace, TakesAPositiveNumberOrMax) {
    for (const char* text : {"", "0", "-1", "nan", "inf", "1x", "fast"})
        EXPECT_FALSE(parsePace(text)) << text;
    EXPECT_EQ(parsePace("max"), kFullPace);
    EXPECT_EQ(parsePace("0.5"), 0.5);
}

TEST(RoundGate, ARowIsDueByThePaceSinceTheFirstOneOrTheLastChange) {
    const auto timer = std::make_shared<JumpingTimer>();
    RoundGate gate(2.0, timer);
    gate.begin();
    const auto sentAt = [&](double t) {
        gate.pass(t);
        return timer->seconds();
    };
    EXPECT_EQ(sentAt(100), 0);
    EXPECT_EQ(sentAt(103), 1.5);
    timer->let(3.0);  // the filters took long
    EXPECT_EQ(sentAt(104), 4.5);
    EXPECT_EQ(gate.state().lag, 2.5);
    gate.setPace(1.0);
    EXPECT_EQ(sentAt(105), 5.5) << "what was missed is not caught up";
    gate.pause();
    timer->let(60.0);
    gate.resume();
    EXPECT_EQ(sentAt(107), 67.5);
    EXPECT_EQ(gate.wait(3707), 3600);
    gate.setPace(kFullPace);
    EXPECT_EQ(sentAt(1e9), 67.5);
    gate.setPace(1.0);
    EXPECT_EQ(sentAt(1e9 + 1), 68.5);
}

class PausedGate : public testing::Test {
protected:
    /// In a thread of its own; the row is at the gate when this returns.
    std::future<void> send(double t) {
        auto sent = std::async(std::launch::async, [this, t] { gate_.pass(t); });
        ++sent_;
        while (gate_.state().heldBack < sent_) std::this_thread::yield();
        return sent;
    }
    RoundGate gate_;
    std::size_t sent_ = 0;
};

TEST_F(PausedGate, AStepLetsTheEarliestTimeThroughAndNoOther) {
    gate_.pause();
    auto later = send(5), first = send(3), alike = send(3);
    EXPECT_EQ(gate_.state().next, 3);
    gate_.step();
    first.get();
    alike.get();
    EXPECT_EQ(gate_.state().mode, RoundGate::Mode::kPaused);
    EXPECT_EQ(gate_.state().last, 3);
    EXPECT_EQ(gate_.state().heldBack, 1u);
    gate_.step();
    later.get();
}

TEST_F(PausedGate, StepsAskedForEarlyAreTakenInTurn) {
    gate_.step();
    gate_.step();
    gate_.pass(1);
    gate_.pass(2);
    auto third = send(3);
    gate_.resume();
    third.get();
}

TEST_F(PausedGate, AStopWakesAll) {
    gate_.pause();
    auto first = send(1), second = send(2);
    gate_.stop();
    first.get();
    second.get();
    gate_.end();
    EXPECT_EQ(gate_.state().mode, RoundGate::Mode::kEnded);
}

/// Two layouts in threads, one fed by the other and with a source of its own.
class GatedRun : public testing::TestWithParam<bool> {
protected:
    static constexpr const char* kLayouts = R"({"plugins": [], "layouts": [
        {"name": "a", "filters": [{"name": "slow", "type": "TestSource", "properties": {"Period": 2, "Rows": 3}}]},
        {"name": "b", "filters": [{"name": "fast", "type": "TestSource", "properties": {"Rows": 5}},
                                  {"name": "sink", "type": "TestSink"}]}],
        "connections": [{"from": "slow:out", "to": "sink:x"}, {"from": "fast:out", "to": "sink:y"}]})";

    /// Runs it, with `act` in another thread.  @return what the sink took
    template <class Act>
    std::vector<std::string> run(const Act& act, bool isFine = true) {
        const TestPlugin plugin;
        Mistakes mistakes;
        LayoutFile file = parseLayout(kLayouts, mistakes);
        LayoutBuilder builder(file, Core::FlowManager::instance(), mistakes);
        builder.build();
        builder.prepareRun();
        EXPECT_TRUE(mistakes.empty());
        std::ostringstream err;
        LayoutRun run(file, builder, Core::FlowManager::instance(), err,
                      {.threads = GetParam(), .quiet = true, .gate = &gate_});
        const auto acting = std::async(std::launch::async, [&] { act(run); });
        EXPECT_EQ(run.run(), isFine);
        acting.wait();
        std::vector<std::string> lines = TestLog::lines();
        if (GetParam()) std::ranges::sort(lines);  // the log is of both threads
        return lines;
    }
    RoundGate gate_;
};

TEST_P(GatedRun, RowByRowGivesWhatARunInOneGoGives) {
    const std::vector<std::string> whole = run([](LayoutRun&) {});
    EXPECT_EQ(whole.size(), 8u);
    gate_.pause();
    gate_.begin();  // it is not at the end of the run before any more, however late the next one begins
    EXPECT_EQ(run([this](LayoutRun&) {
                  while (gate_.state().mode != RoundGate::Mode::kEnded) {
                      if (gate_.state().heldBack > 0) gate_.step();
                      std::this_thread::yield();
                  }
              }),
              whole);
}

TEST_P(GatedRun, APausedRunCanBeStopped) {
    gate_.pause();
    EXPECT_THAT(run([this](LayoutRun& run) {
                    while (gate_.state().heldBack == 0) std::this_thread::yield();
                    while (gate_.state().mode != RoundGate::Mode::kEnded) run.stop();
                }),
                IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(In, GatedRun, testing::Bool(),
                         [](const auto& kind) { return kind.param ? "Threads" : "OneThread"; });

}  // namespace
}  // namespace Kavelin::Cli
