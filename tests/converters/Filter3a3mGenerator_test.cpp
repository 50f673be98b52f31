#include "converters/Filter3a3mGenerator.h"

#include "attitude/FilterAbsoluteAttitude.h"
#include "attitude/FilterAttitude.h"
#include "attitude/rotation/AngleConstants.h"
#include "support/FilterTest.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

TEST(Filter3a3mGenerator, FeedsTheAttitudeFiltersTheAttitudeItWasGiven) {
    Core::LayoutManager layout("bench");
    Filter3a3mGenerator generator("generator");
    FilterAttitude attitude("attitude");
    FilterAbsoluteAttitude absolute("absolute");
    Core::OutputPin<Matrix> yaw("yaw", nullptr), pitch("pitch", nullptr), roll("roll", nullptr),
        rel("rel", nullptr);
    for (Core::Filter* filter : std::initializer_list<Core::Filter*>{&generator, &attitude, &absolute}) {
        layout.add(*filter);
    }
    Core::connect(yaw, generator.getInputPin("yaw"));
    Core::connect(pitch, generator.getInputPin("pitch"));
    Core::connect(roll, generator.getInputPin("roll"));
    Core::connect(rel, absolute.getInputPin("rel"));
    for (Core::Filter* filter : std::initializer_list<Core::Filter*>{&attitude, &absolute}) {
        Core::connect(generator.getOutputPin("3a"), filter->getInputPin("3a"));
        Core::connect(generator.getOutputPin("3m"), filter->getInputPin("3m"));
    }
    std::vector<Sent> sent;
    ListeningPin first("attitude", sent), second("abs", sent);
    Core::connect(attitude.getOutputPin("attitude"), first);
    Core::connect(absolute.getOutputPin("abs"), second);

    for (int i = 0; i < 36; ++i) {
        SCOPED_TRACE(i);
        const Eigen::Vector3d e(10.0 * i - 180, 5.0 * i - 90, 37.0 * i);
        const auto turn = [](double degrees, const Eigen::Vector3d& axis) {
            return Eigen::AngleAxisd(degrees * kDegreesToRadians, axis);
        };
        const Eigen::Matrix3d truth =
            (turn(e[0], Vector3::UnitZ()) * turn(e[1], Vector3::UnitY()) * turn(e[2], Vector3::UnitX()))
                .toRotationMatrix();
        sent.clear();
        yaw.value() = row({e[0]});
        pitch.value() = row({e[1]});
        roll.value() = row({e[2]});
        yaw.send(i);
        pitch.send(i);
        roll.send(i);
        while (layout.runRound()) continue;
        rel.value() = Matrix::Identity(3, 3);  // the pair is in the pins by now
        rel.send(i);
        while (layout.runRound()) continue;
        ASSERT_EQ(sent.size(), 2u);
        for (const auto& one : sent) EXPECT_THAT(one.value, isNearMatrix(truth, 1e-12)) << one.pin;
    }
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
