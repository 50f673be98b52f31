#include "bench/support/Estimator.h"

#include "attitude/SphericalAttitudeComputer.h"

namespace Kavelin::Bench {

namespace {

// The spherical filter's arithmetic alone, without pins.
class BareSpherical : public Estimator {
public:
    std::optional<Eigen::Quaterniond> step(const Sample& s) override {
        if (!computer_.advance(s.t, s.acc, s.rate, s.field)) return std::nullopt;
        return computer_.attitude();
    }

private:
    OrientationInternal::SphericalAttitudeComputer computer_;
};

template <typename E>
EstimatorEntry entry(const char* name, Alignment alignment) {
    return {name, alignment, [] { return std::make_unique<E>(); }};
}

}  // namespace

std::vector<EstimatorEntry> allEstimators() {
    return {
        entry<BareSpherical>("spherical, bare", Alignment::None),
    };
}

}  // namespace Kavelin::Bench
