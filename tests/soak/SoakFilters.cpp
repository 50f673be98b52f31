#include "soak/SoakFilters.h"

#include <cmath>

namespace Kavelin::Soak {

void SoakSource::process() {
    const std::uint64_t row = row_.load();
    const double t = static_cast<double>(row) * 0.01;
    const double c = std::cos(0.3 * t), s = std::sin(0.3 * t);
    acceleration_.value() << 9.81 * s, 0.1, 9.81 * c;
    rate_.value() << 0.0, 0.3, 0.01 * c;
    field_.value() << 20.0 * c - 40.0 * s, 3.0, 20.0 * s + 40.0 * c;
    mark_.value() << kMark, t, 2.0 * t, -3.0 * t;
    row_ = row + 1;
    for (OutputPin<Matrix>* pin : {&acceleration_, &rate_, &field_, &mark_}) pin->send(t);
    counts_.rows.fetch_add(1, std::memory_order_relaxed);
}

void SoakRelay::process() {
    if (setting_.value() != half_) failures_.add("process saw half a change of properties");
    take(a_);
    take(b_);
}

void SoakRelay::take(InputPin<Matrix>& pin) {
    if (!pin.readNext()) return;
    const double t = pin.lastTimeStamp();
    const Matrix& value = pin.value();
    if (value.size() == 4 && value(0) == kMark &&
        (value(1) != t || value(2) != 2.0 * t || value(3) != -3.0 * t))
        failures_.add("a sample and its time stamp are not of one send");
    out_.value() = value;
    out_.send(t);
}

}  // namespace Kavelin::Soak
