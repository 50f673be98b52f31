#include "cli/view/LayoutDescription.h"

#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/LayoutManager.h>
#include <Kavelin/Core/Source.h>
#include <Kavelin/Typed/Contents.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/Description.h"
#include "cli/view/PropertyBoard.h"
#include "io/RecordingSource.h"
#include "io/RunParticipant.h"

namespace Kavelin::Cli {

using nlohmann::ordered_json;

namespace {

/// Gives another form to an attitude that another filter has found.
constexpr const char* kFormType = "FilterAttitudeForm";
constexpr const char* kJointType = "FilterAngleDG";

template <class P>
ordered_json describePins(const std::vector<P*>& pins) {
    ordered_json all = ordered_json::array();
    for (const P* pin : pins) all.push_back(describePin(*pin));
    return all;
}

ordered_json describeLayouts(const std::vector<Core::Filter*>& filters) {
    ordered_json all = ordered_json::array();
    for (const Core::Filter* filter : filters) {
        const std::string& layout = filter->getManager()->getName();
        const auto known = std::find_if(all.begin(), all.end(),
                                        [&](const ordered_json& one) { return one["name"] == layout; });
        ordered_json& entry =
            known != all.end()
                ? *known
                : all.emplace_back(ordered_json{{"name", layout}, {"filters", ordered_json::array()}});
        entry["filters"].push_back(filter->getName());
    }
    return all;
}

ordered_json describeConnections(const std::vector<Core::Filter*>& filters) {
    ordered_json all = ordered_json::array();
    for (const Core::Filter* filter : filters)
        for (const Core::AbstractInputPin* input : filter->getInputPins())
            if (const Core::AbstractOutputPin* output = input->getConnectedOutput();
                output && output->getManager())
                all.push_back({{"from", output->fullName()}, {"to", input->fullName()}});
    return all;
}

const char* formOf(const Core::PinContent& content) {
    if (content.quantity != Core::kOrientation) return nullptr;
    if (content.shape == Core::PinShape{3, 3}) return "matrix";
    return content.shape == Core::PinShape{1, 4} || content.shape == Core::PinShape{4, 1} ? "quaternion"
                                                                                          : nullptr;
}

struct Attitude {
    const Core::AbstractOutputPin* pin;
    bool isReference, isForm;
};

/// Estimates first, then other forms of them; the recording's own last.
ordered_json describeAttitudes(const std::vector<Core::Filter*>& filters) {
    std::vector<Attitude> attitudes;
    for (const Core::Filter* filter : filters) {
        for (const Core::AbstractOutputPin* pin : filter->getOutputPins()) {
            if (pin->getHandsOn() || !formOf(contentSent(*pin)) || filter->typeName() == kJointType) continue;
            attitudes.push_back({pin, dynamic_cast<const RecordingIO::RecordingSource*>(filter) != nullptr,
                                 filter->typeName() == kFormType});
        }
    }
    std::stable_sort(attitudes.begin(), attitudes.end(), [](const Attitude& a, const Attitude& b) {
        return std::pair(a.isReference, a.isForm) < std::pair(b.isReference, b.isForm);
    });
    ordered_json all = ordered_json::array();
    for (const Attitude& attitude : attitudes) {
        const Core::PinContent content = contentSent(*attitude.pin);
        const std::string& filter = attitude.pin->getManager()->getName();
        all.push_back({{"pin", attitude.pin->fullName()},
                       {"label", attitude.isReference ? filter + " (reference)" : filter},
                       {"frame", std::string(content.frame)},
                       {"form", formOf(content)},
                       {"isReference", attitude.isReference},
                       {"order", all.size()}});
    }
    return all;
}

ordered_json describeJoints(const std::vector<Core::Filter*>& filters) {
    ordered_json all = ordered_json::array();
    for (const Core::Filter* filter : filters) {
        const Core::AbstractOutputPin* angle = filter->findOutputPin("angle");
        if (filter->typeName() != kJointType || !angle) continue;
        ordered_json units = ordered_json::array();
        for (const char* side : {"D", "G"})
            if (const Core::AbstractInputPin* input = filter->findInputPin(side);
                input && input->getConnectedOutput())
                units.push_back(input->getConnectedOutput()->fullName());
        if (units.size() == 2)
            all.push_back({{"label", filter->getName()}, {"pin", angle->fullName()}, {"units", units}});
    }
    return all;
}

}  // namespace

ordered_json describeLayout(const std::vector<Core::Filter*>& filters, PropertyBoard& properties) {
    ordered_json json{{"layouts", describeLayouts(filters)}};
    ordered_json all = ordered_json::array();
    for (const Core::Filter* filter : filters) {
        all.push_back({{"name", filter->getName()},
                       {"type", filter->typeName()},
                       {"layout", filter->getManager()->getName()},
                       {"isSource", dynamic_cast<const Core::Source*>(filter) != nullptr},
                       {"inputs", describePins(filter->getInputPins())},
                       {"outputs", describePins(filter->getOutputPins())},
                       {"properties", properties.describe(*filter)}});
    }
    json["filters"] = std::move(all);
    json["connections"] = describeConnections(filters);
    json["attitudes"] = describeAttitudes(filters);
    json["joints"] = describeJoints(filters);
    return json;
}

bool isLive(const std::vector<Core::Filter*>& filters) {
    return std::any_of(filters.begin(), filters.end(), [](const Core::Filter* filter) {
        const auto* source = dynamic_cast<const RecordingIO::RecordingSource*>(filter);
        return source && source->isLive();
    });
}

bool canBeRepeated(const std::vector<Core::Filter*>& filters) {
    return std::none_of(filters.begin(), filters.end(), [](const Core::Filter* filter) {
        const auto* source = dynamic_cast<const RecordingIO::RecordingSource*>(filter);
        return source && (source->isLive() || source->isReadOnce());
    });
}

std::vector<std::string> resultFiles(const std::vector<Core::Filter*>& filters) {
    std::vector<std::string> files;
    for (const Core::Filter* filter : filters) {
        const auto* participant = dynamic_cast<const RecordingIO::RunParticipant*>(filter);
        const std::string file = participant ? participant->resultFile() : std::string();
        if (!file.empty() && file != "-") files.push_back(file);
    }
    return files;
}

}  // namespace Kavelin::Cli
