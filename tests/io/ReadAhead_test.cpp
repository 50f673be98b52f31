#include "io/recording/ReadAhead.h"

#include <gmock/gmock.h>

#include <future>

#include "io/recording/RecordingReader.h"
#include "support/NamedPipe.h"
#include "support/TemporaryFolder.h"

namespace Kavelin::RecordingIO {
namespace {

using Next = ReadAhead::Next;

TEST(ReadAhead, tellsRowsAndFaultsInTheOrderOfTheFile) {
    std::string text = "t,ax,ay,az\n";
    const int lines = 5000;
    for (int i = 0; i < lines; ++i) {
        text += std::to_string(i) + (i % 7 == 3 ? ",oops,0,0\n" : ",1,2," + std::to_string(-i) + "\n");
    }
    // A block of many batches, and one that holds hardly a line.
    for (const std::size_t block : {LineReader::kBlockSize, std::size_t{32}}) {
        ReadAhead ahead(
            std::make_unique<RecordingReader>(memorySource(text), "r.csv", ReaderOptions(), block));
        for (int i = 0; i < lines; ++i) {
            const auto next = ahead.next();
            ASSERT_EQ(next, i % 7 == 3 ? Next::kFault : Next::kRow);
            EXPECT_NEAR(ahead.progress(), (i + 1.0) / lines, 0.05);  // not the share that was read
            if (next == Next::kFault) {
                EXPECT_EQ(ahead.message(),
                          "r.csv:" + std::to_string(i + 2) + ": column 2 holds 'oops', which is no number");
            } else {
                EXPECT_EQ(ahead.row().time(), i);
                EXPECT_EQ(ahead.row().values(0)[2], -i);
            }
        }
        EXPECT_EQ(ahead.next(), Next::kEnd);
        EXPECT_EQ(ahead.next(), Next::kEnd);
    }
}

TEST(ReadAhead, handsOverARowOfALivePipeBeforeTheNextIsThere) {
    const Tests::TemporaryFolder folder;
    const std::string path = folder.path("live.csv");
    const Tests::NamedPipe pipe(path);
    pipe.write("t,ax,ay,az\n");
    ReadAhead ahead(std::make_unique<RecordingReader>(RecordingReader::open(path, {})));
    for (int i = 0; i < 3; ++i) {
        pipe.write(std::to_string(i) + ",1,2,3\n" + std::to_string(i + 1) + ",4");
        ASSERT_EQ(ahead.next(), Next::kRow);
        EXPECT_EQ(ahead.row().time(), i);
        pipe.write(",5,6\n");
        ASSERT_EQ(ahead.next(), Next::kRow);
        EXPECT_EQ(ahead.row().values(0)[1], 5.0);
    }
}

TEST(ReadAhead, anInterruptionBreaksTheWaitAndLosesNothing) {
    const Tests::TemporaryFolder folder;
    const std::string path = folder.path("live.csv");
    const Tests::NamedPipe pipe(path);
    pipe.write("t,ax,ay,az\n0,1,2,3\n");
    ReadAhead ahead(std::make_unique<RecordingReader>(RecordingReader::open(path, {})));
    ASSERT_EQ(ahead.next(), Next::kRow);
    auto waiting = std::async(std::launch::async, [&ahead] { return ahead.next(); });
    ahead.interrupt();
    EXPECT_EQ(waiting.get(), std::nullopt);
    EXPECT_EQ(ahead.next(), std::nullopt);
    ahead.resume();
    pipe.write("1,4,5,6\n");
    ASSERT_EQ(ahead.next(), Next::kRow);
    EXPECT_EQ(ahead.row().time(), 1.0);
    // And is destroyed although its thread waits for bytes that never come.
}

}  // namespace
}  // namespace Kavelin::RecordingIO
