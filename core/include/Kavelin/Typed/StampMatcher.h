#pragma once

#include <Kavelin/Core/SampleInterval.h>
#include <Kavelin/Core/WallClock.h>
#include <Kavelin/Typed/InputPin.h>
#include <Kavelin/Typed/Matrix.h>

#include <algorithm>
#include <cmath>

namespace Kavelin::Core {

/// Finds which samples of two inputs belong together: those whose time stamps differ by no more than half the
/// usual step of the faster one. Equal stamps always belong together, so unstamped streams are taken one to
/// one; so are wall-clock stamps, which only say when a result was computed. [layout thread]
class StampMatcher {
public:
    /// What was taken.
    enum class Taken { kNothing, kPair, kFirst };

    /// Takes the oldest two samples that belong together; earlier samples, which match nothing,
    /// are passed over.
    /// @param mayStandAlone takes an unmatched sample of the first input by itself
    Taken take(InputPin<Matrix>& first, InputPin<Matrix>& second, bool mayStandAlone = false) {
        for (;;) {
            const bool hasFirst = fetch(first, firstSteps_);
            if (!fetch(second, secondSteps_) || !hasFirst) return Taken::kNothing;
            const double difference = first.heldTimeStamp() - second.heldTimeStamp();
            const bool isFirstEarlier = difference < 0.0;
            if (belongTogether(difference, isFirstEarlier ? first : second)) {
                first.consume();
                second.consume();
                return Taken::kPair;
            }
            if (isFirstEarlier && mayStandAlone) {
                first.consume();
                return Taken::kFirst;
            }
            (isFirstEarlier ? first : second).passOver();
        }
    }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(firstSteps_, secondSteps_);
    }

private:
    static constexpr double kHalf = 0.5 * (1.0 + 1e-6);  // half a step, whatever its last digits

    static bool fetch(InputPin<Matrix>& pin, SampleInterval& steps) {
        if (pin.isHolding()) return true;
        if (!pin.fetch()) return false;
        steps.add(pin.heldTimeStamp());
        return true;
    }

    bool belongTogether(double difference, const InputPin<Matrix>& earlier) const {
        if (!(std::abs(difference) > 0.0)) return true;
        const double step = smallerStep();
        // At the start no step is known. If a newer sample of the earlier input waits,
        // the oldest is not the match.
        const bool isFar = step > 0.0 ? std::abs(difference) > kHalf * step : !earlier.isEmpty();
        return !isFar || isWallClockStamp(earlier.heldTimeStamp());
    }

    double smallerStep() const {
        const double a = firstSteps_.usual();
        const double b = secondSteps_.usual();
        return a > 0.0 && b > 0.0 ? std::min(a, b) : std::max(a, b);
    }

    SampleInterval firstSteps_;
    SampleInterval secondSteps_;
};

}  // namespace Kavelin::Core
