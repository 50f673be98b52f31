#include "calibration/noise/NoiseFit.h"

#include "calibration/model/Unsuitable.h"
#include "simulation/Random.h"
#include "support/TestKit.h"

namespace Kavelin::Calibration {
namespace {

using namespace Tests;

struct Noise {
    double white = 0.0, flicker = 0.0, walk = 0.0;
};

/// White noise, one over f from low-passed noises an octave apart, and a random walk, on each axis.
SensorTrack noisyTrack(std::uint64_t seed, const Noise& noise, double seconds, double frequency = 20.0) {
    constexpr int kOctaves = 14;  // time constants from 1/16 s on
    RecordingIO::Random random(seed);
    const auto draw = [&] { return Eigen::Vector3d(random.normal(), random.normal(), random.normal()); };
    std::vector<Eigen::Vector3d> poles(noise.flicker > 0.0 ? kOctaves : 0);
    for (auto& pole : poles) pole = draw();
    Eigen::Vector3d walk = Eigen::Vector3d::Zero();
    SensorTrack track;
    for (double k = 0.0; k < seconds * frequency; ++k) {
        walk += noise.walk / std::sqrt(frequency) * draw();
        Eigen::Vector3d sum = walk + noise.white * std::sqrt(frequency) * draw();
        for (std::size_t i = 0; i < poles.size(); ++i) {
            const double keep = std::exp(-16.0 / frequency / std::exp2(static_cast<double>(i)));
            poles[i] = keep * poles[i] + std::sqrt(1.0 - keep * keep) * draw();
            sum += noise.flicker * std::sqrt(std::numbers::ln2 / kPi) * poles[i];
        }
        track.times.push_back(k / frequency);
        track.values.push_back(sum);
    }
    return track;
}

NoiseStudy studyOfRates(const SensorTrack& rate) {
    return calibrateNoise({.acceleration = {}, .rate = rate, .field = {}});
}

/// Ratios of what was found to what was put in, over the axes of all seeds.
struct Ratios {
    double least = kInfinity, greatest = 0.0, sum = 0.0;
    int count = 0, missing = 0;
    void add(const Eigen::Vector3d& found, double truth) {
        for (const double value : found) {
            if (std::isnan(value)) {
                ++missing;
                continue;
            }
            const double ratio = value / truth;
            least = std::min(least, ratio);
            greatest = std::max(greatest, ratio);
            sum += ratio;
            ++count;
        }
    }
    double mean() const { return sum / count; }
};

TEST(NoiseFit, FindsWhiteNoiseAndRandomWalk) {
    constexpr Noise kTruth{.white = 0.002, .walk = 1e-4};
    Ratios white, walk;
    for (std::uint64_t seed = 1; seed <= 30; ++seed) {
        const NoiseStudy study = studyOfRates(noisyTrack(seed, kTruth, 3600.0));
        EXPECT_EQ(study.calibration.opinion.grade, Grade::kGood) << seed;
        white.add(study.calibration.rate->whiteNoise, kTruth.white);
        walk.add(study.calibration.rate->randomWalk, kTruth.walk);
    }
    EXPECT_GT(white.least, 0.96);
    EXPECT_LT(white.greatest, 1.04);
    EXPECT_LT(walk.missing, 9);  // of 90
    EXPECT_GT(walk.least, 0.5);
    EXPECT_LT(walk.greatest, 1.5);
    EXPECT_NEAR(walk.mean(), 1.0, 0.12);
}

TEST(NoiseFit, FindsTheBiasInstability) {
    constexpr Noise kTruth{.white = 0.0005, .flicker = 3e-4};
    Ratios white, instability;
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        const NoiseStudy study = studyOfRates(noisyTrack(seed, kTruth, 3600.0));
        white.add(study.calibration.rate->whiteNoise, kTruth.white);
        instability.add(study.calibration.rate->biasInstability, kTruth.flicker);
    }
    EXPECT_NEAR(white.mean(), 1.0, 0.1);
    EXPECT_GT(instability.least, 0.75);
    EXPECT_LT(instability.greatest, 1.3);
    EXPECT_NEAR(instability.mean(), 1.0, 0.1);
}

TEST(NoiseFit, WhatTheRecordingIsTooShortToShowIsNaN) {
    const NoiseStudy study = studyOfRates(noisyTrack(1, {.white = 0.002, .walk = 1e-4}, 120.0));
    EXPECT_EQ(study.calibration.opinion.grade, Grade::kFair);
    EXPECT_TRUE(study.calibration.rate->whiteNoise.allFinite());
    EXPECT_TRUE(study.calibration.rate->biasInstability.array().isNaN().all());
    EXPECT_TRUE(study.calibration.rate->randomWalk.array().isNaN().all());
    EXPECT_THAT(study.calibration.opinion.remarks,
                ElementsAre("gyroscope: bias instability (x, y, z) and random walk (x, y, z) cannot be told "
                            "from averaging times up to 13 s: leave the unit still for 10 minutes or more"));
}

// By the definition: differences of neighbouring means, at every start.
TEST(NoiseFit, TheDeviationIsThatOfTheDefinition) {
    const SensorTrack track = noisyTrack(2, {.white = 1.0, .walk = 0.3}, 10.0);
    const std::vector<AllanPoint> points = allanDeviation({.step = 0.05, .values = track.values});
    for (const AllanPoint& point : points) {
        const auto m = static_cast<std::size_t>(std::lround(point.time / 0.05));
        const auto meanFrom = [&](std::size_t begin) {
            Eigen::Vector3d sum = Eigen::Vector3d::Zero();
            for (std::size_t i = begin; i < begin + m; ++i) sum += track.values[i];
            return Eigen::Vector3d(sum / static_cast<double>(m));
        };
        Eigen::Vector3d squares = Eigen::Vector3d::Zero();
        std::size_t count = 0;
        for (; count + 2 * m <= track.size(); ++count)
            squares += (meanFrom(count + m) - meanFrom(count)).cwiseAbs2();
        EXPECT_LT((point.deviation - (squares / (2.0 * static_cast<double>(count))).cwiseSqrt()).norm(),
                  1e-12)
            << m;
    }
    EXPECT_NEAR(points.back().time, 10.0 / 9.0, 0.2);
}

TEST(NoiseFit, UsesTheLongestStretchThatIsStillAndWithoutGaps) {
    SensorTrack rate = noisyTrack(3, {.white = 0.002}, 300.0);
    for (std::size_t i = 0; i < rate.size(); ++i) {
        if (rate.times[i] < 20.0 || (rate.times[i] > 80.0 && rate.times[i] < 82.0))
            rate.values[i].x() += std::sin(3.0 * rate.times[i]);
        if (rate.times[i] > 200.0) rate.times[i] += 5.0;
    }
    rate.times.erase(rate.times.begin() + 3000),
        rate.values.erase(rate.values.begin() + 3000);  // one is lost: no gap
    const NoiseStudy study = studyOfRates(rate);
    EXPECT_NEAR(study.from, 82.0, 1.0);
    EXPECT_NEAR(study.to, 200.0, 0.1);
    EXPECT_NEAR(study.calibration.rate->whiteNoise.x(), 0.002, 3e-4);
    EXPECT_THAT(study.calibration.opinion.remarks, testing::Contains(HasSubstr("only 82.")));
}

// As a magnetometer's are, whose few samples were interpolated.
TEST(NoiseFit, ValuesThatWereFilteredHaveTheNoiseOfBefore) {
    constexpr std::size_t kOver = 8;
    const SensorTrack raw = noisyTrack(6, {.white = 0.002}, 600.0);
    SensorTrack filtered;
    for (std::size_t i = kOver; i < raw.size(); ++i) {
        Eigen::Vector3d sum = Eigen::Vector3d::Zero();
        for (std::size_t k = 0; k < kOver; ++k) sum += raw.values[i - k];
        filtered.times.push_back(raw.times[i]);
        filtered.values.push_back(sum / static_cast<double>(kOver));
    }
    Ratios white;
    white.add(studyOfRates(filtered).calibration.rate->whiteNoise, 0.002);
    EXPECT_GT(white.least, 0.88);
    EXPECT_LT(white.greatest, 1.12);
}

TEST(NoiseFit, AnAxisThatDoesNotChangeHasNoFigures) {
    SensorTrack rate = noisyTrack(4, {.white = 0.002}, 120.0);
    for (auto& value : rate.values) value.y() = 0.25;
    const NoiseStudy study = studyOfRates(rate);
    EXPECT_TRUE(std::isnan(study.calibration.rate->whiteNoise.y()));
    EXPECT_NEAR(study.calibration.rate->whiteNoise.z(), 0.002, 2e-4);
    EXPECT_THAT(study.calibration.opinion.remarks,
                testing::Contains(HasSubstr("gyroscope: no white noise on y")));
}

TEST(NoiseFit, RefusesWhatShowsNoNoise) {
    SensorTrack moving = noisyTrack(5, {.white = 0.002}, 60.0), late = moving, gappy = moving,
                uneven = moving, off = moving;
    for (std::size_t i = 0; i < moving.size(); ++i) {
        off.values[i].setConstant(0.5);
        moving.values[i].x() += std::sin(2.0 * moving.times[i]);
        if (i % 300 < 40) late.values[i].z() += i % 2 ? 1.0 : -1.0;
        gappy.times[i] += static_cast<double>(i / 300);
        uneven.times[i] += i % 2 ? 0.02 : 0.0;
    }
    const struct {
        const char* what;
        SensorTrack rate;
        const char* said;
    } rows[] = {
        {"nothing", {}, "no samples"},
        {"five rows", noisyTrack(5, {.white = 0.002}, 0.25),
         "0.2 s are too short: leave the unit still for 20 s"},
        {"switched off", off, "no sensor shows white noise: are they switched off"},
        {"ten seconds", noisyTrack(5, {.white = 0.002}, 10.0), "9.95 s are too short"},
        {"moving", moving, "the unit lies still for 0.25 s at most: it moves"},
        {"knocked", late, "lies still for 12."},
        {"gaps", gappy, "lies still for 15 s at most: it moves, or samples are missing, first at 14.9 s"},
        {"no steady rate", uneven, "gyroscope: the samples come at no steady rate (50 % of the steps"},
    };
    for (const auto& row : rows) {
        EXPECT_THAT(outcome([&] { studyOfRates(row.rate); }), HasSubstr(row.said)) << row.what;
    }
}

}  // namespace
}  // namespace Kavelin::Calibration
