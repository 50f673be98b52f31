#include "cli/fuse/Estimator.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/FlowManager.h>
#include <Kavelin/Typed/UnitNames.h>
#include <fmt/format.h>

#include <algorithm>

#include "cli/CommandContext.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

namespace {

struct Sensor {
    const char* pin;  ///< of a recording
    std::string_view quantity;
};
constexpr Sensor kSensors[] = {
    {"3a", Core::kAccelerationName}, {"3g", Core::kRateName}, {"3m", Core::kFieldName}};

// A pin that declares nothing is recognised by its name.
bool isUndeclared(const Core::Pin& pin) { return pin.content().quantity.empty(); }

bool isQuaternion(const Core::Pin& pin) {
    const auto [rows, cols] = pin.content().shape;
    return isUndeclared(pin) ? pin.getName() == "attitudeQ"
                             : pin.content().quantity == Core::kOrientation && rows * cols == 4;
}

bool isRotation(const Core::Pin& pin) {
    return isUndeclared(pin) ? pin.getName() == "attitude"
                             : pin.content().quantity == Core::kOrientation && pin.content().shape.rows == 3;
}

bool isOf(const Sensor& sensor, const Core::Pin& pin) {
    return isUndeclared(pin) ? pin.getName() == sensor.pin : pin.content().quantity == sensor.quantity;
}

/// The first output that is an orientation, a quaternion before a matrix.
void findAttitude(const Core::Filter& filter, Estimator& estimator) {
    const auto& outputs = filter.getOutputPins();
    for (const auto test : {isQuaternion, isRotation}) {
        const auto found =
            std::find_if(outputs.begin(), outputs.end(), [&](const auto* pin) { return test(*pin); });
        if (found == outputs.end()) continue;
        const Core::PinContent& content = (*found)->content();
        estimator.attitudePin = (*found)->getName();
        estimator.isRow = content.shape == Core::PinShape{1, 4};
        estimator.frame = content.frame;
        estimator.stampsWithWallClock = content.isWallClockStamped;
        return;
    }
}

/// The first input of each sensor's quantity.
void findFeeds(const Core::Filter& filter, Estimator& estimator) {
    for (const Sensor& sensor : kSensors) {
        for (const Core::AbstractInputPin* pin : filter.getInputPins()) {
            if (!isOf(sensor, *pin)) continue;
            const Core::PinContent& content = pin->content();
            const bool isOptional =
                content.isOptional || (isUndeclared(*pin) && sensor.pin == std::string("3m"));
            estimator.feeds.push_back({sensor.pin, pin->getName(), isOptional});
            estimator.wantsColumns |= !content.fits({1, 3}) && content.fits({3, 1});
            break;
        }
    }
}

/// Whether it computes an attitude from sensor samples alone.
bool isComplete(const Core::Filter& filter, const Estimator& estimator) {
    const auto& inputs = filter.getInputPins();
    const bool wantsMore = std::any_of(inputs.begin(), inputs.end(), [](const auto* pin) {
        return pin->content().quantity == Core::kOrientation && !pin->content().isOptional;
    });
    return !estimator.attitudePin.empty() && !estimator.feeds.empty() && !wantsMore;
}

std::vector<std::string> typesWithAttitude() {
    std::vector<std::string> types;
    Core::PluginManager& plugins = Core::FlowManager::instance().getPluginManager();
    for (const std::string& type : plugins.getTypeNames()) {
        const Core::FilterPtr filter = plugins.createFilter(type, type);
        Estimator estimator;
        findAttitude(*filter, estimator);
        findFeeds(*filter, estimator);
        if (isComplete(*filter, estimator)) types.push_back(type);
    }
    return types;
}

}  // namespace

bool Estimator::pairsInputs() const {
    return feeds.size() > 1 &&
           std::none_of(feeds.begin(), feeds.end(), [](const Feed& feed) { return feed.isOptional; }) &&
           uses("3m");
}

bool Estimator::uses(std::string_view recordingPin) const {
    return std::any_of(feeds.begin(), feeds.end(),
                       [&](const Feed& feed) { return feed.from == recordingPin; });
}

std::string Estimator::pinsTakenTogether() const {
    std::vector<std::string> pins;
    for (const Feed& feed : feeds)
        if (feed.from != "3m" || pairsInputs()) pins.push_back(feed.from);
    return RecordingIO::listed(pins);
}

Estimator describeEstimator(Core::Filter& filter) {
    Estimator estimator;
    findAttitude(filter, estimator);
    findFeeds(filter, estimator);
    if (!isComplete(filter, estimator)) {
        throw UsageError("'" + filter.typeName() +
                         "' gives no attitude from sensor samples; these types do: " +
                         RecordingIO::listed(typesWithAttitude(), 40));
    }
    for (const Core::AbstractOutputPin* pin : filter.getOutputPins())
        if (pin->getName().starts_with("flag_")) estimator.flagPins.push_back(pin->getName());
    return estimator;
}

Estimator describeEstimator(const std::string& type) {
    return describeEstimator(
        *Core::FlowManager::instance().getPluginManager().createFilter(type, "estimator"));
}

void requireSensors(const RecordingIO::Schema& schema, const Estimator& estimator, const std::string& type,
                    const std::string& recording) {
    for (const Estimator::Feed& feed : estimator.feeds) {
        const RecordingIO::Channel* channel = schema.find(feed.from);
        if (channel && (channel->rows != 1 || channel->cols != 3)) {
            throw UsageError(
                fmt::format("\"{}\" is {}x{} in {}; a sensor has three columns, x, y and z, in one row",
                            feed.from, channel->rows, channel->cols, recording));
        }
        if (feed.isOptional || channel) continue;
        std::string what = type + " needs \"" + feed.from + "\", which " + recording +
                           " does not have; understood there: " + schema.understood;
        for (const std::string& note : schema.notes) what += "\n" + note;
        throw UsageError(what);
    }
}

}  // namespace Kavelin::Cli
