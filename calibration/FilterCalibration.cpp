#include "calibration/FilterCalibration.h"

#include <Poco/Exception.h>
#include <fmt/format.h>

#include <Eigen/LU>
#include <map>

#include "calibration/file/CalibrationFile.h"

namespace Kavelin::Calibration {

namespace {

constexpr std::size_t kFewestSamples = 50;
constexpr double kGreatestResidual = 0.15;   // of the norm
constexpr double kGreatestDeviation = 0.05;  // of the norm

/// Why what was learned cannot be used; empty where it can.
std::string weaknessOf(const std::optional<LearnedOffset>& learned, std::size_t samples,
                       double coverageNeeded) {
    if (samples < kFewestSamples)
        return fmt::format("{} samples of the field came while learning; {} are needed", samples,
                           kFewestSamples);
    if (!learned)
        return "the unit was turned too little, or about one axis only: turn it about all axes, also upside "
               "down";
    if (learned->coverage < coverageNeeded)
        return fmt::format(
            "{:.0f} % of the directions were seen; {:.0f} % are needed: turn it about all axes, also upside "
            "down",
            100 * learned->coverage, 100 * coverageNeeded);
    if (learned->residual > kGreatestResidual)
        return fmt::format(
            "the field does not lie on a sphere, its norm scatters by {:.0f} %: turn the unit about all "
            "axes, away from "
            "iron; kavelin calibrate mag corrects soft iron too",
            100 * learned->residual);
    if (learned->deviation > kGreatestDeviation * learned->radius)
        return "the directions do not determine it: turn the unit about all axes, also upside down";
    return {};
}

/// "cal.json (from turned.csv, made 2024-05-01T10:00:00Z, poor)", as far as it is known.
std::string originText(const std::string& file, const Origin& origin, const Opinion& opinion) {
    std::vector<std::string> parts;
    if (!origin.recording.empty()) parts.push_back("from " + origin.recording);
    if (!origin.made.empty()) parts.push_back("made " + origin.made);
    if (opinion.grade == Grade::kPoor) parts.emplace_back("poor");
    return parts.empty() ? file : fmt::format("{} ({})", file, fmt::join(parts, ", "));
}

}  // namespace

FilterCalibration::FilterCalibration(const std::string& name) : Filter(name, true) {}

void FilterCalibration::process() {
    if (stale_) settle();
    acceleration_.pass([this](double t, const auto& raw, const auto& calibrated) {
        if (checks_.acceleration) checks_.acceleration->add(t, raw, calibrated);
    });
    rate_.pass([this](double t, const auto& raw, const auto& calibrated) {
        if (checks_.rate) checks_.rate->add(t, raw, calibrated);
    });
    field_.pass([this](double, const auto& raw, const auto& calibrated) {
        if (checks_.field) checks_.field->add(raw, calibrated);
        if (learning_.isOn) learn(raw);
    });
}

/// Gives the sensors what the properties say.
void FilterCalibration::settle() {
    stale_ = false;
    const Calibration none;
    const Calibration& file = calibration_ ? *calibration_ : none;
    const Eigen::Matrix3d turn = mount_.get() && file.mount
                                     ? file.mount->q_segment_sensor.normalized().toRotationMatrix()
                                     : Eigen::Matrix3d::Identity();
    checks_ = {};
    AffineModel acceleration, rate;
    if (file.inertial && file.inertial->acceleration && useAcceleration_.get()) {
        acceleration = *file.inertial->acceleration;
        checks_.acceleration.emplace(file.inertial->gravity);
    }
    if (file.inertial && file.inertial->rate && useRate_.get()) {
        rate = *file.inertial->rate;
        checks_.rate.emplace();
    }
    if (learning_.isOn) learning_.learner.start();  // what it saw was seen through the model before
    learning_.ofFile = {};
    if (file.magnetic && useField_.get()) {
        learning_.ofFile = file.magnetic->model;
        checks_.field.emplace(file.magnetic->model, file.magnetic->strength);
    }
    AffineModel field = learning_.ofFile;
    if (useField_.get()) field.offset += Eigen::Vector3d::Map(learnedOffset_.value().data());
    acceleration_.use(acceleration, turn);
    rate_.use(rate, turn);
    field_.use(field, turn);
}

void FilterCalibration::onFile() {
    const std::string file = fileName_.get();
    std::optional<Calibration> calibration;
    if (!file.empty()) calibration = readCalibration(file);
    if (mount_.get() && calibration && !calibration->mount)
        throw Poco::InvalidArgumentException(
            file + " does not say how the unit is mounted: kavelin calibrate mount finds it");
    calibration_ = std::move(calibration);
    stale_ = true;
}

void FilterCalibration::takeCalibration(const Calibration& calibration) {
    calibration_ = calibration;
    settle();
}

void FilterCalibration::onMount(const bool& mounts) {
    if (mounts && calibration_ && !calibration_->mount)
        throw Poco::InvalidArgumentException(
            fileName_.get() + " does not say how the unit is mounted: kavelin calibrate mount finds it");
    stale_ = true;
}

void FilterCalibration::onOffset(const Matrix& offset) {
    if (offset.rows() != 1 || offset.cols() != 3 || !offset.allFinite())
        throw Poco::DataFormatException(
            "Learned Offset is an offset of the field, x, y, z, in a row: 1x3, finite");
    stale_ = true;
}

void FilterCalibration::onStartLearning() {
    learning_.learner.start();
    coverage_.show(0.0);
    learning_.isOn = true;
}

void FilterCalibration::learn(const Eigen::Vector3d& raw) {
    if (!learning_.learner.add(learning_.ofFile.apply(raw))) return;
    const std::optional<LearnedOffset> now = learning_.learner.result();
    coverage_.show(now ? now->coverage : 0.0);
}

void FilterCalibration::onEndLearning() {
    if (!learning_.isOn)
        throw Poco::InvalidArgumentException("nothing is being learned: Start Learning begins it");
    learning_.isOn = false;
    const std::optional<LearnedOffset> learned = learning_.learner.result();
    coverage_.show(learned ? learned->coverage : 0.0);
    const std::string weakness = weaknessOf(learned, learning_.learner.samples(), coverageNeeded_.get());
    if (!weakness.empty()) throw Poco::InvalidArgumentException("the offset was not learned: " + weakness);
    // Seen through the file's matrix, the centre is matrix * (offset of the rest).
    const Eigen::Vector3d offset = learning_.ofFile.matrix.inverse() * learned->offset;
    learnedOffset_.set(offset.transpose());
}

std::vector<std::string> FilterCalibration::runErrors() const {
    std::vector<std::string> errors;
    const auto add = [&](const char* sensor, const std::string& fault) {
        if (!fault.empty()) errors.push_back(std::string(sensor) + ": " + fault);
    };
    if (checks_.acceleration) add("3a", checks_.acceleration->fault());
    if (checks_.rate) add("3g", checks_.rate->fault());
    if (checks_.field) add("3m", checks_.field->fault());
    return errors;
}

std::vector<std::string> FilterCalibration::runNotes() const {
    std::vector<std::string> notes;
    if (learning_.isOn) notes.emplace_back("learning was not ended: no offset was taken from it");
    const Matrix& learned = learnedOffset_.value();
    if (!learned.isZero(0.0))
        notes.push_back(
            fmt::format("3m: learned offset {:.4g}, {:.4g}, {:.4g}", learned(0), learned(1), learned(2)));
    if (!calibration_) return notes;
    std::vector<std::string> missing;
    std::map<std::string, std::vector<std::string>> applied;  // by what they are from
    const auto add = [&](const char* what, const CalibratedSensor& sensor, const auto& part) {
        const std::string from = originText(fileName_.get(), part.origin, part.opinion);
        if (sensor.hasSamples())
            applied[from].emplace_back(what);
        else
            missing.push_back(fmt::format("{} not by {}: there are no samples", what, from));
    };
    const auto& inertial = calibration_->inertial;
    if (checks_.acceleration) add("3a", acceleration_, *inertial);
    if (checks_.rate) add(inertial->rate->matrix.isIdentity(0.0) ? "bias of 3g" : "3g", rate_, *inertial);
    if (checks_.field) add("3m", field_, *calibration_->magnetic);
    if (mount_.get() && calibration_->mount) add("axes of the segment", acceleration_, *calibration_->mount);
    for (const auto& [from, what] : applied)
        notes.push_back(fmt::format("{} by {}", fmt::join(what, ", "), from));
    notes.insert(notes.end(), missing.begin(), missing.end());
    if (notes.empty()) notes.push_back(fileName_.get() + " holds nothing that is applied here");
    return notes;
}

}  // namespace Kavelin::Calibration
