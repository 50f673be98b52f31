#include "io/recording/StoredRecording.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <sstream>

#include "io/formats/OpenRecording.h"
#include "support/TemporaryFolder.h"

using namespace Kavelin::RecordingIO;
using Kavelin::Tests::TemporaryFolder;

namespace {

/// What a reader gives, as text.
std::string told(RowReader& reader) {
    std::ostringstream text;
    for (;;) {
        const RowReader::Next next = reader.next();
        if (next == RowReader::Next::kEnd) return text.str();
        if (next == RowReader::Next::kFault) {
            text << "fault " << static_cast<int>(reader.fault()) << " " << reader.message() << "\n";
            continue;
        }
        const Row& row = reader.row();
        text << row.time() << " lost " << row.lost() << " share " << static_cast<int>(row.together());
        const auto& channels = reader.schema().channels;
        for (std::size_t i = 0; i < channels.size(); ++i) {
            text << "; " << channels[i].pin << row.isMeasured(i) << row.isRepeated(i)
                 << row.isMarkedMissing(i);
            for (std::size_t e = 0; row.has(i) && e < channels[i].size(); ++e)
                text << " " << row.values(i)[e];
        }
        text << "\n";
    }
}

}  // namespace

TEST(StoredRecording, givesWhatItsReaderWouldHaveGiven) {
    const std::string text =
        "t,ax,ay,az,gx,gy,gz,mx,my,mz\n"
        "0,1,2,3,4,5,6,,,\n"
        "0.1,1,2,3,,,,7,8,9\n"
        "0.2,oh,2,3,4,5,6,7,8,9\n"
        "0.15,1,2,3,4,5,6,7,8,9\n"
        "0.1,1,2,3,4,5,6,7,8,9\n"
        ",1,2,3,4,5,6,7,8,9\n"
        "0.3,2,2,2,4,5,6,,,\n"
        "0.4,-9999,-9999,-9999,4,5,6,,,\n"
        "0.5,1,2\n";
    const std::string own = "seconds_elapsed,z,y,x\n0,1,2,3\n0.1,4,5,6\n0.2,,,\n0.3,7,8,9\n";
    const std::string later = "seconds_elapsed,z,y,x\n0.05,1,1,1\n0.1,2,2,2\n0.25,3,3,3\n";
    for (const auto& files : {std::map<std::string, std::string>{{"one.csv", text}},
                              {{"Accelerometer.csv", own}, {"Gyroscope.csv", later}, {"Gravity.csv", own}}}) {
        const TemporaryFolder folder;
        for (const auto& [name, lines] : files) folder.write(name, lines);
        const std::string path = folder.path(files.size() == 1 ? files.begin()->first : "");
        for (const auto& [repeat, together] :
             {std::pair<std::vector<std::string>, std::vector<std::string>>{{}, {}},
              {{"3m"}, {"3a", "3g"}},
              {{"3a", "3g"}, {"3a", "3g", "3m"}}}) {
            OpenOptions options;
            const auto stored = std::make_shared<const StoredRecording>(*openRecording(path, options));
            options.repeat = repeat;
            options.together = together;
            StoredReader again(stored, options);
            const std::string expected = told(*openRecording(path, options));
            EXPECT_EQ(told(again), expected);
            EXPECT_GT(std::ranges::count(expected, '\n'), 4);
        }
    }
}

TEST(StoredRecording, endsWhereItIsToldTo) {
    std::string text = "t,ax,ay,az\n";
    for (int i = 0; i < 10000; ++i) text += std::to_string(i) + ",0,0,1\n";
    const TemporaryFolder folder;
    const StoredRecording stored(*openRecording(folder.write("long.csv", text), {}), [] { return false; });
    EXPECT_LT(stored.rows(), 10000U);
}
