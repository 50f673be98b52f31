#include "io/recording/WriteBehind.h"

#include <gmock/gmock.h>

#include <limits>

#include "support/TemporaryFolder.h"

namespace Kavelin::RecordingIO {
namespace {

TEST(WriteBehind, writesWhatItsFileWouldHaveWritten) {
    const Tests::TemporaryFolder folder;
    const double cells[] = {0.1, std::numeric_limits<double>::quiet_NaN(), -0.0, 1.0, 1e300};
    const auto fill = [&](auto& rows, int i) {
        rows.number(i / 7.0);
        rows.emptyCells(static_cast<std::size_t>(i % 3));
        rows.cells(cells, static_cast<std::size_t>(i % 5));
        rows.emptyCells(1);
        rows.endRow();
    };
    ResultFile direct(folder.path("direct.csv"));
    ResultFile file(folder.path("behind.csv"));
    WriteBehind behind(file);
    direct.header("t");
    file.header("t");
    for (int i = 0; i < 3000; ++i) {
        fill(direct, i);
        fill(behind, i);
    }
    behind.finish();
    EXPECT_EQ(file.rows(), 3000u);
    direct.finish();
    file.finish();
    EXPECT_TRUE(folder.read("direct.csv") == folder.read("behind.csv"));
}

TEST(WriteBehind, raisesAFailureOnceAndTakesTheRestForLost) {
    ResultFile file("/dev/full");
    WriteBehind behind(file);
    int raised = 0;
    for (int i = 0; i < 100000; ++i) {
        try {
            behind.number(i);
            behind.endRow();
        } catch (const Poco::WriteFileException&) {
            ++raised;
        }
    }
    try {
        behind.finish();
    } catch (const Poco::WriteFileException&) {
        ++raised;
    }
    EXPECT_EQ(raised, 1);
}

}  // namespace
}  // namespace Kavelin::RecordingIO
