#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <memory>
#include <string>
#include <vector>

#include "io/LaneState.h"
#include "io/RunParticipant.h"

namespace Kavelin::RecordingIO {

/// Sample and hold: each sample of the pin "Clock" sends the newest sample of every pin, stamped like the
/// clock's. It makes an input of any name that a connection asks for, and with it an output of the same name.
///
/// Samples are taken in order of arrival; only the clock's time stamps count. With "Repeat" nothing is sent
/// before every pin has had a sample. Without it, only the pins with a new sample since the clock's last one
/// are sent, and none waits for another.
class FilterSampleHold : public OrientationInternal::Filter,
                         public Core::WithState<FilterSampleHold>,
                         public RunParticipant {
public:
    static constexpr const char* kTypeName = "FilterSampleHold";
    static constexpr unsigned kStateVersion = 1;

    explicit FilterSampleHold(const std::string& name);

    void process() override;  // [layout thread]
    std::string typeName() const override { return kTypeName; }
    void checkRun() override;

    /// Gives or takes the whole state, for a snapshot. What the properties say is looked up again.
    template <class Archive>
    void serialize(Archive& archive) {
        serializeByName(archive, lanes_, *this);
        stale_ = true;
    }

protected:
    Core::AbstractInputPin* demandInputPin(const std::string& pinName) override;

private:
    struct Lane {
        Lane(const std::string& name, FilterSampleHold* owner)
            : in(name, owner, OrientationInternal::AnyTime{}), out(name, owner) {
            out.setHandsOn(in);
        }
        OrientationInternal::InputPin<Core::Matrix> in;
        OrientationInternal::OutputPin<Core::Matrix> out;
        bool isNew = false;  // a sample has come since the clock's last one

        template <class Archive>
        void serialize(Archive& archive) {
            archive(isNew);
        }
    };

    void onClock(const std::string&) { stale_ = true; }
    void findClock();
    void sendAll(double t);

    OrientationInternal::ValueProperty<std::string> clockName_{
        "Clock", this, "", OrientationInternal::handler(this, &FilterSampleHold::onClock)};
    OrientationInternal::ValueProperty<bool> repeat_{"Repeat", this, true};

    std::vector<std::unique_ptr<Lane>> lanes_;
    Lane* clock_ = nullptr;
    bool stale_ = true;  // the clock must be looked up
};

}  // namespace Kavelin::RecordingIO
