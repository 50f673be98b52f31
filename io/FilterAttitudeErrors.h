#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "io/AttitudeComparison.h"
#include "io/EarthFrame.h"
#include "io/RunParticipant.h"
#include "io/files/FileTrace.h"

namespace Kavelin::RecordingIO {

/// Compares attitudes with a reference, and reports at the end of a run how far they are off.
///
/// The reference is a file, interpolated to the time of each attitude, or the samples of the pin "reference"
/// with exactly its time; relative to what its format says or, where that says nothing, to the earth of the attitude or, as "Reference Frame" says, to North-East-Down. The errors of each pair are sent with its time stamp, without removing the turn
/// about the vertical that fits best: that turn is known only after the last pair.
///
/// The files are opened by `checkRun`, those that can be read only once by `prepareRun`, and at the latest
/// with the first attitude; a file that cannot be used is then an exception out of `process`,
/// and nothing is compared.
class FilterAttitudeErrors : public OrientationInternal::Filter,
                             public Core::WithState<FilterAttitudeErrors>,
                             public RunParticipant,
                             public AttitudeComparison {
public:
    static constexpr const char* kTypeName = "FilterAttitudeErrors";
    static constexpr unsigned kStateVersion = 2;

    explicit FilterAttitudeErrors(const std::string& name);

    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }
    void checkRun() override;
    void prepareRun() override;
    void completeRun() override;
    std::vector<std::string> runErrors() const override;
    std::vector<std::string> runNotes() const override;
    void setReference(std::function<std::unique_ptr<RowReader>()> opener) override;
    const AttitudeErrors& errors() const override { return errors_; }
    const ReferenceTrack* referenceTrack() const override { return track_ ? &*track_ : nullptr; }

    /// Gives or takes the whole state, for a snapshot. The files are opened again, and read up to where they were.
    /// @throws Poco::NotImplementedException where one can be read only once, Poco::DataFormatException where one
    /// was changed
    template <class Archive>
    void serialize(Archive& archive) {
        Files files = files_ == Files::kToResume ? Files::kOpen : files_;
        archive(files, errors_, asked_);
        if (archive.isWhole()) {
            if constexpr (Archive::is_saving::value) requireReadAgain();
            archive(traces_);
        }
        if constexpr (Archive::is_loading::value) {
            if (archive.isWhole() && files == Files::kOpen) requireUnchanged();
            files_ = files == Files::kOpen ? Files::kToResume : files;
            track_.reset();
        }
    }

private:
    using Matrix = Core::Matrix;

    enum class Files { kToOpen, kToResume, kOpen, kRefused };

    void onFile() {
        files_ = Files::kToOpen;
        track_.reset();
    }
    void onAlignment(const int& index);
    void onReferenceFrame(const int& index);
    void open();
    std::array<std::string, 2> filesRead() const;
    void requireReadAgain() const;
    void requireUnchanged() const;
    std::optional<Quaternion> referenceAt(double time);
    std::optional<Quaternion> sampleAt(double time);
    void compare(const Quaternion& attitude, const Quaternion& reference, double time);

    OrientationInternal::InputPin<Matrix> attitude_{"attitude", this, anyAttitude(Core::kQuaternion),
                                                    OrientationInternal::AnyTime{}};
    OrientationInternal::InputPin<Matrix> reference_{
        "reference", this, optional(anyArrangement(Core::kQuaternion)), OrientationInternal::AnyTime{}};
    OrientationInternal::OutputPin<Matrix> errorPin_{
        "errors", this, {.shape = {1, 3}, .quantity = "error: total, heading, tilt", .unit = Core::kRadians}};

    OrientationInternal::FileNameProperty referenceFile_{
        "Reference File", this, "", "*.csv",
        OrientationInternal::handler(this, &FilterAttitudeErrors::onFile)};
    OrientationInternal::FileNameProperty movementFile_{
        "Movement File", this, "", "*.csv",
        OrientationInternal::handler(this, &FilterAttitudeErrors::onFile)};
    OrientationInternal::EnumProperty<std::string> alignment_{
        "Alignment",
        this,
        {"none", "heading", "start"},
        0,
        OrientationInternal::handler(this, &FilterAttitudeErrors::onAlignment)};

    OrientationInternal::EnumProperty<std::string> referenceFrame_{
        "Reference Frame",
        this,
        {"enu", "ned"},
        0,
        OrientationInternal::handler(this, &FilterAttitudeErrors::onReferenceFrame)};

    AttitudeErrors errors_{Alignment::kNone};
    std::optional<EarthTurn> referenceTurn_;  // to East-North-Up, like the next
    std::optional<EarthTurn> attitudeTurn_;
    bool hasKnownEarth_ = false;  // the reference says itself that it is relative to East-North-Up
    std::function<std::unique_ptr<RowReader>()> opener_;  // of the reference; empty: a file, or the pin
    std::optional<ReferenceTrack> track_;
    std::optional<double> asked_;  // s, the latest time at which the track was asked
    Intervals intervals_;
    Files files_ = Files::kToOpen;     // for this run
    std::array<FileTrace, 2> traces_;  // of those read, when they were opened
};

}  // namespace Kavelin::RecordingIO
