#pragma once

#include <Eigen/Core>
#include <array>
#include <stdexcept>

#include "attitude/so3/Azimuth.h"

namespace Kavelin::OrientationInternal::SO3 {

/// A field that was seen, and the evidence for it. Earth frame, relative to the strength of the first field.
struct FieldRecord {
    Eigen::Vector3d field = Eigen::Vector3d::Zero();
    double evidence = 0.0;                                   ///< s of motion; 0: not in use
    double scatter = 0.0;                                    ///< mean square, relative
    Eigen::Matrix3d orientations = Eigen::Matrix3d::Zero();  ///< sum over the evidence

    /// Evidence, discounted where the sensor always had the same orientation: there a field of the
    /// surroundings and one of the sensor look alike.
    double weight() const;
    /// The scatter that a record begins with.
    static double initialScatter();

    template <class Archive>
    void serialize(Archive& archive) {
        archive(field, evidence, scatter, orientations);
    }
};

/// What the sensor saw in one field window.
struct FieldSeen {
    Eigen::Vector3d measured;                         ///< mean, earth frame, hard iron left in
    Eigen::Matrix3d turned;                           ///< mean attitude, sensor to earth
    Eigen::Vector3d field = Eigen::Vector3d::Zero();  ///< the mean without hard iron
    double motion = 0.0;                              ///< s that count as evidence
    double tolerance = 0.0;                           ///< rad, by which the heading may be off
};

/// S9, S11, S12: up to four fields, one of which is in force: its direction gives north.
class FieldRecords {
public:
    /// S7: the very first field; it defines north.
    void begin(const Eigen::Vector3d& field);
    /// S9: squared distance of a field to the record in force, in radii of it: below 1 it fits.
    double distance(const FieldSeen& seen) const { return distanceTo(active(), seen); }
    /// S11: counts the window for the record that it fits, or for a new one.
    /// @return which that is. @param distance from the record in force.
    int addEvidence(const FieldSeen& seen, double distance);
    /// S12: tells whether a record has so much more evidence than the one in force that it must replace it.
    bool isStronger(int candidate) const;
    void putInForce(int candidate) { active_ = candidate; }
    /// Forgets all but the one in force: they were seen through another hard iron.
    void dropOthers();
    void turn(const TurnAboutUp& turn);

    const FieldRecord& active() const { return at(active_); }
    FieldRecord& active() { return records_[static_cast<std::size_t>(active_)]; }
    int activeIndex() const { return active_; }
    const FieldRecord& at(int i) const { return records_[static_cast<std::size_t>(i)]; }

    /// Gives or takes the whole state, for a snapshot.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(records_, active_);
        if (active_ < 0 || active_ >= kRecords) throw std::out_of_range("no such record of a field");
    }

private:
    static constexpr int kRecords = 4;  // two places and a magnet or two between them

    static double distanceTo(const FieldRecord& record, const FieldSeen& seen);
    int bestOther(const FieldSeen& seen) const;
    int weakestOther() const;

    std::array<FieldRecord, kRecords> records_;
    int active_ = 0;
};

}  // namespace Kavelin::OrientationInternal::SO3
