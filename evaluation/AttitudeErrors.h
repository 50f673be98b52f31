#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "attitude/rotation/RotationTypes.h"

namespace Kavelin::RecordingIO {

using OrientationInternal::Quaternion;  ///< w, x, y, z; here of unit norm, sensor to earth

/// What an estimate and a reference cannot agree on, and what is therefore removed before they are compared.
enum class Alignment {
    kNone,     ///< both in the same earth frame
    kHeading,  ///< the estimate's heading is relative: the one turn about the vertical that fits best
    kStart,    ///< relative to the pose at the start: the one rotation found at the first pair
};

/// "turned about the vertical by the angle that fits best": the note next to a figure; empty for kNone.
std::string_view alignmentName(Alignment alignment);

/// Root mean squares, in degrees.
struct ErrorFigures {
    double total = 0.0;
    double heading = 0.0;
    double inclination = 0.0;
    std::uint64_t count = 0;  ///< pairs they are taken over
};

/// One pair's errors, rad: of q = estimate * conj(reference) = (w, x, y, z) in the earth frame, total 2
/// acos|w|, heading 2 atan(z / w), inclination 2 acos sqrt(w^2 + z^2). The turn about the vertical and the
/// tilt are the two factors of q; total joins them again.
struct PairErrors {
    double heading;      ///< in [-pi, pi]
    double inclination;  ///< in [0, pi]

    static PairErrors of(const Quaternion& error);
    double total() const;

    template <class Archive>
    void serialize(Archive& archive) {
        archive(heading, inclination);
    }
};

/// Compares an estimated with a reference orientation over a recording, pair by pair, in bounded memory.
class AttitudeErrors {
public:
    explicit AttitudeErrors(Alignment alignment) : alignment_(alignment) {}

    /// @param counts false: the pair only serves to find the start's rotation.
    /// @return the pair's errors, the best turn not taken out yet;
    /// empty for a pair that is not two orientations.
    std::optional<PairErrors> add(const Quaternion& estimate, const Quaternion& reference,
                                  bool counts = true);

    /// rad; the turn about the vertical to take out: 0 but with kHeading,
    /// where it is known after the last pair.
    double turn() const;
    ErrorFigures figures() const;
    /// "error against the reference: total 1.2, heading ...": the figures, which are there, and how they were aligned.
    std::string figuresText() const;
    Alignment alignment() const { return alignment_; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(alignment_, hasStart_, start_, count_, sumTotal_, sumHeading_, sumInclination_, pairs_,
                stride_, sinceKept_);
    }

private:
    /// With kHeading the pairs must be kept until the turn is known: up to this many, then every second one,
    /// and so on.
    static constexpr std::size_t kMostPairs = std::size_t{1} << 20;

    void sum(const PairErrors& errors);
    void keep(const PairErrors& errors);

    Alignment alignment_;
    bool hasStart_ = false;
    Quaternion start_{1.0, 0.0, 0.0, 0.0};
    std::uint64_t count_ = 0;
    double sumTotal_ = 0.0;
    double sumHeading_ = 0.0;
    double sumInclination_ = 0.0;
    std::vector<PairErrors> pairs_;
    std::uint64_t stride_ = 1;
    std::uint64_t sinceKept_ = 0;
};

}  // namespace Kavelin::RecordingIO
