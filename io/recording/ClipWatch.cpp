#include "io/recording/ClipWatch.h"

#include <cmath>

namespace Kavelin::RecordingIO {

namespace {

const double kLeastRange = 2.0;  // rad/s; the smallest range of gyroscopes in use is 125 degrees/s
const int kLeastRun = 3;         // two equal samples may be chance

}  // namespace

void ClipWatch::add(const Eigen::Vector3d& rate) {
    const double most = rate.cwiseAbs().maxCoeff();
    if (most > 1.001 * greatest_) {
        greatest_ = most;
        level_ = 0.0;
        clipped_ = 0;
    }
    // All three equal: the sample was sent twice.
    const bool moves = hasLast_ && rate != last_;
    bool isClipped = false;
    for (int axis = 0; axis < 3; ++axis) {
        const double size = std::abs(rate[axis]);
        auto& run = run_[static_cast<std::size_t>(axis)];
        if (rate[axis] != last_[axis])
            run = 1;
        else if (moves)
            ++run;
        if (run < kLeastRun || size < kLeastRange || size < 0.999 * greatest_) continue;
        if (level_ == 0.0) clipped_ = kLeastRun - 1;
        level_ = size;
        isClipped = true;
    }
    if (isClipped) ++clipped_;
    hasLast_ = true;
    last_ = rate;
}

}  // namespace Kavelin::RecordingIO
