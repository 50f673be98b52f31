#include "calibration/magnetic/RobustSphere.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>

#include "calibration/magnetic/EllipsoidFit.h"
#include "calibration/model/RobustLoss.h"

namespace Kavelin::Calibration {

namespace {

using Eigen::Vector3d;

const int kTrials = 120;
const std::size_t kDrawn = 7;            // points a sphere
const std::size_t kCompared = 300;       // points that the median is taken over while searching
const double kInlierBound = 3.0;         // deviations
const double kSmallestDeviation = 0.03;  // of the radius; soft iron is no reason to leave a point out

/// Draws points by their weight.
class Draw {
public:
    explicit Draw(const std::vector<double>& weights) : sums_(weights.size()) {
        std::partial_sum(weights.begin(), weights.end(), sums_.begin());
    }
    std::size_t operator()() {
        const double share = static_cast<double>(random_() - random_.min()) /
                             static_cast<double>(random_.max() - random_.min());
        const auto found = std::lower_bound(sums_.begin(), sums_.end(), share * sums_.back());
        return std::min(static_cast<std::size_t>(found - sums_.begin()), sums_.size() - 1);
    }

private:
    std::vector<double> sums_;
    std::minstd_rand random_{1};  // its sequence is prescribed
};

double medianDistance(const EllipsoidModel& model, const std::vector<Vector3d>& points) {
    std::vector<double> distances;
    for (const Vector3d& point : points) distances.push_back(std::abs(model.toSphere(point).norm() - 1.0));
    const auto middle = distances.begin() + static_cast<std::ptrdiff_t>(distances.size() / 2);
    std::nth_element(distances.begin(), middle, distances.end());
    return *middle;
}

}  // namespace

std::optional<RobustSphere> fitRobustSphere(const std::vector<Vector3d>& points,
                                            const std::vector<double>& weights) {
    const std::optional<EllipsoidModel> plain = fitSphere(points, weights);
    if (!plain) return std::nullopt;
    Draw draw(weights);
    std::vector<Vector3d> compared;
    for (std::size_t i = 0; i < kCompared; ++i) compared.push_back(points[draw()]);
    // In the field's unit: as a share of the radius, large spheres would be favoured.
    const auto cost = [&](const EllipsoidModel& m) { return medianDistance(m, compared) * m.radius(); };
    RobustSphere best{*plain, {}};
    double least = cost(*plain);
    for (int trial = 0; trial < kTrials; ++trial) {
        std::vector<Vector3d> drawn;
        for (std::size_t i = 0; i < kDrawn; ++i) drawn.push_back(points[draw()]);
        const auto sphere = fitSphere(drawn, std::vector<double>(kDrawn, 1.0));
        if (!sphere || !(cost(*sphere) < least)) continue;
        least = cost(*sphere);
        best.model = *sphere;
    }
    const double deviation =
        std::max(kSmallestDeviation, deviationOfMedian(medianDistance(best.model, compared)));
    for (std::size_t i = 0; i < points.size(); ++i) {
        const double distance = std::abs(best.model.toSphere(points[i]).norm() - 1.0);
        best.inliers.push_back(distance < kInlierBound * deviation ? weights[i] : 0.0);
    }
    return best;
}

}  // namespace Kavelin::Calibration
