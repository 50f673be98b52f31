#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "cli/FuseTrial.h"
#include "cli/Interruption.h"
#include "support/TemporaryFolder.h"
#include "support/TestKit.h"

namespace Kavelin::Cli {
namespace {

using namespace Tests;

std::string rows(int from, int to) {
    std::string text;
    for (int i = from; i < to; ++i) text += std::to_string(i) + ",0,0,9.81,20,0,-40\n";
    return text;
}

void writeAll(int fd, const std::string& text) {
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = ::write(fd, text.data() + done, text.size() - done);
        if (count <= 0) return;  // the reader has left: that is what is tested
        done += static_cast<std::size_t>(count);
    }
}

/// A recording arrives through a pipe, the interruption after some of its rows. Then come the others, or
/// nothing at all while the pipe stays open.
class FuseInterruption : public testing::TestWithParam<bool> {
protected:
    static constexpr int kBegun = 50000;
    static constexpr int kAll = 200000;

    void feed(int fd) {
        writeAll(fd, "t,ax,ay,az,mx,my,mz\n" + rows(0, kBegun));
        ::kill(::getpid(), SIGINT);
        if (GetParam()) {
            writeAll(fd, rows(kBegun, kAll));
        } else {
            hasEnded_.wait(false);
        }
        ::close(fd);
    }

    std::atomic<bool> hasEnded_{false};
};

TEST_P(FuseInterruption, keepsTheRowsDone) {
    const Tests::TemporaryFolder folder;
    const std::string pipe = folder.path("rec.csv");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    ::signal(SIGPIPE, SIG_IGN);
    std::thread feeder([&] { feed(::open(pipe.c_str(), O_WRONLY)); });

    FuseTrial trial(pipe, folder.path("out.csv"));
    {
        // From here on the signal is caught; the feeder may go no further than a pipe's room before
        // the run reads.
        const Interruption caught;
        trial.run();
    }
    hasEnded_.store(true);
    hasEnded_.notify_all();
    feeder.join();

    EXPECT_EQ(trial.context.status, kDoneWithErrors);
    EXPECT_THAT(trial.err.str(), testing::HasSubstr("interrupted; "));
    EXPECT_FALSE(std::filesystem::exists(folder.path("out.csv.part")));
    const std::string table = folder.read("out.csv");
    const auto lines = std::count(table.begin(), table.end(), '\n');
    EXPECT_GT(lines, 1000);
    EXPECT_LT(lines, kAll);
    EXPECT_EQ(table.back(), '\n');
}

INSTANTIATE_TEST_SUITE_P(APipe, FuseInterruption, testing::Bool(),
                         [](const auto& kind) { return kind.param ? "ThatGoesOn" : "ThatFallsSilent"; });

}  // namespace
}  // namespace Kavelin::Cli
