#include "io/RestWatch.h"

#include <algorithm>

namespace Kavelin::RecordingIO {

void RestWatch::add(double time, const Eigen::Vector3d& acceleration, const Eigen::Vector3d& rate) {
    if (!hasStart_) {
        hasStart_ = true;
        start_ = last_ = time;
        detector_.start(acceleration, rate);
        return;
    }
    watching_ = time - start_ <= kWithin;
    if (!watching_ || time <= last_) return;
    detector_.update(time - last_, acceleration, rate, {});
    last_ = time;
    longest_ = std::max(longest_, detector_.stillness());
}

}  // namespace Kavelin::RecordingIO
