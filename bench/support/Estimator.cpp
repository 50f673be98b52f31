#include "bench/support/Estimator.h"

#include "attitude/FilterAGMAttitude_v5.h"
#include "attitude/FilterAGMAttitude_v6.h"
#include "attitude/FilterAGMAttitude_v7.h"
#include "attitude/FilterAGMAttitude_v8.h"
#include "attitude/FilterSO3Attitude.h"
#include "attitude/FilterSphericalFilteringAttitude.h"
#include "attitude/agm/AGMComputer.h"
#include "attitude/agm/AGMComputer_v7.h"
#include "attitude/agm/AGMComputer_v8.h"
#include "attitude/so3/SO3AttitudeComputer.h"
#include "attitude/spherical/SphericalAttitudeComputer.h"
#include "bench/support/FilterDrive.h"

namespace Kavelin::Bench {

namespace {

using namespace OrientationInternal;

// The arithmetic alone, without pins, of an estimator that needs no settings file.
template <class Computer>
class Bare : public Estimator {
public:
    std::optional<Eigen::Quaterniond> step(const Sample& s) override {
        if (!computer_.advance(s.t, s.acc, s.rate, s.field)) return std::nullopt;
        return computer_.attitude();
    }

private:
    Computer computer_;
};

std::string settingsFile(const char* name) {
    return std::string(KAVELIN_SOURCE_DIR) + "/examples/FILTER/" + name;
}

// An AGM estimator's arithmetic alone.
template <class Computer>
class BareAGM : public Estimator {
public:
    explicit BareAGM(const char* settings) { computer_.load(settingsFile(settings)); }

    std::optional<Eigen::Quaterniond> step(const Sample& s) override {
        if (!computer_.advance({.t = s.t, .acc = s.acc, .mag = s.field, .rate = s.rate})) return std::nullopt;
        return toEigen(computer_.estimate().q_ref_sensor);
    }

private:
    Computer computer_;
};

struct AGMComputer_v6 : AGMComputer {
    AGMComputer_v6() : AGMComputer(std::make_unique<ProblemAGM>(), kAGMVariant6) {}
};

// A filter through its pins, all of its outputs read.
template <class F>
class FilterEstimator : public Estimator {
public:
    explicit FilterEstimator(const char* settings = nullptr) {
        if (settings) drive_.set("Settings File Name", settingsFile(settings).c_str());
        const auto& outputs = drive_.filter().getOutputPins();
        for (std::size_t i = 0; i < outputs.size(); ++i) {
            if (outputs[i]->getName() == "attitudeQ") quaternion_ = i;
            if (outputs[i]->getName() == "attitude") matrix_ = i;
        }
        const auto& inputs = drive_.filter().getInputPins();
        for (std::size_t i = 0; i < inputs.size(); ++i) {
            if (inputs[i]->getName() == "3a") acc_ = i;
            if (inputs[i]->getName() == "3g") rate_ = i;
            if (inputs[i]->getName() == "3m") field_ = i;
        }
    }

    std::optional<Eigen::Quaterniond> step(const Sample& s) override {
        drive_.send(acc_, s.t, s.acc.transpose());
        drive_.send(rate_, s.t, s.rate.transpose());
        drive_.send(field_, s.t, s.field.transpose());
        if (drive_.process() == 0) return std::nullopt;
        if (quaternion_) {
            const Matrix& q = drive_.received(*quaternion_);
            return Eigen::Quaterniond(q(0), q(1), q(2), q(3));
        }
        return Eigen::Quaterniond(Eigen::Matrix3d(drive_.received(matrix_)));
    }

private:
    Tests::FilterDrive<F> drive_;
    std::size_t acc_ = 0, rate_ = 0, field_ = 0, matrix_ = 0;
    std::optional<std::size_t> quaternion_;
};

template <class E, class... Arguments>
EstimatorEntry entry(const char* name, Alignment alignment, Arguments... arguments) {
    return {name, alignment, [=] { return std::make_unique<E>(arguments...); }};
}

}  // namespace

std::vector<EstimatorEntry> allEstimators() {
    constexpr Alignment kNone = Alignment::kNone;
    constexpr Alignment kStart = Alignment::kStart;
    return {
        entry<FilterEstimator<FilterSO3Attitude>>("SO3Attitude", kNone),
        entry<FilterEstimator<FilterSphericalFilteringAttitude>>("SphericalFilteringAttitude", kNone),
        entry<FilterEstimator<FilterAGMAttitude_v8>>("AGMAttitude_v8", kNone, "AGMAttitude_v8.par"),
        entry<FilterEstimator<FilterAGMAttitude_v7>>("AGMAttitude_v7", kStart, "AGMAttitude_v7.par"),
        entry<FilterEstimator<FilterAGMAttitude_v6>>("AGMAttitude_v6", kStart, "AGMAttitude_v6.par"),
        entry<FilterEstimator<FilterAGMAttitude_v5>>("AGMAttitude_v5", kStart, "AGMAttitude_v5.par"),
        entry<Bare<SO3AttitudeComputer>>("SO3, bare", kNone),
        entry<Bare<SphericalAttitudeComputer>>("spherical, bare", kNone),
        entry<BareAGM<AGMComputer_v8>>("v8, bare", kNone, "AGMAttitude_v8.par"),
        entry<BareAGM<AGMComputer_v7>>("v7, bare", kStart, "AGMAttitude_v7.par"),
        entry<BareAGM<AGMComputer_v6>>("v6, bare", kStart, "AGMAttitude_v6.par"),
    };
}

}  // namespace Kavelin::Bench
