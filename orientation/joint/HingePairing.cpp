#include "orientation/joint/HingePairing.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "attitude/rotation/Angles.h"
#include "attitude/rotation/QuaternionAlgebra.h"

namespace Kavelin::OrientationInternal {

namespace {

/// The axes of both units in their earth frames, and their rates there.
struct InEarth {
    Vector3 axis_d, axis_g, rate_d, rate_g;
};

std::vector<InEarth> inEarth(const std::vector<JointSample>& samples, const HingeAxis& hinge,
                             const Vector3& bias_d, const Vector3& bias_g) {
    std::vector<InEarth> turned;
    turned.reserve(samples.size());
    for (const JointSample& sample : samples)
        turned.push_back({rotate(sample.q_earth_d, hinge.d), rotate(sample.q_earth_g, hinge.g),
                          rotate(sample.q_earth_d, sample.rate_d - bias_d),
                          rotate(sample.q_earth_g, sample.rate_g - bias_g)});
    return turned;
}

using Span = std::span<const InEarth>;

/// The turn of G about the vertical that brings the axes of these samples together best.
double bestHeading(Span samples, double sign) {
    double sine = 0.0, cosine = 0.0;
    for (const InEarth& sample : samples) {
        sine += sign * (sample.axis_g.x() * sample.axis_d.y() - sample.axis_g.y() * sample.axis_d.x());
        cosine += sign * (sample.axis_g.x() * sample.axis_d.x() + sample.axis_g.y() * sample.axis_d.y());
    }
    return std::atan2(sine, cosine);
}

/// One of the two ways in which the axes may go together.
struct Trial {
    double heading = 0.0;
    double drift = 0.0;      // of the heading, greatest less smallest
    double agreement = 0.0;  // mean cosine between the axes
    double across = 0.0;     // share
};

/// In parts, each with a heading of its own, as headings without a field drift.
Trial tryPairing(const std::vector<InEarth>& samples, double sign) {
    constexpr std::size_t kMostParts = 16, kFewestInPart = 100;
    const std::size_t parts = std::clamp<std::size_t>(samples.size() / kFewestInPart, 1, kMostParts);
    Trial trial{.heading = bestHeading(samples, sign)};
    double agreement = 0.0, across = 0.0, whole = 0.0, smallest = 0.0, greatest = 0.0;
    for (std::size_t part = 0; part < parts; ++part) {
        const std::size_t begin = part * samples.size() / parts, end = (part + 1) * samples.size() / parts;
        const Span some = Span(samples).subspan(begin, end - begin);
        const double heading = bestHeading(some, sign);
        const double off = wrapped(heading - trial.heading);
        smallest = std::min(smallest, off);
        greatest = std::max(greatest, off);
        const Quaternion turn = headingTurn(heading);
        for (const InEarth& sample : some) {
            agreement += sign * sample.axis_d.dot(rotate(turn, sample.axis_g));
            const Vector3 relative = sample.rate_d - rotate(turn, sample.rate_g);
            across += relative.cross(sample.axis_d).squaredNorm();
            whole += relative.squaredNorm();
        }
    }
    trial.drift = greatest - smallest;
    trial.agreement = agreement / static_cast<double>(samples.size());
    trial.across = whole > 0.0 ? std::sqrt(across / whole) : 0.0;
    return trial;
}

/// An axis 9 degrees from level, RMS, makes this difference in the mean cosine.
constexpr double kSmallestDifference = 0.05;

/// The mean cosine between the axes, as the attitudes stand.
double agreementAsTheyStand(const std::vector<InEarth>& samples) {
    double sum = 0.0;
    for (const InEarth& sample : samples) sum += sample.axis_d.dot(sample.axis_g);
    return sum / static_cast<double>(samples.size());
}

}  // namespace

double headingBetween(const Vector3& from, const Vector3& to) {
    return std::atan2(from.x() * to.y() - from.y() * to.x(), from.x() * to.x() + from.y() * to.y());
}

Quaternion headingTurn(double angle) { return {std::cos(angle / 2), 0.0, 0.0, std::sin(angle / 2)}; }

HingePairing pairHingeAxes(const std::vector<JointSample>& samples, const HingeAxis& hinge,
                           const Vector3& bias_d, const Vector3& bias_g, const PairingHints& hints) {
    if (samples.empty()) return {};
    const std::vector<InEarth> turned = inEarth(samples, hinge, bias_d, bias_g);
    const Trial same = tryPairing(turned, 1.0), opposite = tryPairing(turned, -1.0);
    HingePairing pairing;
    const double asTheyStand = agreementAsTheyStand(turned);
    const double difference = same.agreement - opposite.agreement;
    if (hints.hasCommonHeading && std::abs(asTheyStand) > 0.5) {
        pairing.isOpposite = asTheyStand < 0.0;
        pairing.isCertain = true;
    } else if (std::abs(difference) > kSmallestDifference) {
        pairing.isOpposite = difference < 0.0;
        pairing.isCertain = true;
    } else {
        pairing.isOpposite = opposite.across < same.across;
        const double better = std::min(same.across, opposite.across);
        pairing.isCertain = better < 0.6 * std::max(same.across, opposite.across);
    }
    if (!pairing.isCertain && hints.isOpposite) {
        pairing.isOpposite = *hints.isOpposite;
        pairing.isCertain = true;
    }
    const Trial& chosen = pairing.isOpposite ? opposite : same;
    pairing.heading = chosen.heading;
    pairing.drift = chosen.drift;
    pairing.disagreement = std::acos(std::clamp(chosen.agreement, -1.0, 1.0));
    pairing.across = chosen.across;
    return pairing;
}

}  // namespace Kavelin::OrientationInternal
