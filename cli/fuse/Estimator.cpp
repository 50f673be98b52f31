#include "cli/fuse/Estimator.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/FlowManager.h>

#include <algorithm>

#include "cli/CommandContext.h"
#include "io/recording/Text.h"

namespace Kavelin::Cli {

using RecordingIO::Alignment;

namespace {

/// What pins cannot tell.
struct KnownType {
    const char* type;
    bool pairsInputs;
    std::optional<Alignment> alignment;
};

const KnownType kKnownTypes[] = {
    {"FilterAGMAttitude_v5", true, Alignment::kStart},
    {"FilterAGMAttitude_v6", true, Alignment::kStart},
    {"FilterAGMAttitude_v7", true, Alignment::kStart},
    {"FilterAGMAttitude_v8", true, Alignment::kNone},
    // The turn since its start, in an earth frame of its own: no one rotation makes that comparable.
    {"FilterAGMTriad_gyro", true, std::nullopt},
    {"FilterAttitude", true, Alignment::kHeading},
    {"FilterOrientationIntegration", false, Alignment::kStart},
    {"FilterSO3Attitude", false, Alignment::kNone},
    {"FilterSphericalFilteringAttitude", false, Alignment::kNone},
};

struct PinRole {
    const char* recordingPin;
    std::vector<const char*> inputPins;
};

const std::vector<PinRole>& roles() {
    static const std::vector<PinRole> all = {{"3a", {"3a"}}, {"3g", {"3g", "omega_t"}}, {"3m", {"3m"}}};
    return all;
}

/// Names of attitude outputs, quaternions first.
const char* const kQuaternionPins[] = {"attitudeQ", "quat_t"};
const char* const kMatrixPins[] = {"attitude"};

void findAttitude(const Core::Filter& filter, Estimator& estimator) {
    for (const char* name : kQuaternionPins) {
        if (estimator.attitudePin.empty() && filter.findOutputPin(name)) estimator.attitudePin = name;
    }
    for (const char* name : kMatrixPins) {
        if (!estimator.attitudePin.empty() || !filter.findOutputPin(name)) continue;
        estimator.attitudePin = name;
        estimator.isMatrix = true;
    }
}

void findFeeds(const Core::Filter& filter, Estimator& estimator) {
    for (const PinRole& role : roles()) {
        for (const char* name : role.inputPins) {
            if (!filter.findInputPin(name)) continue;
            estimator.feeds.push_back({role.recordingPin, name});
            break;
        }
    }
}

std::vector<std::string> typesWithAttitude() {
    std::vector<std::string> types;
    Core::PluginManager& plugins = Core::FlowManager::instance().getPluginManager();
    for (const std::string& type : plugins.getTypeNames()) {
        const Core::FilterPtr filter = plugins.createFilter(type, type);
        Estimator estimator;
        findAttitude(*filter, estimator);
        findFeeds(*filter, estimator);
        if (!estimator.attitudePin.empty() && !estimator.feeds.empty()) types.push_back(type);
    }
    return types;
}

}  // namespace

bool Estimator::uses(const std::string& recordingPin) const {
    return std::any_of(feeds.begin(), feeds.end(),
                       [&](const Feed& feed) { return feed.from == recordingPin; });
}

Estimator describeEstimator(Core::Filter& filter) {
    Estimator estimator;
    findAttitude(filter, estimator);
    findFeeds(filter, estimator);
    if (estimator.attitudePin.empty() || estimator.feeds.empty()) {
        throw UsageError("'" + filter.typeName() +
                         "' gives no attitude from sensor samples; these types do: " +
                         RecordingIO::listed(typesWithAttitude(), 40));
    }
    for (const Core::AbstractOutputPin* pin : filter.getOutputPins()) {
        if (pin->getName().starts_with("flag_")) estimator.flagPins.push_back(pin->getName());
        if (pin->getName() == "3g_bias") estimator.hasBiasPin = true;
    }
    estimator.alignment = Alignment::kHeading;
    for (const KnownType& known : kKnownTypes) {
        if (filter.typeName() != known.type) continue;
        estimator.pairsInputs = known.pairsInputs;
        estimator.alignment = known.alignment;
    }
    estimator.wantsColumns = estimator.stampsWithWallClock = filter.typeName() == "FilterAGMTriad_gyro";
    return estimator;
}

}  // namespace Kavelin::Cli
