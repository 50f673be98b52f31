#include "attitude/so3/SampleClock.h"

#include "support/TestKit.h"

namespace Kavelin::OrientationInternal::SO3 {
namespace {

// A letter for each of the last steps: "." ordinary, "g" a gap, "G" a long one.
std::string gaps(const std::vector<double>& times) {
    SampleClock clock;
    std::string seen;
    for (int i = 0; i < 50; ++i) clock.pass(0.01), clock.step();
    for (const double dt : times) {
        clock.pass(dt);
        const SampleClock::Step step = clock.step();
        EXPECT_EQ(step.dt, dt);
        seen += step.isLongGap ? 'G' : step.isGap ? 'g' : '.';
    }
    return seen;
}

TEST(SampleClock, TellsGapsFromJitterAndFromASlowerRate) {
    EXPECT_EQ(gaps({0.01, 0.017, 0.004, 0.0199}), "....") << "jitter, and less than any gap";
    EXPECT_EQ(gaps({0.021, 0.01, 0.08, 0.51}), "g.gG");
    EXPECT_EQ(gaps(std::vector<double>(40, 0.05)), std::string(20, 'g') + std::string(20, '.'));
}

}  // namespace
}  // namespace Kavelin::OrientationInternal::SO3
