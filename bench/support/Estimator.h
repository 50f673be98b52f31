#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bench/support/Comparison.h"

namespace Kavelin::Bench {

/// An orientation estimator as the table of errors sees it:
/// samples in, an attitude out as soon as there is one.
class Estimator {
public:
    virtual ~Estimator() = default;
    /// Sensor to the estimator's reference frame, unit norm; nothing while it has not started.
    virtual std::optional<Eigen::Quaterniond> step(const Sample& sample) = 0;
};

/// One row of the table.
struct EstimatorEntry {
    std::string name;
    Alignment alignment = Alignment::kNone;
    std::function<std::unique_ptr<Estimator>()> make;
};

/// Every estimator that the table compares, in its order.
std::vector<EstimatorEntry> allEstimators();

}  // namespace Kavelin::Bench
