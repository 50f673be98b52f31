#pragma once

#include <optional>

#include "attitude/rotation/RotationTypes.h"
#include "evaluation/Histogram.h"

namespace Kavelin::RecordingIO {

using OrientationInternal::Matrix3;
using OrientationInternal::Quaternion;
using OrientationInternal::Vector3;

/// What the field looks like in the earth frame of an estimate: a right attitude and an undisturbed,
/// calibrated field give the same vector all the time. Shares are of the mean field's norm.
struct FieldEvidence {
    /// Distances from the usual value that hold for half, three quarters and nine tenths of the time.
    struct Spread {
        double half = 0.0;
        double threeQuarters = 0.0;
        double nineTenths = 0.0;
    };

    double seconds = 0.0;   ///< of motion: a resting unit shows the same field whatever is wrong
    double norm = 0.0;      ///< mean, in the field's unit
    Spread normSpread;      ///< share, about the median
    double dip = 0.0;       ///< rad, of the mean field
    Spread dipSpread;       ///< rad, about the median
    Spread northSpread;     ///< rad, of the field's horizontal direction about the estimate's north
    Spread azimuthSpread;   ///< rad, of the same about its own mean
    double coverage = 0.0;  ///< 0: always the same orientation; towards 1: all
    Vector3 hardIron = Vector3::Zero();  ///< the field's unit; what remains beyond what was already removed
    double hardIronDeviation = 1.0;      ///< share, standard deviation of its largest component
    double scatter = 0.0;  ///< share: what is left of the field with no hard iron, and with that one
    double scatterLeft = 0.0;
};

/// Gathers it, in constant memory.  Never throws.  The joint fit of field and hard iron is linear least
/// squares of m_earth = R (m - h): both drop out in closed form.
class FieldWatch {
public:
    /// @param q sensor to earth @param field sensor frame, without the hard iron that the estimator knows
    void add(double t, const Quaternion& q, const Vector3& field);
    FieldEvidence evidence() const;

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(window_, last_, sums_, motion_, firstNorm_, norms_, dips_, azimuths_);
    }

private:
    void closeWindow();
    void accumulate(double weight);

    struct Window {
        double start = 0.0;
        double length = 0.0;
        int count = 0;
        Matrix3 rotation = Matrix3::Zero();
        Vector3 earth = Vector3::Zero();
        double norm = 0.0;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(start, length, count, rotation, earth, norm);
        }
    } window_;
    struct Last {
        double time;
        Matrix3 rotation;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(time, rotation);
        }
    };
    std::optional<Last> last_;  // window

    /// Weighted sums of the windows.
    struct Sums {
        double weight = 0.0;  // motion, and a little of the rest
        double norm = 0.0;
        double east = 0.0, north = 0.0;  // of the field's horizontal direction
        Matrix3 rotation = Matrix3::Zero();
        Vector3 earth = Vector3::Zero();
        Vector3 body = Vector3::Zero();
        double squares = 0.0;

        template <class Archive>
        void serialize(Archive& archive) {
            archive(weight, norm, east, north, rotation, earth, body, squares);
        }
    } sums_;
    double motion_ = 0.0;  // s
    double firstNorm_ = 0.0;
    Histogram<400> norms_{-1.0, 1.0};  // logarithm, of the share of the first norm
    Histogram<180> dips_{-1.5708, 1.5708};
    Histogram<360> azimuths_{-3.14159, 3.14159};
};

}  // namespace Kavelin::RecordingIO
