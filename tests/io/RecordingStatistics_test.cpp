#include "io/recording/RecordingStatistics.h"

#include "io/recording/RecordingReader.h"
#include "simulation/Simulator.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;

struct Seen {
    Schema schema;
    RecordingStatistics statistics;
    std::vector<std::string> warnings() const { return statistics.warnings(schema); }
    std::vector<std::string> errors() const { return statistics.errors(schema); }
};

Seen seen(const std::string& text, const ReaderOptions& options = {}) {
    RecordingReader reader(memorySource(text), "r.csv", options);
    RecordingStatistics statistics(reader.schema());
    for (auto next = reader.next(); next != RecordingReader::Next::kEnd; next = reader.next()) {
        if (next == RecordingReader::Next::kRow) statistics.add(reader.row());
    }
    statistics.finish();
    return {reader.schema(), statistics};
}

/// A simulated recording whose columns are scaled, as if they were in other units than the header says.
std::string simulated(double forceFactor, double rateFactor, double seconds = 20, double firstRest = 4) {
    SimulationOptions options;
    options.seconds = seconds;
    options.firstRest = firstRest;
    Simulator simulator(options);
    std::string text = "t,ax,ay,az,gx,gy,gz\n";
    SimulatedRow row;
    while (simulator.next(row)) {
        text += std::to_string(row.t);
        for (int i = 0; i < 3; ++i) text += "," + std::to_string(forceFactor * row.acceleration[i]);
        for (int i = 0; i < 3; ++i) text += "," + std::to_string(rateFactor * row.rate[i]);
        text += "\n";
    }
    return text;
}

TEST(RecordingStatistics, tellsUnitsThatCannotBeRight) {
    const double degrees = 180 / M_PI;
    const struct {
        const char* rule;
        double force, rate;
        const char* error;
    } rows[] = {
        {"as it should be", 1, 1, ""},
        {"rates in deg/s", 1, degrees, "too high for rad/s: deg/s? Then say so: 3g=deg/s"},
        {"raw counts of a gyroscope", 1, 131 * degrees, "are they raw counts?"},
        {"raw counts of an accelerometer", 1670, 1, "or raw counts?"},
        {"linear acceleration is as small", 0.02, 1, "is it linear acceleration, without gravity?"},
    };
    for (const auto& row : rows) {
        const Seen told = seen(simulated(row.force, row.rate));
        if (*row.error)
            EXPECT_THAT(told.errors(), ElementsAre(HasSubstr(row.error))) << row.rule;
        else
            EXPECT_THAT(told.errors(), IsEmpty()) << row.rule;
        EXPECT_THAT(told.warnings(), IsEmpty()) << row.rule;
    }
    std::string slow = "t,ax,ay,az,gx,gy,gz\n";
    for (int i = 0; i < 40; ++i) slow += std::to_string(0.1 * i) + ",0.1,0,9.8,0,0.5,0\n";
    EXPECT_THAT(seen(slow).errors(),
                ElementsAre(HasSubstr("too high for an accelerometer that shows no tilt: deg/s?")));
    EXPECT_THAT(seen(simulated(1 / 9.80665, 1)).warnings(),
                ElementsAre(HasSubstr("not gravity: g? Then say so: 3a=g")));
    EXPECT_THAT(seen(simulated(1 / 9.80665, 1)).errors(), IsEmpty());
    ReaderOptions declared;
    declared.units = {{"3a", "g"}, {"3g", "deg/s"}};
    const Seen right = seen(simulated(1 / 9.80665, degrees), declared);
    EXPECT_THAT(right.warnings(), IsEmpty());
    EXPECT_THAT(right.errors(), IsEmpty());
}

TEST(RecordingStatistics, tellsTheUnitOfTimeFromTheUsualStep) {
    const struct {
        const char* header;
        double step;
        const char* unit;
    } rows[] = {{"t", 10, ""},         {"t", 10000, ""},      {"t", 1e7, ""},  {"t (ms)", 1e7, "ns"},
                {"t (us)", 1e7, "ns"}, {"t (ns)", 0.01, "s"}, {"t", 0.01, ""}, {"t (ms)", 5, ""}};
    for (const auto& row : rows) {
        std::string text = std::string(row.header) + ",ax,ay,az,gx,gy,gz\n";
        for (int i = 0; i < 20; ++i) text += std::to_string(i * row.step) + ",0,0,9.8,0,0,0.01\n";
        const auto errors = seen(text).errors();
        if (*row.unit)
            EXPECT_THAT(errors, ElementsAre(testing::EndsWith("Then say so: t=" + std::string(row.unit))));
        else
            EXPECT_THAT(errors, IsEmpty()) << row.header << row.step;
    }
}

TEST(ClipWatch, findsTheEndOfTheRange) {
    const auto level = [](double range, int repeats) {
        ClipWatch watch;
        for (int i = 0; i < 1000; ++i) {
            const double t = 0.02 * (i / repeats);
            const Eigen::Vector3d rate(6 * std::sin(t), 3 * std::cos(3 * t), 0.1 * t);
            watch.add(rate.cwiseMax(-range).cwiseMin(range));
        }
        return watch.level();
    };
    EXPECT_EQ(level(4.0, 1), 4.0);
    EXPECT_EQ(level(100.0, 1), 0.0);
    EXPECT_EQ(level(100.0, 5), 0.0);  // samples sent several times stand still too
}

TEST(RecordingStatistics, warnsOfChannelsWithoutValues) {
    const auto warnings =
        seen("t,ax,ay,az,mx,my,mz,temp\n0,0,0,9.8,nan,nan,nan,20\n1e-2,0,0,9.8,,,,20\n").warnings();
    EXPECT_THAT(warnings,
                ElementsAre(HasSubstr("columns not understood: temp; understood: t, 3a (ax, ay, az), 3m"),
                            HasSubstr("pin \"3m\" has no value in any row")));
    EXPECT_THAT(seen("t,mx,my,mz\n0,0,0,0\n0.1,0,0,0\n").warnings(),
                ElementsAre(HasSubstr("is 0 in every row")));
}

TEST(RecordingStatistics, countsRatesOfSeveralStreamsInOneFile) {
    std::string text = "t,ax,ay,az,mx,my,mz\n";
    for (int i = 0; i < 101; ++i) {
        text += std::to_string(i * 0.01) + ",0,0,9.8," + (i % 10 == 0 ? "1,0,0\n" : ",,\n");
    }
    ReaderOptions repeating;
    repeating.repeat = {"3m"};
    for (const ReaderOptions& options : {ReaderOptions{}, repeating}) {
        const Seen result = seen(text, options);
        EXPECT_NEAR(result.statistics.rate(), 100.0, 1e-9);
        EXPECT_NEAR(result.statistics.find("3m")->rate(), 10.0, 1e-9);
        EXPECT_EQ(result.statistics.find("3m")->values, 11u);
    }
    EXPECT_THAT(seen(text, repeating).warnings(),
                ElementsAre(HasSubstr("in 90 rows without a value its last one")));
}

TEST(StepMonitor, findsGapsAmongJitteringSteps) {
    const struct {
        const char* rule;
        int rows;
        double gapAfter;  ///< row
        std::uint64_t gaps;
    } cases[] = {{"none", 500, -1, 0},
                 {"late", 500, 300, 1},
                 {"at once", 500, 0, 1},
                 {"in a short recording", 10, 4, 1}};
    for (const auto& row : cases) {
        StepMonitor monitor;
        double t = 1.7e9;  // seconds since 1970
        for (int i = 0; i < row.rows; ++i) {
            monitor.add(t);
            t += 0.01 + (i % 3 - 1) * 0.004 + (i == row.gapAfter ? 0.5 : 0.0);
        }
        monitor.finish();
        EXPECT_EQ(monitor.gaps(), row.gaps) << row.rule;
        EXPECT_NEAR(monitor.usualStep(), 0.01, 0.0041) << row.rule;
        if (row.gaps == 0) continue;
        EXPECT_NEAR(monitor.longest().length, 0.51, 0.0041) << row.rule;
    }
    StepMonitor still;
    for (int i = 0; i < 5; ++i) still.add(3.0);
    still.finish();
    EXPECT_EQ(still.repeats(), 4u);
    EXPECT_EQ(still.usualStep(), 0.0);
}

TEST(RecordingStatistics, warnsOfGapsAndEqualTimes) {
    EXPECT_THAT(
        seen("t,ax,ay,az\n0,0,0,9.8\n0.1,0,0,9.8\n0.2,0,0,9.8\n5.3,0,0,9.8\n5.3,0,0,9.8\n").warnings(),
        ElementsAre(HasSubstr("1 gap in the time stamps; the longest lasts 5.1 s, after t = 0.2 s"),
                    HasSubstr("1 row with the time stamp of the row before")));
}

}  // namespace
}  // namespace Kavelin::RecordingIO
