// What every filter of the attitude family owes its layout once it runs: no call to the heap for a sample.

#include "attitude/FilterAGMTriad_gyro.h"
#include "attitude/FilterAbsoluteAttitude.h"
#include "attitude/FilterAttitude.h"
#include "attitude/FilterXSENSAttitude.h"
#include "converters/Filter3a3mGenerator.h"
#include "converters/FilterOmegaToMatrix.h"
#include "orientation/FilterConstantPlane.h"
#include "support/FilterDrive.h"
#include "support/HeapCalls.h"
#include "support/Motion.h"
#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;
using Sample = MotionSample;
using Feed = void (*)(const Sample&, std::size_t input, Matrix& value);

void feedSensors(const Sample& s, std::size_t input, Matrix& value) {  // in the order 3a, 3m, then a rotation
    if (input == 0) value = s.acc.transpose();
    if (input == 1) value = s.field.transpose();
    if (input == 2) value = s.truth.R_earth_sensor;
}
void feedColumns(const Sample& s, std::size_t input, Matrix& value) {
    const Eigen::Vector3d columns[] = {s.acc, s.field, s.rate, Eigen::Vector3d::Zero()};
    value = columns[input];
}
void feedRate(const Sample& s, std::size_t, Matrix& value) { value = s.rate.transpose(); }
void feedRotation(const Sample& s, std::size_t, Matrix& value) { value = s.truth.R_earth_sensor; }
void feedAngle(const Sample& s, std::size_t input, Matrix& value) {
    value.setConstant(1, 1, s.field[static_cast<Eigen::Index>(input)]);
}

/// Heap calls over 500 samples, after as many as fill every buffer's ring.
template <class F>
std::size_t heapCallsOf(Feed feed, const char* property = nullptr, const char* text = nullptr) {
    const auto samples = record(Motion(), 20, 100);
    FilterDrive<F> drive;
    if (property != nullptr) drive.set(property, text);
    std::vector<Matrix> values(drive.filter().getInputPins().size());
    std::size_t before = 0;
    int sent = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        if (i == 1500) before = heapCalls.load();
        for (std::size_t input = 0; input < values.size(); ++input) {
            feed(samples[i], input, values[input]);
            drive.send(input, samples[i].t, values[input]);
        }
        sent += drive.process();
    }
    EXPECT_GT(sent, 1500);
    return heapCalls.load() - before;
}

TEST(SteadyState, NoFilterOfTheAttitudeFamilyCallsTheHeap) {
    if (!KAVELIN_HEAP_CALLS_COUNTED) GTEST_SKIP() << "skipped: the sanitizer owns the heap";
    const std::size_t before = heapCalls.load();
    const Matrix counted = Matrix::Ones(3, 3);
    ASSERT_GT(heapCalls.load(), before) << "a dynamic matrix is counted: " << counted.size();

    EXPECT_EQ(heapCallsOf<FilterAbsoluteAttitude>(feedSensors), 0u);
    for (const char* mode : {"static", "dynamic yaw", "dynamic horizontal", "static with coef"}) {
        EXPECT_EQ(heapCallsOf<FilterAttitude>(feedSensors, "Mode", mode), 0u) << mode;
    }
    EXPECT_EQ(heapCallsOf<FilterXSENSAttitude>(feedRotation), 0u);
    EXPECT_EQ(heapCallsOf<FilterAGMTriad_gyro>(feedColumns), 0u);
    EXPECT_EQ(heapCallsOf<FilterConstantPlane>(feedRate), 0u);
    EXPECT_EQ(heapCallsOf<FilterOmegaToMatrix>(feedRate), 0u);
    EXPECT_EQ(heapCallsOf<Filter3a3mGenerator>(feedAngle), 0u);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
