#include "io/recording/ResultFile.h"

#include <charconv>
#include <cstring>
#include <filesystem>

#include "support/FileSizeLimit.h"
#include "support/TemporaryFolder.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;

void writeRow(ResultFile& file, double a, double b) {
    file.number(a);
    file.cells(&b, 1);
    file.endRow();
}

TEST(ResultFile, takesItsNameWhenComplete) {
    const TemporaryFolder folder;
    folder.write("out.csv", "old");
    ResultFile file(folder.path("out.csv"));
    file.header("a,b");
    writeRow(file, 1, -0.0);
    EXPECT_EQ(folder.read("out.csv"), "old");
    file.finish();
    EXPECT_EQ(folder.read("out.csv"), "a,b\n1,-0\n");
    EXPECT_FALSE(std::filesystem::exists(folder.path("out.csv.part")));
    EXPECT_EQ(file.rows(), 1u);
}

TEST(ResultFile, keepsTheRowsDoneWhenItIsLeftInTheMiddleOfOne) {
    const TemporaryFolder folder;
    {
        ResultFile file(folder.path("out.csv"));
        file.header("a,b");
        writeRow(file, 1, 2);
        file.number(3);
    }
    EXPECT_EQ(folder.read("out.csv"), "a,b\n1,2\n");
}

TEST(ResultFile, writesThroughALinkAndLeavesIt) {
    const TemporaryFolder folder;
    folder.write("real.csv", "old");
    std::filesystem::create_symlink("real.csv", folder.path("link.csv"));
    ResultFile file(folder.path("link.csv"));
    file.header("a");
    file.finish();
    EXPECT_TRUE(std::filesystem::is_symlink(folder.path("link.csv")));
    EXPECT_EQ(folder.read("real.csv"), "a\n");
}

TEST(ResultFile, refusesAPlaceThatCannotBeWritten) {
    EXPECT_THROW(ResultFile("/nowhere/out.csv"), Poco::CreateFileException);
    EXPECT_THROW(ResultFile("/"), Poco::CreateFileException);
}

TEST(ResultFile, keepsWholeRowsWhereThereIsNoRoomAndSaysHowMany) {
    for (const rlim_t bytes : {0u, 3u, 4u, 11u, 300001u, 600003u}) {
        const TemporaryFolder folder;
        ResultFile file(folder.path("out.csv"));
        std::string message;
        try {
            const FileSizeLimit limit(bytes);
            file.header("a,b");
            for (int i = 0; i < 200000; ++i) writeRow(file, 1, 1);
            file.finish();
        } catch (const Poco::WriteFileException& failure) {
            message = failure.message();
        }
        const std::string kept = folder.read("out.csv");
        const std::size_t rows = bytes < 4 ? 0 : (bytes - 4) / 4;  // "a,b\n", then 4 bytes a row
        EXPECT_EQ(kept.size(), bytes < 4 ? 0 : 4 + 4 * rows) << bytes;
        EXPECT_EQ(file.rows(), rows) << bytes;
        EXPECT_THAT(message, testing::EndsWith(rows == 1 ? "; 1 row is kept"
                                                         : "; " + std::to_string(rows) + " rows are kept"));
    }
}

TEST(ResultFile, leavesWhatIsThereWhereItMustBeWhole) {
    const TemporaryFolder folder;
    const std::string path = folder.path("out.csv");
    ResultFile(path).header("complete");
    {
        const FileSizeLimit limit(5);
        ResultFile file(path);
        file.requireWhole();
        file.header("replaced");
        EXPECT_THROW(file.finish(), Poco::WriteFileException);
    }
    EXPECT_EQ(folder.read("out.csv"), "complete\n");
    EXPECT_FALSE(std::filesystem::exists(path + ".part"));
}

TEST(WriteNumber, isShortestAndReadsBackToTheSameBits) {
    const auto text = [](double value) {
        char buffer[32];
        return std::string(buffer, writeNumber(buffer, value));
    };
    EXPECT_EQ(text(0.1), "0.1");
    EXPECT_EQ(text(1.0), "1");
    EXPECT_EQ(text(-0.0), "-0");
    EXPECT_EQ(text(std::numeric_limits<double>::infinity()), "inf");
    EXPECT_EQ(text(-std::nan("")), "nan");
    const auto expectShortest = [&](double value) {
        char buffer[32];
        const std::string shortest(buffer, std::to_chars(buffer, buffer + 32, value).ptr);
        EXPECT_EQ(text(value), std::isnan(value) ? "nan" : shortest);
    };
    // Both sides of the numbers that are written in another way, and decimals as they stand in recordings.
    for (const double value :
         {1e-3, std::nextafter(1e-3, 0), 1e5, std::nextafter(1e5, 0), 100.0, 20.5, -0.125})
        expectShortest(value);
    std::mt19937_64 random(3);
    for (int i = 0; i < 20000; ++i) {
        const std::uint64_t bits = random();
        double value = 0.0;
        std::memcpy(&value, &bits, sizeof value);
        expectShortest(value);
        expectShortest(std::ldexp(static_cast<double>(bits >> 11), static_cast<int>(bits % 32) - 65));
        expectShortest(static_cast<double>(bits % 100000000) / 1e4);
    }
}

}  // namespace
}  // namespace Kavelin::RecordingIO
