#include "calibration/magnetic/MagneticCalibrator.h"

#include <Eigen/Geometry>

#include "attitude/rotation/QuaternionAlgebra.h"
#include "calibration/model/Unsuitable.h"
#include "simulation/Simulator.h"
#include "support/TestKit.h"

namespace Kavelin::Calibration {
namespace {

using namespace Tests;
using Eigen::Matrix3d;
using Eigen::Vector3d;
using RecordingIO::Random;
using RecordingIO::SimulatedRow;
using RecordingIO::SimulationOptions;

const double kField = 48.0;  // uT
#ifdef __SANITIZE_ADDRESS__
const std::uint64_t kSeeds = 10;
#else
const std::uint64_t kSeeds = 200;
#endif

Vector3d normals(Random& random) {
    const double x = random.normal(), y = random.normal(), z = random.normal();
    return {x, y, z};
}

/// A unit's faults, how it is moved, and where.
struct Trial {
    const char* name;
    double hardIron = 4.0;  ///< fields
    double softIron = 0.2;  ///< of the diagonal; half of it across
    double mounting = 0.0;  ///< rad, by which the magnetometer is turned against the accelerometer
    double noise = 0.01;    ///< fields
    double magnet = 0.0;    ///< fields, in one tenth of the time
    bool isScattered = false;
    double lowest = -2.0;  ///< least z of the direction that the field is seen in
    bool isFlat = false;   ///< turned about one axis
    // What must come out for every seed.
    double offset = 0.0;     ///< fields, greatest error
    double direction = 0.0;  ///< degrees, greatest RMS error over the directions seen
    Grade grade = Grade::kGood;
};

struct Unit {
    Matrix3d softIron = Matrix3d::Identity();
    Vector3d hardIron = Vector3d::Zero();
};

Unit unitOf(const Trial& trial, Random& random) {
    Unit unit;
    const Vector3d across = normals(random).cwiseMax(-2).cwiseMin(2) * trial.softIron / 4;
    unit.softIron.diagonal() += normals(random).cwiseMax(-2).cwiseMin(2) * trial.softIron / 2;
    unit.softIron(0, 1) = unit.softIron(1, 0) = across.x();
    unit.softIron(0, 2) = unit.softIron(2, 0) = across.y();
    unit.softIron(1, 2) = unit.softIron(2, 1) = across.z();
    unit.softIron = Eigen::AngleAxisd(trial.mounting, normals(random).normalized()) * unit.softIron;
    unit.hardIron = trial.hardIron * kField * normals(random).normalized();
    return unit;
}

SimulationOptions optionsOf(const Trial& trial, const Unit& unit, Random& random) {
    SimulationOptions options;
    options.seed = random.bits();
    options.seconds = 50;
    options.rate = 20;
    options.firstRest = 0;
    options.rests = false;
    options.burst = options.disturbance = 0;
    options.accelerationRms = 0.3;
    options.magnetometerNoise = trial.noise * kField;
    options.faults.softIron = unit.softIron;
    options.faults.hardIron = unit.hardIron;
    if (trial.magnet > 0 && !trial.isScattered) {
        options.faults.magnet = trial.magnet * kField * normals(random).normalized();
        options.faults.magnetFrom = random.uniform(0, 45);
        options.faults.magnetTo = options.faults.magnetFrom + 5;
    }
    return options;
}

void append(SensorTrack& track, double t, const Vector3d& value) {
    track.times.push_back(t);
    track.values.push_back(value);
}

SensorRecording record(const Trial& trial, const Unit& unit, Random& random) {
    SensorRecording recording;
    RecordingIO::Simulator simulator(optionsOf(trial, unit, random));
    SimulatedRow row;
    const Vector3d earth = kField * Vector3d(0, std::cos(1.1), -std::sin(1.1));
    while (simulator.next(row)) {
        Vector3d truth = OrientationInternal::rotate(OrientationInternal::conjugate(row.attitude), earth);
        if (trial.isFlat) {
            truth = Eigen::AngleAxisd(-0.6 * row.t, Vector3d::UnitZ()) * earth;
            row.rate = Vector3d(0, 0, 0.6);
            row.acceleration = Vector3d(0, 0, 9.81);
            row.field = unit.softIron * truth + unit.hardIron + trial.noise * kField * normals(random);
        }
        append(recording.acceleration, row.t, row.acceleration);
        append(recording.rate, row.t, row.rate);
        if (trial.isScattered && random.uniform() < 0.1)
            row.field += trial.magnet * kField * normals(random).normalized();
        if (truth.z() >= trial.lowest * kField) append(recording.field, row.t, row.field);
    }
    return recording;
}

/// Degrees, RMS over directions, between what a model makes of the field and the field.
double directionError(const Trial& trial, const Unit& unit, const AffineModel& model) {
    Random random(7);
    double squares = 0.0;
    const int count = 100;
    for (int i = 0; i < count; ++i) {
        Vector3d truth = normals(random).normalized();
        if (truth.z() < trial.lowest) truth.z() = -truth.z();
        if (trial.isFlat) truth.z() = -2.0 * truth.head<2>().norm();  // the dip, as it turned
        Vector3d seen = model.apply(unit.softIron * kField * truth + unit.hardIron);
        if (trial.isFlat) seen.z() = truth.z() = 0.0;
        const double angle = std::atan2(seen.cross(truth).norm(), seen.dot(truth));
        squares += angle * angle;
    }
    return std::sqrt(squares / count) * 180 / kPi;
}

const Trial kTrials[] = {
    {.name = "hard and soft iron", .offset = 0.01, .direction = 0.4},
    {.name = "cross terms, as mounted askew", .mounting = 0.1, .offset = 0.01, .direction = 2.0},
    {.name = "a magnet in the room", .magnet = 0.5, .offset = 0.03, .direction = 1.5},
    {.name = "a strong one", .noise = 0.005, .magnet = 1.5, .offset = 0.01, .direction = 0.5},
    {.name = "a tenth of wild samples", .magnet = 1.0, .isScattered = true, .offset = 0.01, .direction = 0.5},
    {.name = "half a sphere", .lowest = 0.0, .offset = 0.05, .direction = 1.5, .grade = Grade::kFair},
    {.name = "nothing wrong", .hardIron = 0.0, .softIron = 0.0, .offset = 1e-9, .direction = 1e-9},
    {.name = "one axis",
     .hardIron = 1.0,
     .softIron = 0.1,
     .isFlat = true,
     .direction = 5.0,
     .grade = Grade::kFair},
};

TEST(MagneticCalibrator, recoversFaultsWithinBoundsForEverySeed) {
    MagneticSettings settings;
    settings.mostSamples = 500;
    for (const Trial& trial : kTrials) {
        for (std::uint64_t seed = 1; seed <= kSeeds; ++seed) {
            SCOPED_TRACE(testing::Message() << trial.name << ", seed " << seed);
            Random random(seed);
            const Unit unit = unitOf(trial, random);
            const MagneticCalibration found = calibrateField(record(trial, unit, random), settings);
            const double before = directionError(trial, unit, {});
            const double after = directionError(trial, unit, found.model);
            ASSERT_EQ(static_cast<int>(found.opinion.grade), static_cast<int>(trial.grade));
            ASSERT_LE(after, trial.direction);
            ASSERT_LE(after, before);  // never worse than none
            // A magnet may leave the norm as it is: it then does no harm, and is not told.
            ASSERT_GE(found.disturbed, trial.isScattered ? 0.06 : 0.0);
            ASSERT_LE(found.disturbed, trial.magnet > 0 ? 0.17 : 0.02);
            if (trial.isFlat) continue;
            ASSERT_LE((found.model.offset - unit.hardIron).norm(), trial.offset * kField);
            ASSERT_NEAR(found.strength, kField * std::cbrt(unit.softIron.determinant()), 0.02 * kField);
            ASSERT_LT(found.residualAfter, 2.5 * trial.noise);
        }
    }
}

/// Directions evenly over the part of the sphere with z from 0.2 - width to 0.2 + width.
SensorRecording bandRecording(double width, const Vector3d& hardIron, double noise) {
    SensorRecording recording;
    Random random(1);
    for (int i = 0; i < 1800; ++i) {
        const double z = 0.2 + width * std::sin(0.37 * i), level = std::sqrt(1.0 - z * z), angle = 0.05 * i;
        const Vector3d direction(level * std::cos(angle), level * std::sin(angle), z);
        recording.field.times.push_back(0.025 * i);
        recording.field.values.push_back(kField * direction + hardIron + noise * kField * normals(random));
    }
    return recording;
}

TEST(MagneticCalibrator, takesNoNoiseForWhatWasNotSeen) {
    // In a thin band, the noise across it looks like curvature: along its axis nothing is corrected.
    for (const double noise : {0.0, 0.003, 0.01, 0.02}) {
        const auto found = calibrateField(bandRecording(0.05, {5, -5, 5}, noise), {});
        EXPECT_THAT(found.opinion.remarks.front(), HasSubstr("turned about one axis only")) << noise;
        EXPECT_LT((found.model.offset - Vector3d(5, -5, 0)).norm(), 0.01 * kField) << noise;
    }
    // The norm of a great hard iron is even to some percent, and tells nothing of the field's.
    const auto found = calibrateField(bandRecording(0.75, {400, -300, 600}, 0.03), {});
    EXPECT_LT((found.model.offset - Vector3d(400, -300, 600)).norm(), 0.05 * kField);
}

/// A recording that shows nothing, and part of what is said of it.
struct BadRow {
    const char* name;
    std::function<void(SensorRecording&)> spoil;
    const char* reason;
};

void forEach(SensorTrack& track, const std::function<void(std::size_t, Vector3d&)>& change) {
    for (std::size_t i = 0; i < track.size(); ++i) change(i, track.values[i]);
}

const BadRow kBadRows[] = {
    {"no magnetometer", [](auto& r) { r.field = {}; }, "has no magnetometer"},
    {"nan only",
     [](auto& r) {
         r.field = {};
         r.field.leftOut = 900;
     },
     "none of the 900 samples"},
    {"5 rows",
     [](auto& r) {
         r.field.times.resize(5);
         r.field.values.resize(5);
     },
     "has 5 usable samples of the field; 50 are needed"},
    {"no motion",
     [](auto& r) {
         forEach(r.rate, [](auto, auto& rate) { rate.setConstant(0.02); });
         forEach(r.acceleration, [](auto, auto& force) { force = {0, 0, 9.8}; });
     },
     "hardly turned"},
    {"no motion, and nothing else to tell it",
     [](auto& r) {
         r.rate = r.acceleration = {};
         Random random(3);
         forEach(r.field, [&](auto, auto& field) { field = Vector3d(10, 20, 40) + 0.5 * normals(random); });
     },
     "lie neither around a sphere nor around a circle"},
    {"part of a turn about one axis",
     [](auto& r) {
         r.rate = r.acceleration = {};
         forEach(r.field, [](auto i, auto& field) {
             const double angle = 1.5 * std::sin(0.01 * static_cast<double>(i));
             field = Vector3d(20 * std::cos(angle), 20 * std::sin(angle), 40);
         });
     },
     "the unit turned through 180 degrees about one axis"},
    {"a magnetometer that is stuck",
     [](auto& r) { forEach(r.field, [](auto, auto& field) {
                       field = {10, 20, 40};
                   }); }, "it is stuck"},
};

TEST(MagneticCalibrator, refusesWhatShowsNothingAndSaysWhatToDo) {
    Random random(1);
    const Trial trial{.name = ""};
    const SensorRecording good = record(trial, unitOf(trial, random), random);
    for (const BadRow& row : kBadRows) {
        SensorRecording recording = good;
        row.spoil(recording);
        EXPECT_THAT(outcome([&] { calibrateField(recording, {}); }), HasSubstr(row.reason)) << row.name;
    }
}

TEST(MagneticCalibrator, saysWhatIsMissing) {
    Random random(1);
    const Trial trial{.name = "", .lowest = 0.0};
    const MagneticCalibration found = calibrateField(record(trial, unitOf(trial, random), random), {});
    ASSERT_FALSE(found.opinion.remarks.empty());
    EXPECT_THAT(found.opinion.remarks.front(), HasSubstr("point -z down"));
}

}  // namespace
}  // namespace Kavelin::Calibration
