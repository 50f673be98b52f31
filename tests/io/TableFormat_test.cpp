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

}  // namespace
}  // namespace Kavelin::RecordingIO
