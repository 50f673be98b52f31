#include <Kavelin/Core/AbstractProperty.h>
#include <Poco/Exception.h>

#include "cli/validate/Checks.h"
#include "cli/validate/FilterRig.h"
#include "cli/validate/PropertyTexts.h"
#include "cli/validate/Subject.h"

namespace Kavelin::Cli {

namespace {

using SavedValues = Core::PropertyBag::SavedValues;

void writeSome(Subject& subject, Core::Filter& filter) {
    for (std::uint64_t writes = subject.random().bits() % 8; writes > 0; --writes)
        writeOne(filter, subject.random());
}

void requireSame(const SavedValues& saved, const SavedValues& again) {
    for (const Core::SavedValue& value : saved) {
        const auto found = std::find_if(again.begin(), again.end(), [&](const Core::SavedValue& other) {
            return other.name == value.name && other.kind == value.kind;
        });
        const bool isThere = found != again.end();
        if (isThere && found->text == value.text) continue;
        throw Fault(fmt::format("property \"{}\"", value.name),
                    "saved as " + shownText(value.text) +
                        "; restored and saved again: " + (isThere ? shownText(found->text) : "not there"),
                    "the same text");
    }
}

/// Restored to an instance that has seen other writes, the values are those saved, but for any that is refused by name.
void requireRestored(const SavedValues& saved, Core::Filter& used) {
    std::string refusals;
    try {
        used.getPropertyBag().restore(saved);
    } catch (const Poco::InvalidArgumentException& refused) {  // as of a default file that is not there
        refusals = refused.message();
    }
    for (const Core::SavedValue& value : saved) {
        if (value.kind == Core::SavedValue::Kind::refused) continue;
        const std::string now = used.getPropertyBag().get(value.name).exactText();
        if (now == value.text || refusals.find("'" + value.name + "' refuses") != std::string::npos) continue;
        throw Fault(
            fmt::format("property \"{}\"", value.name),
            "saved as " + shownText(value.text) + "; restored to an instance in use: " + shownText(now),
            "the same text");
    }
}

/// All that the two send from now on. Commands begin it: what refers to the moment of a command refers to the same one.
void requireSameOutputs(Subject& subject, Core::Filter& saved, Core::Filter& restored) {
    const auto rows = simulatedRows(5.0, 50.0, 1);
    FilterRig first(subject, saved), second(subject, restored);
    for (Core::Filter* filter : {&saved, &restored}) activateCommands(*filter);
    feedRows(first, rows, {.unknown = true}, subject);
    feedRows(second, rows, {.unknown = true}, subject);
    requireSameBits(first.sent(), second.sent(), "the restored filter");
}

}  // namespace

void checkState(Subject& subject) {
    constexpr int kTrials = 20;
    for (int trial = 1; trial <= kTrials; ++trial) {
        const Core::FilterPtr saved = subject.make("saved"), restored = subject.makeBare("restored");
        writeSome(subject, *saved);
        const SavedValues values = saved->getPropertyBag().save();
        subject.at("restoring what was saved, trial {}", trial);
        for (const Core::AbstractInputPin* pin : saved->getInputPins()) restored->getInputPin(pin->getName());
        restored->getPropertyBag().restore(values);
        requireSame(values, restored->getPropertyBag().save());
        const Core::FilterPtr used = subject.make("used");
        writeSome(subject, *used);
        requireRestored(values, *used);
        requireSameOutputs(subject, *saved, *restored);
    }
}

}  // namespace Kavelin::Cli
