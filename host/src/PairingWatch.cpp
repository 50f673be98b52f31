#include "PairingWatch.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/StateArchive.h>
#include <Kavelin/Core/WallClock.h>
#include <Poco/Exception.h>

#include <algorithm>
#include <cereal/types/string.hpp>
#include <limits>

namespace Kavelin::Core {

namespace {

constexpr std::size_t kStepsToJudge = 8;  // fewer may be irregular steps of a start
// Of the usual step: half of it, and what rounding makes of time stamps in microseconds since 1970.
constexpr double kTolerated = 0.5 * (1.0 + 1e-3);

}  // namespace

void PairingWatch::update(const std::vector<AbstractInputPin*>& inputs) {
    std::vector<Lane> lanes;
    for (AbstractInputPin* pin : inputs) {
        const bool isOther = std::find(others_.begin(), others_.end(), pin) != others_.end();
        if (isOther || !pin->getIsPaired() || pin->getConnectedOutput() == nullptr) continue;
        const auto known =
            std::find_if(lanes_.begin(), lanes_.end(), [&](const Lane& lane) { return lane.pin == pin; });
        lanes.push_back(known != lanes_.end() ? *known : Lane{pin, pin->getConsumed(), 0, {}});
    }
    lanes_ = std::move(lanes);
}

void PairingWatch::note() {
    bool any = false;
    bool equal = true;
    for (Lane& lane : lanes_) {
        const std::uint64_t consumed = lane.pin->getConsumed();
        lane.consumed = consumed - lane.seen;
        lane.seen = consumed;
        any |= lane.consumed != 0;
        equal &= lane.consumed == lanes_.front().consumed;
    }
    if (!any) return;
    if (!equal) leaveOutOthers();
    if (isOn()) compare();
}

/// A set turns out to have fewer inputs than assumed: the comparisons so far do not count.
void PairingWatch::leaveOutOthers() {
    std::uint64_t fewest = std::numeric_limits<std::uint64_t>::max();
    for (const Lane& lane : lanes_) {
        if (lane.consumed != 0) fewest = std::min(fewest, lane.consumed);
    }
    const auto isOther = [fewest](const Lane& lane) { return lane.consumed != fewest; };
    for (const Lane& lane : lanes_) {
        if (isOther(lane)) others_.push_back(lane.pin);
    }
    std::erase_if(lanes_, isOther);
    sofar_ = {};
    earlyCount_ = 0;
}

void PairingWatch::compare() {
    double first = std::numeric_limits<double>::infinity();
    double last = -first;
    for (Lane& lane : lanes_) {
        const double t = lane.pin->getLastTimeStamp();
        lane.interval.add(t);
        first = std::min(first, t);
        last = std::max(last, t);
    }
    ++sofar_.sets;
    const double difference = last - first;
    // Equal stamps are the rule. A stamp of the wall clock says nothing about when the sample was measured.
    if (!(difference > 0.0) || isWallClockStamp(first) || isWallClockStamp(last)) return;
    if (difference > sofar_.largestDifference) {
        sofar_.largestDifference = difference;
        sofar_.at = last;
    }
    judge(difference);
}

void PairingWatch::judge(double difference) {
    double interval = std::numeric_limits<double>::infinity();
    for (const Lane& lane : lanes_) {
        if (lane.interval.steps() >= kStepsToJudge) interval = std::min(interval, lane.interval.usual());
    }
    if (interval == std::numeric_limits<double>::infinity()) {
        if (earlyCount_ < early_.size()) early_[earlyCount_++] = difference;
    } else if (difference > kTolerated * interval) {
        ++sofar_.unlike;
    }
}

PairingReport PairingWatch::report() const {
    PairingReport report = sofar_;
    for (const Lane& lane : lanes_) {
        const double usual = lane.interval.usual();
        if (usual > 0.0 && (report.interval == 0.0 || usual < report.interval)) report.interval = usual;
        const PinCounts counts = lane.pin->getCounts();
        const std::uint64_t left = counts.buffered + (lane.pin->isHolding() ? 1 : 0);
        const std::uint64_t unpaired = lane.pin->getPassedOver() + counts.dropped + left;
        if (unpaired > 0) report.unpaired.push_back({lane.pin->getName(), unpaired});
    }
    for (const AbstractInputPin* pin : others_) {
        if (pin->getPassedOver() > 0) report.unpaired.push_back({pin->getName(), pin->getPassedOver()});
    }
    for (std::size_t i = 0; i < earlyCount_ && report.interval > 0.0; ++i) {
        if (early_[i] > kTolerated * report.interval) ++report.unlike;
    }
    return report;
}

void PairingWatch::save(StateWriter& to) const {
    to.writeNumber(lanes_.size());
    for (const Lane& lane : lanes_) to(lane.pin->getName(), lane.consumed, lane.interval);
    to.writeNumber(others_.size());
    for (const AbstractInputPin* pin : others_) to(pin->getName());
    to(sofar_.sets, sofar_.largestDifference, sofar_.at, sofar_.unlike, earlyCount_);
    for (const double difference : early_) to(difference);
}

void PairingWatch::restore(StateReader& from, const std::vector<AbstractInputPin*>& inputs) {
    lanes_.clear();
    others_.clear();
    std::string name;
    for (std::uint64_t left = from.readLength(); left > 0; --left) {
        Lane lane{};
        from(name, lane.consumed, lane.interval);
        lane.pin = pinCalled(name, inputs);
        lane.seen = lane.pin->getConsumed();
        lanes_.push_back(lane);
    }
    for (std::uint64_t left = from.readLength(); left > 0; --left) {
        from(name);
        others_.push_back(pinCalled(name, inputs));
    }
    from(sofar_.sets, sofar_.largestDifference, sofar_.at, sofar_.unlike, earlyCount_);
    for (double& difference : early_) from(difference);
    earlyCount_ = std::min(earlyCount_, early_.size());
}

AbstractInputPin* PairingWatch::pinCalled(const std::string& name,
                                          const std::vector<AbstractInputPin*>& inputs) {
    for (AbstractInputPin* pin : inputs)
        if (pin->getName() == name) return pin;
    throw Poco::DataFormatException("there is no input pin '" + name + "'");
}

}  // namespace Kavelin::Core
