#include <gmock/gmock.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "cli/FuseTrial.h"
#include "support/TemporaryFolder.h"

namespace Kavelin::Cli {
namespace {

const int kNoDisk = 77;

std::string fuse(const std::string& recording, const std::string& output) {
    FuseTrial trial(recording, output);
    try {
        trial.run();
    } catch (const Poco::Exception& failure) {
        trial.err << failure.displayText();
    }
    return trial.err.str();
}

/// In a process of its own, which alone sees the small disk.
void fuseOntoASmallDisk(const Tests::TemporaryFolder& folder) {
    const std::string disk = folder.path("disk");
    const bool isMounted = std::filesystem::create_directory(disk) &&
                           (::unshare(CLONE_NEWNS) == 0 || ::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0) &&
                           ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                           ::mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=256k") == 0;
    if (!isMounted) ::_exit(kNoDisk);
    std::ofstream(folder.path("said")) << fuse(folder.path("rec.csv"), disk + "/out.csv");
    std::ofstream(folder.path("kept.csv")) << std::ifstream(disk + "/out.csv").rdbuf();
    ::_exit(std::filesystem::exists(disk + "/out.csv.part") ? 1 : 0);
}

TEST(FuseFullDisk, keepsTheRowsThatFoundRoom) {
    const Tests::TemporaryFolder folder;
    std::string rows = "t,ax,ay,az,mx,my,mz\n";
    for (int i = 0; i < 20000; ++i) rows += std::to_string(i) + ",0,0,9.81,20,0,-40\n";
    folder.write("rec.csv", rows);
    const ::pid_t child = ::fork();
    if (child == 0) fuseOntoASmallDisk(folder);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == kNoDisk) GTEST_SKIP() << "skipped: no small disk may be mounted here";
    EXPECT_EQ(WEXITSTATUS(status), 0) << "a temporary file was left";

    const std::string kept = folder.read("kept.csv");
    const auto lines = std::count(kept.begin(), kept.end(), '\n');
    EXPECT_THAT(folder.read("said"), testing::HasSubstr("No space left on device; " +
                                                        std::to_string(lines - 1) + " rows are kept"));
    EXPECT_GT(lines, 1000);
    fuse(folder.path("rec.csv"), folder.path("whole.csv"));
    EXPECT_EQ(kept.back(), '\n');
    EXPECT_TRUE(folder.read("whole.csv").starts_with(kept));
}

}  // namespace
}  // namespace Kavelin::Cli
