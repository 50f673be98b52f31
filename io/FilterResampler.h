#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "io/LaneState.h"
#include "io/RunParticipant.h"
#include "io/recording/SampleTrack.h"

namespace Kavelin::RecordingIO {

/// Brings any set of pins onto one clock, so that filters that take one sample of each input get samples
/// of one time.
///
/// It makes an input of any name that a connection asks for, and with it an output of the same name. At each
/// instant all outputs are sent with one time stamp: the instants are the time stamps of the pin "Clock", or
/// k / "Rate". The values of the other pins are interpolated (see SampleTrack) or, for those that "Newest"
/// names, the newest. An instant at which a pin has no value is left out, unless "Optional" names the pin.
///
/// An instant is sent as soon as every interpolated pin has a sample of its time or later; when the buffer of
/// a pin is full, what has not come counts as missing.
class FilterResampler : public OrientationInternal::Filter,
                        public Core::WithState<FilterResampler>,
                        public RunParticipant {
public:
    static constexpr const char* kTypeName = "FilterResampler";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterResampler(const std::string& name);

    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }
    void checkRun() override;
    void finishStream() override;
    void completeRun() override;
    std::vector<std::string> runNotes() const override;

    /// Gives or takes the whole state, for a snapshot. What the properties say is looked up again.
    template <class Archive>
    void serialize(Archive& archive) {
        archive(hasTick_, tick_, hasInstant_, instant_, sent_, leftOut_);
        serializeByName(archive, lanes_, *this);
        stale_ = true;
    }

protected:
    Core::AbstractInputPin* demandInputPin(const std::string& pinName) override;

private:
    using Matrix = Core::Matrix;
    struct Lane {
        Lane(const std::string& name, FilterResampler* owner)
            : in(name, owner, OrientationInternal::AnyTime{}), out(name, owner) {
            out.setHandsOn(in);
        }
        OrientationInternal::InputPin<Matrix> in;
        OrientationInternal::OutputPin<Matrix> out;
        SampleTrack track;
        double shift = 0.0;
        bool isNewest = false;
        bool isOptional = false;
        SampleTrack::At state = SampleTrack::At::kLater;
        std::uint64_t missing = 0;     // instants left out because it had no value
        std::uint64_t outOfOrder = 0;  // samples not later than the one before

        template <class Archive>
        void serialize(Archive& archive) {
            archive(track, missing, outOfOrder);
        }
    };

    void onList(const std::string&) { stale_ = true; }
    void onShift(const std::string& text);
    void settle();
    Lane* laneCalled(const std::string& name) const;
    bool takeInstant();
    bool takeClockSample();
    bool takeTick();
    void look(Lane& lane);
    bool mayWait() const;
    void sendInstant();
    bool isAfterTheEnd() const;
    std::uint64_t skipTicksUntil(double t);

    OrientationInternal::ValueProperty<std::string> clockName_{"Clock", this, "",
                                                               handler(this, &FilterResampler::onList)};
    OrientationInternal::RangeProperty<double> rate_{
        "Rate", this, {.minimum = 0.0, .maximum = 1e6, .step = 0.0, .value = 0.0, .unit = "Hz"}};
    OrientationInternal::ValueProperty<std::string> newest_{"Newest", this, "",
                                                            handler(this, &FilterResampler::onList)};
    OrientationInternal::ValueProperty<std::string> optional_{"Optional", this, "",
                                                              handler(this, &FilterResampler::onList)};
    OrientationInternal::ValueProperty<std::string> shift_{"Shift", this, "",
                                                           handler(this, &FilterResampler::onShift)};
    OrientationInternal::RangeProperty<double> greatestGap_{
        "Greatest gap", this, {.minimum = 0.0, .maximum = 1e9, .step = 0.0, .value = 0.5, .unit = "s"}};

    std::vector<std::unique_ptr<Lane>> lanes_;
    std::map<std::string, double> shifts_;
    Lane* clock_ = nullptr;  // null with a rate
    bool stale_ = true;      // the lanes do not match the properties yet
    bool hasTick_ = false;
    double tick_ = 0.0;  // number of the next instant, with a rate
    bool hasInstant_ = false;
    double instant_ = 0.0;  // the one to send next, or the one sent last
    bool isEnding_ = false;
    std::uint64_t sent_ = 0;
    std::uint64_t leftOut_ = 0;
};

}  // namespace Kavelin::RecordingIO
