// What every filter of the orientation family owes its layout once it runs: no call to the heap for a sample.

#include "orientation/FilterAngleDG.h"
#include "orientation/FilterChangeOfBasis.h"
#include "orientation/FilterCumulAngles.h"
#include "orientation/FilterFlipDetectionLib.h"
#include "orientation/FilterOrientationIntegration.h"
#include "orientation/FilterOrientationQuality.h"
#include "orientation/FilterQuaternionFilter.h"
#include "orientation/FilterStaticMode.h"
#include "support/FilterDrive.h"
#include "support/HeapCalls.h"
#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

/// Heap calls over 500 samples, after as many as fill every buffer's ring.
/// @param samples one for each input pin, in the order of their creation.
template <class F>
std::size_t heapCallsOf(const std::vector<Matrix>& samples, const char* property = nullptr,
                        const char* text = "") {
    FilterDrive<F> drive;
    if (property != nullptr) drive.set(property, text);
    std::size_t before = 0;
    int sent = 0;
    for (int i = 0; i < 2000; ++i) {
        if (i == 1500) before = heapCalls.load();
        for (std::size_t input = 0; input < samples.size(); ++input)
            drive.send(input, 0.01 * i, samples[input]);
        sent += drive.process();
    }
    EXPECT_GE(sent, 2000);
    return heapCalls.load() - before;
}

TEST(SteadyState, NoFilterOfTheOrientationFamilyCallsTheHeap) {
    if (!KAVELIN_HEAP_CALLS_COUNTED) GTEST_SKIP() << "skipped: the sanitizer owns the heap";
    const Matrix acc{{0, 1, 9}}, mag{{20, 0, -40}}, gyr{{0.1, 0.2, 0.3}}, q{{1, 0, 0, 0}};
    const Matrix square = Matrix::Identity(3, 3), columns = Matrix::Ones(3, 2);
    for (const char* order : {"0", "1"}) {
        EXPECT_EQ(heapCallsOf<FilterOrientationIntegration>({gyr, q, q}, "order", order), 0U) << order;
    }
    EXPECT_EQ(heapCallsOf<FilterQuaternionFilter>({q}, "alphas", "1 5 1 2 3 2 1"), 0U);
    EXPECT_EQ(heapCallsOf<FilterStaticMode>({acc, mag, gyr}), 0U);
    EXPECT_EQ(heapCallsOf<FilterOrientationQuality>({acc, mag, gyr}), 0U);
    EXPECT_EQ(heapCallsOf<FilterChangeOfBasis>({square, square}), 0U);
    EXPECT_EQ(heapCallsOf<FilterChangeOfBasis>({columns, square}), 0U);
    EXPECT_EQ(heapCallsOf<FilterAngleDG>({q, square}), 0U);
    EXPECT_EQ(heapCallsOf<FilterCumulAngles>({acc}), 0U);
    EXPECT_EQ(heapCallsOf<FilterFlipDetectionLib>({acc}), 0U);
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
