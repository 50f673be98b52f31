#include "cli/batch/ProcessPool.h"

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <map>

#include "cli/Interruption.h"
#include "support/TestKit.h"

namespace Kavelin::Cli {
namespace {

TEST(ProcessPool, aTaskThatCrashesTakesNoOtherWithIt) {
    std::map<std::size_t, ChildEnd> ends;
    const bool isWhole = runInChildren(
        {7, 8, 9}, 2,
        [](std::size_t task) {
            std::fprintf(stderr, "task %zu has %d\n", task, std::getchar());
            if (task == 8) ::raise(SIGKILL);
            return static_cast<int>(task);
        },
        [&](std::size_t task, const ChildEnd& end) { ends[task] = end; });
    EXPECT_TRUE(isWhole);
    ASSERT_EQ(ends.size(), 3u);
    EXPECT_EQ(ends[7].status, 7);
    EXPECT_EQ(ends[9].text, "task 9 has -1\n") << "a child has an input";
    EXPECT_EQ(ends[8].status, std::nullopt);
    EXPECT_EQ(ends[8].signal, SIGKILL);
    EXPECT_EQ(ends[8].text, "task 8 has -1\n");
}

TEST(ProcessPool, anInterruptionEndsTheChildrenAndStartsNoMore) {
    const Interruption caught;
    const ::pid_t parent = ::getpid();
    const bool isWhole = runInChildren(
        {0, 1, 2}, 2,
        [parent](std::size_t task) {
            if (task == 1) ::kill(parent, SIGINT);
            for (;;) ::pause();  // waiting for them would never end
            return 0;
        },
        [](std::size_t task, const ChildEnd&) { ADD_FAILURE() << "task " << task << " was reported"; });
    EXPECT_FALSE(isWhole);
}

}  // namespace
}  // namespace Kavelin::Cli
