#include "orientation/FilterOrientationQuality.h"

#include "support/FilterTest.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Harness = FilterHarness<FilterOrientationQuality>;

TEST(FilterOrientationQuality, ReportsByModeAndByWhatCame) {
    const Matrix acc = row({0, 0, 10}), mag = row({40, 0, 0}), gyr = row({0, 1200, 0}), none;
    struct Row {
        const char* name;
        Matrix acc, mag, gyr;
        const char *settings, *sent;  // pins with values, in order
    };
    const Row rows[] = {
        {"all as the reference", acc, mag, row({0, 0, 1120}), "", "gest 1 env 1 "},
        {"saturated", acc, mag, gyr, "", "gest 0 env 1 "},
        {"saturation not used", acc, mag, gyr, "UseGyr=0", "gest 1 env 1 "},
        {"rate of another shape", acc, mag, column({0, 1200, 0}), "", "gest 1 env 1 "},
        {"a disturbed field", acc, 1.2 * mag, none, "", "gest 1 env 0 "},
        {"a disturbed field, not used", acc, 1.2 * mag, none, "UseMag=0", "gest 1 env 1 "},
        {"only an acceleration", 2 * acc, none, none, "", "gest 1 "},
        {"free, accelerated", 2 * acc, mag, gyr, "Mode=0", "gest 0 env 1 "},
        {"free, accelerated, not used", 2 * acc, mag, gyr, "Mode=0 UseAcc=0", "gest 1 env 1 "},
        {"free, at a wider tolerance", 2 * acc, none, none, "Mode=0 ThresholdAcc=1", "gest 1 "},
        {"free, only a field", none, mag, none, "Mode=0", "gest 0 env 1 "},
        {"free, only a field, not used", none, mag, none, "Mode=0 UseAcc=0", "gest 1 env 1 "},
        {"fixed axis", 2 * acc, mag, gyr, "Mode=2", "gest 1 env 1 "},
        {"only a rate", none, none, gyr, "", ""},
        {"other shapes", column({0, 0, 10}), row({40, 0}), gyr, "", ""},
        {"no effect", acc, mag, none, "UseCosGB=1 ThresholdCosGB=0 ThresholdGyr=0", "gest 1 env 1 "}};
    for (const Row& row_ : rows) {
        Harness h;
        h.feed("3a", 0.0, acc);
        h.feed("3m", 0.0, mag);
        h.process();
        h.clear();
        h.setAll(row_.settings);
        if (row_.acc.size() > 0) h.feed("3a", 1.0, row_.acc);
        if (row_.mag.size() > 0) h.feed("3m", 2.0, row_.mag);
        if (row_.gyr.size() > 0) h.feed("3g", 3.0, row_.gyr);
        h.process();
        std::string sent;
        for (const auto& one : h.sends()) {
            sent += (one.pin == "envQuality" ? "env " : "gest ") +
                    std::to_string(static_cast<int>(one.value(0, 0))) + " ";
            EXPECT_EQ(one.t, row_.mag.size() > 0 ? 2.0 : 1.0) << row_.name;
        }
        EXPECT_EQ(sent, row_.sent) << row_.name;
    }
}

TEST(FilterOrientationQuality, LeavesTheRateInItsPinWhenItIsNotUsed) {
    Harness h;
    h.set("UseGyr", "0");
    h.feed("3g", 0.0, row({9999, 0, 0}));
    h.feed("3a", 0.0, row({0, 0, 10}));
    h.process();
    h.set("UseGyr", "1");
    h.feed("3a", 1.0, row({0, 0, 10}));
    h.process();
    EXPECT_EQ(h.sends().back().value(0, 0), 0.0);  // the saturated rate was still there
    h.command("Reference");
    h.set("Mode", "0");
    h.feed("3a", 2.0, row({0, 0, 30}));
    h.process();
    EXPECT_EQ(h.sends().back().value(0, 0), 1.0);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
