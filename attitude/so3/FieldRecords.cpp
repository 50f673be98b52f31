#include "attitude/so3/FieldRecords.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Kavelin::OrientationInternal::SO3 {

namespace {

constexpr double kRadius = 0.0872;          // relative, smallest distance at which fields differ
constexpr double kLargestRadius = 0.266;    // relative; also that of a new record
constexpr double kRadiusPerScatter = 2.01;  // standard deviations that still fit
constexpr double kForgetting = 46.5;        // s of motion; places are left behind
constexpr double kAveraging = 7.61;         // s of motion, of field and scatter
constexpr double kAdvantage = 1.6;          // times the evidence in force, before another replaces it
constexpr double kMargin = 0.89;            // s of motion by which it must be ahead besides,
constexpr double kMarginRatio = 1.58;       // or this share of the evidence in force, where that is less
constexpr double kOneOrientationWeight = 0.0396;  // of evidence that was seen in one orientation only
constexpr double kFullDiversity = 0.104;          // of orientations, from which evidence counts fully
constexpr double kSmallestSquare = 1e-24;         // of a field, relative; guards divisions

}  // namespace

double FieldRecord::initialScatter() {
    constexpr double kDeviation = kLargestRadius / kRadiusPerScatter;
    return kDeviation * kDeviation;
}

double FieldRecord::weight() const {
    if (!(evidence > 0.0)) return 0.0;
    // 0: always the same orientation; towards 1: all orientations.
    const double diversity = 1.0 - orientations.squaredNorm() / (3.0 * evidence * evidence);
    return evidence *
           std::min(1.0, kOneOrientationWeight + (1.0 - kOneOrientationWeight) * diversity / kFullDiversity);
}

void FieldRecords::begin(const Eigen::Vector3d& field) {
    active_ = 0;
    records_[0].field = {0.0, horizontalLength(field), field.z()};
    records_[0].scatter = FieldRecord::initialScatter();
}

double FieldRecords::distanceTo(const FieldRecord& record, const FieldSeen& seen) {
    const double apart = wrapped(azimuthOf(seen.field) - azimuthOf(record.field));
    const TurnAboutUp turn(std::clamp(apart, -seen.tolerance, seen.tolerance));
    const double scattered =
        std::min(kLargestRadius * kLargestRadius, kRadiusPerScatter * kRadiusPerScatter * record.scatter);
    const double radius = std::max(kRadius * kRadius, scattered);
    const double strength = std::max(record.field.squaredNorm(), kSmallestSquare);
    return (turn * seen.field - record.field).squaredNorm() / (strength * radius);
}

int FieldRecords::addEvidence(const FieldSeen& seen, double distance) {
    int fitting = distance < 1.0 ? active_ : bestOther(seen);
    if (fitting < 0) {
        fitting = weakestOther();
        records_[static_cast<std::size_t>(fitting)] = {.field = seen.field,
                                                       .scatter = FieldRecord::initialScatter()};
    }
    const double kept = std::exp(-seen.motion / kForgetting);
    for (FieldRecord& record : records_) {
        record.evidence *= kept;
        record.orientations *= kept;
    }
    FieldRecord& record = records_[static_cast<std::size_t>(fitting)];
    record.evidence += seen.motion;
    record.orientations += seen.motion * seen.turned;
    const double averaged = std::min(record.evidence, kAveraging);
    const Eigen::Vector3d away = seen.field - record.field;
    const double strength = std::max(record.field.squaredNorm(), kSmallestSquare);
    record.scatter += seen.motion / (averaged + 1.0) * (away.squaredNorm() / strength - record.scatter);
    record.field += std::min(1.0, seen.motion / averaged) * away;
    return fitting;
}

// The record in use, other than the one in force, that the field fits best; -1 where it fits none.
int FieldRecords::bestOther(const FieldSeen& seen) const {
    int best = -1;
    double least = 1.0;
    for (int i = 0; i < kRecords; ++i) {
        if (i == active_ || !(at(i).evidence > 0.0)) continue;
        const double distance = distanceTo(at(i), seen);
        if (!(distance < least)) continue;
        least = distance;
        best = i;
    }
    return best;
}

int FieldRecords::weakestOther() const {
    int weakest = active_ == 0 ? 1 : 0;
    for (int i = weakest + 1; i < kRecords; ++i) {
        if (i != active_ && at(i).evidence < at(weakest).evidence) weakest = i;
    }
    return weakest;
}

bool FieldRecords::isStronger(int candidate) const {
    const double mine = active().weight();
    return at(candidate).weight() > kAdvantage * mine + std::min(kMargin, kMarginRatio * mine);
}

void FieldRecords::dropOthers() {
    for (int i = 0; i < kRecords; ++i) {
        if (i == active_) continue;
        FieldRecord& record = records_[static_cast<std::size_t>(i)];
        record.evidence = 0.0;
        record.orientations.setZero();
    }
}

void FieldRecords::turn(const TurnAboutUp& turn) {
    for (FieldRecord& record : records_) {
        record.field = turn * record.field;
        record.orientations = turn * record.orientations;
    }
}

}  // namespace Kavelin::OrientationInternal::SO3
