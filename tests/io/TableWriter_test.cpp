#include "io/recording/TableWriter.h"

#include <thread>

#include "support/NamedPipe.h"
#include "support/TemporaryFolder.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;

class TableWriterTest : public testing::Test {
protected:
    std::string path() const { return folder_.path("out.csv"); }
    std::string text() const { return folder_.read("out.csv"); }
    TemporaryFolder folder_;
};

const double kCells[] = {0.5, 1.5, 2.5, 3.5, 4.5, 5.5};

TEST_F(TableWriterTest, namesColumnsByShape) {
    EXPECT_THAT(columnNames("p", 1, 1), testing::ElementsAre("p"));
    EXPECT_THAT(columnNames("p", 3, 1), testing::ElementsAre("p.x", "p.y", "p.z"));
    EXPECT_THAT(columnNames("p", 1, 4), testing::ElementsAre("p.w", "p.x", "p.y", "p.z"));
    EXPECT_THAT(columnNames("p", 2, 3), testing::ElementsAre("p.00", "p.01", "p.02", "p.10", "p.11", "p.12"));
    EXPECT_EQ(columnNames("p", 11, 1).back(), "p.10.0");
}

TEST_F(TableWriterTest, putsSamplesOfOneTimeIntoOneRow) {
    TableWriter table(path());
    const std::size_t a = table.addPin("a");
    const std::size_t b = table.addPin("b,c");
    table.put(a, 0.0, kCells, 1, 3);
    table.put(b, 0.0, kCells, 1, 1);
    table.put(b, 0.1, kCells + 1, 1, 1);
    table.put(b, 0.1, kCells + 2, 1, 1);  // the cell is filled: another row
    table.put(a, 0.2, kCells + 3, 1, 3);
    EXPECT_THROW(table.put(a, 0.3, kCells, 3, 1), Poco::DataFormatException);
    table.finish();
    EXPECT_EQ(text(), "t,a.x,a.y,a.z,\"b,c\"\n0,0.5,1.5,2.5,0.5\n0.1,,,,1.5\n0.1,,,,2.5\n0.2,3.5,4.5,5.5,\n");
}

TEST_F(TableWriterTest, givesEarlierRowsTheirCellsWhenAPinBeginsVeryLate) {
    TableWriter table(path());
    const std::size_t late = table.addPin("late");
    const std::size_t early = table.addPin("early");
    for (int i = 0; i < 3000; ++i) table.put(early, i, kCells, 1, 1);
    table.put(late, 3000.0, kCells, 1, 3);
    table.finish();
    const std::string all = text();
    EXPECT_THAT(all, testing::StartsWith("t,early,late.x,late.y,late.z\n0,0.5,,,\n1,0.5,,,\n"));
    EXPECT_THAT(all, testing::EndsWith("2999,0.5,,,\n3000,,0.5,1.5,2.5\n"));
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 3002);
}

TEST_F(TableWriterTest, goesOnWithATableWhoseEarlierRowsWereGivenTheirCells) {
    const auto put = [](TableWriter& table, int from, int to) {
        for (int row = from; row < to; ++row) {
            table.put(2, row, kCells, 1, 1);
            if (row >= 1500) table.put(0, row + 0.5, kCells, 1, 3);
            if (row >= 1800) table.put(1, row + 0.5, kCells, 1, 1);
        }
    };
    const auto addPins = [](TableWriter& table) {
        for (const char* name : {"late", "later", "early"}) table.addPin(name);
    };
    TableWriter whole(path());
    addPins(whole);
    put(whole, 0, 2500);
    whole.finish();
    const std::string expected = text();
    for (const int cut : {1200, 1500, 1501, 1799, 2000}) {
        TableWriter interrupted(path());
        addPins(interrupted);
        put(interrupted, 0, cut);
        const TableWriter::Progress progress = interrupted.settle();
        put(interrupted, cut, 2200);
        interrupted.finish();
        EXPECT_NO_THROW(TableWriter::requireContinuable(path(), progress, 3));
        EXPECT_THROW(TableWriter::requireContinuable(path(), progress, 2), Poco::DataFormatException);
        TableWriter resumed(path(), progress);
        put(resumed, cut, 2500);
        resumed.finish();
        EXPECT_EQ(text(), expected) << cut;
    }
}

TEST_F(TableWriterTest, aRowGoesDownAPipeBeforeTheNextIsThere) {
    const NamedPipe pipe(path());
    TableWriter table(path());
    const std::size_t a = table.addPin("a", {3, 1});
    const std::size_t late = table.addPin("late", {2, 1});
    const std::size_t b = table.addPin("b");
    table.put(b, 0.0, kCells, 1, 1);
    table.put(a, 0.0, kCells, 1, 3);
    EXPECT_EQ(pipe.readLine(), "t,a.x,a.y,a.z,late.00,late.10,b");
    EXPECT_EQ(pipe.readLine(), "0,0.5,1.5,2.5,,,0.5");
    table.put(a, 1.0, kCells, 1, 3);
    table.put(late, 1.0, kCells, 2, 1);
    table.put(b, 1.0, kCells, 1, 1);
    EXPECT_EQ(pipe.readLine(), "1,0.5,1.5,2.5,0.5,1.5,0.5");
    EXPECT_THROW(table.put(late, 2.0, kCells, 1, 2), Poco::DataFormatException);
}

TEST_F(TableWriterTest, anUnfinishedFileHasTheRowsThatAreHeldForTheirHeader) {
    TableWriter table(path());
    const std::size_t late = table.addPin("late");
    const std::size_t early = table.addPin("early");
    table.put(early, 0.0, kCells, 1, 1);
    table.put(early, 1.0, kCells, 1, 1);
    while (folder_.read("out.csv.part") != "t,early\n0,0.5\n") std::this_thread::yield();
    const TableWriter::Progress progress = table.settle();
    table.put(late, 1.0, kCells, 1, 1);
    while (folder_.read("out.csv.part") != "t,late,early\n0,,0.5\n1,0.5,0.5\n") std::this_thread::yield();
    EXPECT_NO_THROW(ResultFile::requireContinuable(path(), progress.place()));
}

}  // namespace
}  // namespace Kavelin::RecordingIO
