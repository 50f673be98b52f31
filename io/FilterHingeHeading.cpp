#include "io/FilterHingeHeading.h"

#include "attitude/rotation/QuaternionAlgebra.h"
#include "orientation/joint/HingePairing.h"

namespace Kavelin::RecordingIO {

FilterHingeHeading::FilterHingeHeading(const std::string& name) : Filter(name, true) {
    tracker_.setTimeConstant(kTimeConstant);
}

void FilterHingeHeading::process() {
    using namespace OrientationInternal;
    while (takeTogether(d_, g_)) {
        if (!allFit(d_, g_) || !d_.value().allFinite() || !g_.value().allFinite()) continue;
        const Quaternion q_d = Eigen::Map<const Quaternion>(d_.value().data());
        const Quaternion q_g = Eigen::Map<const Quaternion>(g_.value().data());
        const double t = newestStamp(d_, g_);
        const double heading = tracker_.update(t, q_d, q_g);
        turned_.value() = quaternionProduct(headingTurn(heading), q_g).transpose();
        heading_.value()(0, 0) = heading;
        turned_.send(t);
        heading_.send(t);
    }
}

}  // namespace Kavelin::RecordingIO
