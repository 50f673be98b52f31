#pragma once

#include <Eigen/Core>
#include <cstddef>
#include <string>

#include "calibration/model/AffineModel.h"
#include "calibration/model/SensorRecording.h"
#include "calibration/rest/Rest.h"

namespace Kavelin::Calibration {

// What is said of an inertial calibration: what was seen, and what to do. Lengths in m/s^2, angles in rad.

std::string noSensors();
std::string tooShort(std::size_t samples, double duration);
std::string neverStill(const SensorRecording& recording);
std::string tooFewPoses(std::size_t rests, std::size_t poses);
/// @param missing up in the pose that is missing most; null: not known
std::string posesTooAlike(std::size_t rests, const Eigen::Vector3d* missing);
std::string posesDisagree(double deviation);
std::string notGravity(double mean, double gravity);
std::string implausible(const AffineModel& model);

std::string noCrossTerms(std::size_t poses, const Eigen::Vector3d* missing);
std::string poseLeftOut(const Rest& rest);
std::string poseUnchecked(const Rest& rest);
std::string tooManyLeftOut(std::size_t leftOut, std::size_t rests);
std::string notChecked(std::size_t rests, std::size_t needed);
std::string uncertain(double uncertainty, const Eigen::Vector3d& direction);
std::string unsteady(double residual);
std::string noBetter(double residual);

std::string biasAlone(const SensorRecording& recording);
std::string rateIsConstant();
std::string rateDrifts(double drift);
std::string turnsLeftOut(std::size_t count);
std::string otherTurns(double residual);
std::string rateUncertain(double uncertainty, const Eigen::Vector3d& axis);
std::string rateNotScaled(std::size_t turns, const Eigen::Vector3d& axis);

/// The axes near a direction: "+x", "the middle of +x and -z".
std::string nearestAxes(const Eigen::Vector3d& direction);

}  // namespace Kavelin::Calibration
