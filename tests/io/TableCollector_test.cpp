#include "io/writing/TableCollector.h"

#include <fmt/ranges.h>
#include <gmock/gmock.h>

#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;

/// What a collector hands to its format.
CollectedTable written;
const TableFormat kFormat{[](const CollectedTable& table, const std::string&) { written = table; }, nullptr,
                          27};

std::string textOf(const std::vector<double>& values) {
    std::string text;
    for (const double value : values) text += (text.empty() ? "" : " ") + fmt::format("{}", value);
    return text;
}

TEST(TableCollector, givesEachPinAValueForEachRow) {
    TableCollector table("out", kFormat);
    const std::size_t late = table.add({"late", {}, {0, 0}});
    const std::size_t matrix = table.add({"matrix", {"a", "b", "c", "d"}, {2, 2}});
    table.add({"never", {}, {1, 1}});
    table.add({"named", {"flag"}, {0, 0}});
    const std::vector<double> m = {1, 2, 3, 4};
    table.put(matrix, 0.0, m.data(), 2, 2);
    table.endRow(0.5);  // ends the row of 0
    table.endRow(1.0);
    table.put(late, 2.0, m.data(), 1, 2);
    EXPECT_THROW(table.put(late, 2.0, m.data(), 1, 1), Poco::DataFormatException) << "another shape";
    EXPECT_THROW(table.put(matrix, 3.0, m.data(), 3, 1), Poco::DataFormatException) << "other columns";
    table.put(late, 2.0, m.data(), 1, 2);  // a second one of that time
    table.finish();
    EXPECT_EQ(textOf(written.times), "0 1 2 2");
    ASSERT_EQ(written.arrays.size(), 3u) << "without the one whose shape is not known";
    EXPECT_EQ(textOf(written.arrays[0].values), "nan nan nan nan 1 2 1 2");
    EXPECT_EQ(textOf(written.arrays[1].values), "1 2 3 4 nan nan nan nan nan nan nan nan nan nan nan nan");
    EXPECT_EQ(written.arrays[1].rows, 2u);
    EXPECT_EQ(textOf(written.arrays[2].values), "nan nan nan nan");
}

TEST(TableCollector, keepsWhatAFormatCanHold) {
    TableCollector table("out", kFormat);
    const std::size_t pin = table.add({"R", {}, {0, 0}});
    const std::vector<double> identity = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    for (int i = 0; i < 3; ++i) table.put(pin, i, identity.data(), 3, 3);
    EXPECT_THROW(table.put(pin, 3, identity.data(), 3, 3), Poco::WriteFileException);
    table.finish();
    EXPECT_EQ(written.arrays[0].values.size(), 27u);
}

}  // namespace
}  // namespace Kavelin::RecordingIO
