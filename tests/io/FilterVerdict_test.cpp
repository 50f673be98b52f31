#include "io/FilterVerdict.h"

#include <Kavelin/Testing/FilterHarness.h>

#include "io/FilterAttitudeForm.h"
#include "support/DisturbedMotion.h"
#include "support/TestKit.h"

namespace Kavelin::RecordingIO {
namespace {

using namespace Tests;

/// What a verdict sees of an estimator: its pins, and a property.
class PinsOfAnEstimator : public Core::Filter {
public:
    explicit PinsOfAnEstimator(std::string_view frame)
        : Filter("estimator", true), attitude("attitudeQ", this, inFrame(Core::kQuaternion, frame)) {}
    void process() override {}
    std::string typeName() const override { return "PinsOfAnEstimator"; }

    Core::InputPin<Matrix> rate{"omega_t", this, Core::kRate};
    Core::InputPin<Matrix> field{"3m", this, Core::kField};
    Core::ValueProperty<bool> useField{"Use 3m", this, true};
    Core::OutputPin<Matrix> attitude;
};

TEST(FilterVerdict, takesTheKindOfEstimatorFromItsWiring) {
    struct Row {
        std::string_view frame;
        bool hasRate, hasField, usesField, isThroughForm;
        EstimatorKind kind;
    };
    const Row rows[] = {{Core::kSensorToEarth, true, true, true, false, {true, true, false}},
                        {Core::kSensorToEarth, true, true, true, true, {true, true, false}},
                        {Core::kSensorToEarth, true, true, false, true, {true, false, false}},
                        {Core::kSensorToNorthWestUp, false, true, true, false, {false, true, true}},
                        {Core::kSensorToStart, true, false, true, true, {true, false, true}},
                        {"", true, true, true, false, {true, true, true}}};
    for (const Row& row : rows) {
        Core::OutputPin<Matrix> sensor("sensor", nullptr);
        PinsOfAnEstimator estimator(row.frame);
        FilterAttitudeForm form("form");
        FilterVerdict verdict("verdict");
        estimator.useField.set(row.usesField);
        if (row.hasRate) Core::connect(sensor, estimator.rate, {.direct = true});
        if (row.hasField) Core::connect(sensor, estimator.field, {.direct = true});
        Core::AbstractOutputPin* attitude = &estimator.attitude;
        if (row.isThroughForm) {
            Core::connect(*attitude, form.getInputPin("attitude"), {.direct = true});
            attitude = &form.getOutputPin("matrix");
        }
        Core::connect(*attitude, verdict.getInputPin("attitude"), {.direct = true});
        const EstimatorKind kind = verdict.estimatorKind();
        EXPECT_EQ(kind.usesGyroscope, row.kind.usesGyroscope) << row.frame;
        EXPECT_EQ(kind.usesField, row.kind.usesField) << row.frame;
        EXPECT_EQ(kind.isHeadingRelative, row.kind.isHeadingRelative) << row.frame;
    }
}

TEST(FilterVerdict, tellsABadTiltForAnErrorAndAGoodOneForANote) {
    for (const bool isRight : {true, false}) {
        FilterHarness<FilterVerdict> drive;
        EXPECT_THAT(drive.filter().runNotes(), IsEmpty());
        EXPECT_THAT(outcome([&] { drive.filter().checkRun(); }), HasSubstr("nothing to judge"));
        for (const MotionSample& s : recordDisturbed({.duration = 30})) {
            drive.feed("3a", s.t, s.acc.transpose());
            drive.feed("3g", s.t, s.rate.transpose());
            drive.feed("attitude", s.t, isRight ? Matrix(s.truth.wxyz().transpose()) : row({1, 0, 0, 0}));
            drive.process();
        }
        EXPECT_EQ(drive.filter().judged()->verdicts.tilt.grade, isRight ? Grade::kGood : Grade::kBad)
            << drive.filter().judged()->verdicts.tilt.text();
        const auto lines = isRight ? drive.filter().runNotes() : drive.filter().runErrors();
        EXPECT_THAT(lines, testing::Contains(testing::StartsWith(isRight ? "tilt: good" : "tilt: bad: ")));
    }
}

TEST(FilterVerdict, refusesATurnInAFrameOfItsOwn) {
    PinsOfAnEstimator estimator(Core::kTurnSinceStart);
    FilterVerdict verdict("verdict");
    Core::connect(estimator.attitude, verdict.getInputPin("attitude"), {.direct = true});
    EXPECT_THAT(outcome([&] { verdict.checkRun(); }), HasSubstr("cannot be judged"));
}

}  // namespace
}  // namespace Kavelin::RecordingIO
