#include "calibration/FilterCalibration.h"

#include <Kavelin/Core/Snapshot.h>

#include <cstring>
#include <random>

#include "calibration/file/CalibrationFile.h"
#include "support/FilterTest.h"
#include "support/HeapCalls.h"
#include "support/TemporaryFolder.h"

namespace Kavelin::Calibration {
namespace {

using namespace Tests;
using Eigen::Matrix3d;
using Eigen::Vector3d;

struct FilterCalibrationTest : testing::Test {
    /// A file of a unit with all faults, mounted by a quarter turn about x.
    Calibration unit() const {
        Calibration calibration;
        calibration.magnetic.emplace();
        calibration.magnetic->model = {{10, -20, 5}, Matrix3d{{1.1, 0.1, 0}, {0.1, 0.9, 0}, {0, 0, 1}}};
        calibration.magnetic->strength = 48.0;
        calibration.inertial.emplace();
        calibration.inertial->acceleration = AffineModel{{0.1, 0.2, -0.3}, 1.01 * Matrix3d::Identity()};
        calibration.inertial->rate = AffineModel{{0.01, 0.0, -0.02}, Matrix3d::Identity()};
        calibration.mount.emplace();
        calibration.mount->q_segment_sensor =
            Eigen::Quaterniond(Eigen::AngleAxisd(kPi / 2, Vector3d::UnitX()));
        return calibration;
    }
    void use(const Calibration& calibration) {
        filter_.set("File Name", folder_.write("cal.json", calibrationText(calibration)));
    }
    Matrix passed(const std::string& pin, const Matrix& sample) {
        filter_.clear();
        filter_.feed(pin, time_ += 0.01, sample);
        filter_.process();
        return filter_.sends().size() == 1 ? filter_.sends()[0].value : Matrix();
    }
    std::string errors() const {
        std::string all;
        for (const std::string& error : filter_.filter().runErrors()) all += error + "\n";
        return all;
    }
    /// Feeds what a unit with this calibration gives while it is turned to `directions` of the field.
    void turn(const std::vector<Vector3d>& directions, const AffineModel& faults, double scale = 1.0) {
        std::mt19937 random(7);
        std::normal_distribution<double> noise(0.0, 0.3);
        for (const Vector3d& direction : directions) {
            const Vector3d raw = faults.matrix.inverse() * (48.0 * direction) + faults.offset +
                                 Vector3d(noise(random), noise(random), noise(random));
            filter_.feed("3m", time_ += 0.01, scale * raw.transpose());
            filter_.process();
        }
    }
    mutable FilterHarness<FilterCalibration> filter_;
    TemporaryFolder folder_;
    double time_ = 0.0;
};

/// Evenly over the part of the sphere above `lowest`.
std::vector<Vector3d> directions(int count, double lowest = -1.0) {
    std::vector<Vector3d> all;
    for (int i = 0; i < count; ++i) {
        const double z = lowest + (1.0 - lowest) * (i + 0.5) / count, level = std::sqrt(1 - z * z);
        all.emplace_back(level * std::cos(2.4 * i), level * std::sin(2.4 * i), z);
    }
    return all;
}

TEST_F(FilterCalibrationTest, WithoutAFileEverySampleStaysAsItIs) {
    const Matrix odd = row({-0.0, 1e-310, 0.1});
    EXPECT_EQ(std::memcmp(passed("3m", odd).data(), odd.data(), 3 * sizeof(double)), 0);
    EXPECT_EQ(passed("3a", column({1, 2, 3})), column({1, 2, 3}));
    EXPECT_EQ(passed("3g", row({1, 2})).size(), 0) << "of another shape";
}

TEST_F(FilterCalibrationTest, AppliesWhatTheFileSaysToTheSensorsThatAreUsed) {
    use(unit());
    const Vector3d raw(1, 2, 3);
    const Matrix field = unit().magnetic->model.apply(raw).transpose();
    EXPECT_EQ(passed("3m", raw.transpose()), field);
    EXPECT_EQ(passed("3m", raw), field.transpose()) << "a column stays one";
    EXPECT_EQ(passed("3a", raw.transpose()), Matrix(unit().inertial->acceleration->apply(raw).transpose()));
    EXPECT_TRUE(std::isnan(passed("3a", row({kNaN, 1, 2}))(0)));
    EXPECT_EQ(passed("3a", row({kNaN, 1, 2}))(1), 1.0) << "as it came";
    filter_.set("Use 3m", "0");
    EXPECT_EQ(passed("3m", raw.transpose()), Matrix(raw.transpose()));
    filter_.set("Mount", "1");
    EXPECT_THAT(passed("3m", raw.transpose()), isNearMatrix(row({1, -3, 2}), 1e-12));
}

TEST_F(FilterCalibrationTest, AFileThatCannotBeUsedLeavesTheOneBefore) {
    use(unit());
    const Matrix before = passed("3m", row({1, 2, 3}));
    EXPECT_THAT(outcome([&] { filter_.set("File Name", folder_.write("bad.json", "{}")); }),
                HasSubstr("bad.json: not a calibration"));
    filter_.set("Mount", "1");
    Calibration unmounted = unit();
    unmounted.mount.reset();
    EXPECT_THAT(outcome([&] { use(unmounted); }), HasSubstr("does not say how the unit is mounted"));
    filter_.set("Mount", "0");
    EXPECT_EQ(passed("3m", row({1, 2, 3})), before);
}

TEST_F(FilterCalibrationTest, LearnsTheOffsetAndRefusesWhatIsNotEnough) {
    const AffineModel faults{{30, -40, 60}, Matrix3d::Identity()};
    EXPECT_THAT(outcome([&] { filter_.command("End Learning"); }), HasSubstr("Start Learning begins it"));
    std::vector<Vector3d> ring;
    for (int i = 0; i < 500; ++i) ring.emplace_back(std::cos(0.1 * i), std::sin(0.1 * i), 0.0);
    const struct {
        std::vector<Vector3d> seen;
        const char* refusal;
    } rows[] = {
        {directions(40), "40 samples of the field came while learning; 50 are needed"},
        {std::vector<Vector3d>(500, Vector3d::UnitX()), "the field does not lie on a sphere"},
        {ring, "% of the directions were seen; 40 % are needed"},
        {directions(3000, 0.6), "% of the directions were seen; 40 % are needed"},
    };
    for (const auto& row : rows) {
        filter_.command("Start Learning");
        turn(row.seen, faults);
        EXPECT_THAT(outcome([&] { filter_.command("End Learning"); }), HasSubstr(row.refusal));
        EXPECT_EQ(filter_.get("Learned Offset"), "1 3 0 0 0") << "the one before stays";
    }
    filter_.command("Start Learning");
    turn(directions(2000, -0.2), faults);
    turn(std::vector<Vector3d>(5000, Vector3d::UnitZ()), faults);  // held for long
    filter_.command("End Learning");
    EXPECT_THAT(passed("3m", row({30, -40, 60})), isNearMatrix(row({0, 0, 0}), 0.5));
    EXPECT_NEAR(std::stod(filter_.get("Coverage")), 0.6, 0.1);
}

TEST_F(FilterCalibrationTest, LearnsBehindTheSoftIronOfTheFileAndPastDisturbedSamples) {
    use(unit());
    AffineModel now = unit().magnetic->model;
    now.offset += Vector3d(7, 8, -9);  // since the file was made
    filter_.command("Start Learning");
    turn(directions(1500), now);
    AffineModel nearIron = now;
    nearIron.offset += Vector3d(15, 0, 10);
    turn(directions(150, 0.5), nearIron);
    filter_.command("End Learning");
    EXPECT_THAT(passed("3m", now.offset.transpose()), isNearMatrix(row({0, 0, 0}), 0.6));
}

TEST_F(FilterCalibrationTest, NoticesWrongUnitsAndTheFileOfAnotherUnit) {
    const auto told = [&](const Calibration& calibration, const auto& feed) {
        use(calibration);
        feed();
        return errors();
    };
    const auto hold = [&](const std::string& pin, const Matrix& sample) {
        return [&, pin, sample] {
            for (int i = 0; i < 500; ++i) passed(pin, sample);
        };
    };
    const AffineModel own = unit().magnetic->model;
    EXPECT_EQ(told(unit(), [&] { turn(directions(500), own); }), "");
    EXPECT_THAT(told(unit(), [&] { turn(directions(500), own, 0.01); }), HasSubstr("is it in gauss?"));
    EXPECT_THAT(told(unit(), [&] { turn(directions(500), own, 1000); }), HasSubstr("is it in nT?"));
    Calibration strong = unit();
    strong.magnetic->model = {{0, 50, 0},
                              Matrix3d::Identity()};  // as large as the field: the norm looks right
    EXPECT_THAT(told(strong, [&] { turn(directions(500), strong.magnetic->model, 0.01); }),
                HasSubstr("is it in gauss?"));
    EXPECT_THAT(told(unit(),
                     [&] {
                         turn(directions(500), {{-40, 30, 0}, Matrix3d::Identity()});
                     }),
                HasSubstr("another unit?"));
    EXPECT_THAT(told(unit(), [&] { turn(directions(500), AffineModel{}); }),
                HasSubstr("calibrated already?"));
    EXPECT_EQ(told(unit(), hold("3a", row({0.1, 0.2, 9.41}))), "");
    EXPECT_THAT(told(unit(), hold("3a", row({0, 0, 1}))),
                HasSubstr("acceleration in g? Say the unit with --units"));
    EXPECT_THAT(told(unit(), hold("3g", row({-0.01, 0, 0.02}))),
                HasSubstr("the rate at rest is 2.56 deg/s after"));
    EXPECT_EQ(told(unit(), hold("3g", row({0.01, 0, -0.02}))), "");
}

TEST_F(FilterCalibrationTest, ChecksAndLearnsOnFromItsSnapshots) {
    using Harness = FilterHarness<FilterCalibration>;
    const auto steps = directions(1800);
    AffineModel faults = unit().magnetic->model;
    faults.offset += Vector3d(7, 8, -9);  // since the file was made
    for (const double scale : {0.01, 0.8, 1.0}) {
        const bool isUsable = scale > 0.1;  // not in another unit
        std::mt19937 random(11);
        std::normal_distribution<double> noise;
        const auto noisy = [&](Vector3d sample, double deviation) {
            for (double& axis : sample) axis += deviation * noise(random);
            return Matrix(sample.transpose());
        };
        Harness whole;
        whole.set("File Name", folder_.write("cal.json", calibrationText(unit())));
        whole.set("Mount", "1");
        auto moved = std::make_unique<Harness>();
        Core::restoreSnapshot(moved->filter(), Core::saveSnapshot(whole.filter()));
        const auto command = [&](const char* name) {
            whole.command(name);
            moved->command(name);
        };
        for (std::size_t i = 0; i < steps.size(); ++i) {
            if (isUsable && i == 100) command("Start Learning");
            if (isUsable && i == 1100) command("End Learning");
            const Vector3d field = scale * (faults.matrix.inverse() * (48.0 * steps[i]) + faults.offset);
            const std::pair<const char*, Matrix> samples[] = {
                {"3a", noisy({0.1, 0.2, scale * 9.5}, i % 300 < 200 ? 0.01 : 1.0)},
                {"3g", noisy({-0.01, 0.0, 0.02}, i % 300 < 200 ? 0.002 : 1.0)},
                {"3m", noisy(field, 0.3 * scale)}};
            const double t = 0.01 * static_cast<double>(i);
            for (Harness* harness : {&whole, moved.get()}) {
                harness->clear();
                for (const auto& [pin, sample] : samples) harness->feed(pin, t, sample);
                harness->process(3);
            }
            ASSERT_EQ(moved->sends().size(), whole.sends().size());
            for (std::size_t k = 0; k < whole.sends().size(); ++k)
                ASSERT_EQ(moved->sends()[k].value, whole.sends()[k].value) << "row " << i;
            if (i % 97 == 0) {
                auto next = std::make_unique<Harness>();
                for (const auto& [pin, sample] : samples) next->feeding(pin, {});
                Core::restoreSnapshot(next->filter(), Core::saveSnapshot(moved->filter()));
                moved = std::move(next);
            }
        }
        EXPECT_EQ(moved->filter().runErrors(), whole.filter().runErrors());
        EXPECT_EQ(moved->filter().runNotes(), whole.filter().runNotes());
        for (const char* property : {"Learned Offset", "Coverage"})
            EXPECT_EQ(moved->get(property), whole.get(property)) << property;
        EXPECT_EQ(whole.get("Learned Offset") != "1 3 0 0 0", isUsable);
    }
}

TEST_F(FilterCalibrationTest, DoesNotCallTheHeapWhileItLearns) {
    if (!KAVELIN_HEAP_CALLS_COUNTED) GTEST_SKIP() << "skipped: the sanitizer owns the heap";
    OffsetLearner learner;
    learner.start();
    const std::vector<Vector3d> seen = directions(5000);
    const auto before = heapCalls.load();
    double coverage = 0.0;
    for (const Vector3d& direction : seen)
        if (learner.add(48.0 * direction)) coverage = learner.result().value_or(LearnedOffset{}).coverage;
    EXPECT_EQ(heapCalls.load(), before);
    EXPECT_GT(coverage, 0.9);
}

}  // namespace
}  // namespace Kavelin::Calibration
