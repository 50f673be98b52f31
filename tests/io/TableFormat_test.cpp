#include "io/writing/TableFormat.h"

#include "support/FileSizeLimit.h"
#include "support/TemporaryFolder.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;

TEST(TableFormat, leavesAnEarlierFileWhereThereIsNoRoom) {
    const CollectedTable table{std::vector<double>(1000, 1.0),
                               {{"q", {}, 1, 1, std::vector<double>(1000, 2.0)}}};
    for (const TableKind kind : {TableKind::kMat, TableKind::kNpz, TableKind::kNpy}) {
        for (const rlim_t bytes : {0u, 100u, 9000u, 15000u}) {
            const TemporaryFolder folder;
            folder.write("out", "old");
            const FileSizeLimit limit(bytes);
            EXPECT_THROW(tableFormat(kind).write(table, folder.path("out")), Poco::WriteFileException)
                << static_cast<int>(kind) << " " << bytes;
            EXPECT_EQ(folder.read("out"), "old");
            EXPECT_FALSE(std::filesystem::exists(folder.path("out.part")));
        }
    }
}

TEST(TableFormat, followsFromTheName) {
    const TemporaryFolder folder;
    const auto refusal = [](TableKind kind, const std::string& path) -> std::string {
        try {
            requireFit(kind, path, {std::string(64, 'a')});
        } catch (const Poco::InvalidArgumentException& error) {
            return error.message();
        }
        return "";
    };
    EXPECT_EQ(tableKindOf("a.b/C.NPZ"), TableKind::kNpz);
    EXPECT_EQ(tableKindOf("npz"), TableKind::kCsv);
    EXPECT_THROW(tableKindOf("a.h5"), Poco::InvalidArgumentException);
    EXPECT_EQ(refusal(TableKind::kSto, "-"), "");
    EXPECT_EQ(refusal(TableKind::kSto, "a.txt"), "");
    EXPECT_EQ(refusal(TableKind::kNpy, folder.path("a.npy")), "");
    EXPECT_THAT(refusal(TableKind::kCsv, "a.npy"), HasSubstr("is the name of a .npy file"));
    EXPECT_THAT(refusal(TableKind::kSto, "a.csv"), HasSubstr("is the name of a .csv file"));
    EXPECT_THAT(refusal(TableKind::kNpz, "-"),
                HasSubstr("standard output: a .npz file is written as a whole"));
    EXPECT_THAT(refusal(TableKind::kMat, "/dev/null"), HasSubstr("into an ordinary file"));
    EXPECT_THAT(refusal(TableKind::kMat, folder.path("a.mat")), HasSubstr("at most 63 characters"));
}

}  // namespace
}  // namespace Kavelin::RecordingIO
