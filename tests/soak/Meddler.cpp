#include "soak/Meddler.h"

#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/CommandProperty.h>
#include <Kavelin/Core/ErrorLog.h>
#include <Kavelin/Core/PropertyBag.h>
#include <Poco/Exception.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>

namespace Kavelin::Soak {

using Core::AbstractProperty;

void Meddler::meddle(std::uint64_t actions, bool acyclic) {
    for (std::uint64_t i = 0; i < actions; ++i) {
        try {
            act(acyclic);
        } catch (const std::exception& error) {
            meddled_.failures.add("an action raised " + Core::exceptionType(error) + ": " +
                                  Core::exceptionMessage(error));
        }
        meddled_.watchdog.pat();
    }
}

void Meddler::act(bool acyclic) {
    const std::size_t choice = below(100);
    if (choice < 30) return rewire(acyclic);
    if (choice < 45) return unwire();
    if (choice < 75) return write();
    if (choice < 82) return command();
    if (choice < 98) return read();
    restore();
}

Wire* Meddler::anyWire() {
    std::vector<Wire>& wires = meddled_.wiring.wires();
    const std::size_t own = (wires.size() + of_ - 1 - first_) / of_;
    return own == 0 ? nullptr : &wires[first_ + of_ * below(own)];
}

Core::Filter& Meddler::anyFilter() { return *meddled_.filters[below(meddled_.filters.size())]; }

/// Mostly an output that carries what the input takes: else most filters would have nothing to do.
void Meddler::rewire(bool acyclic) {
    static constexpr unsigned kSizes[] = {0, 1, 1, 2, 3, 8, 64, 1024};
    Wire* const wire = anyWire();
    if (wire == nullptr) return;
    const auto& outputs = meddled_.wiring.outputs();
    const std::string_view wanted = wire->input->content().quantity;
    const Wiring::Output* chosen = nullptr;
    for (int attempt = 0; attempt < 12; ++attempt) {
        const Wiring::Output& output = outputs[below(outputs.size())];
        if (acyclic && output.writer >= wire->reader) continue;
        chosen = &output;
        if (wanted.empty() || output.pin->content().quantity == wanted) break;
    }
    if (chosen == nullptr) return;
    meddled_.wiring.disconnect(*wire);
    meddled_.wiring.connect(*wire, *chosen->pin,
                            {.bufferSize = kSizes[below(std::size(kSizes))],
                             .lifo = below(4) == 0,
                             .synchronous = below(3) == 0,
                             .direct = below(8) == 0});
}

void Meddler::unwire() {
    if (Wire* const wire = anyWire()) meddled_.wiring.disconnect(*wire);
}

/// One that can be meddled with: none that names a file. Null where the filter has none.
AbstractProperty* Meddler::anyProperty(bool commands) {
    std::vector<AbstractProperty*> properties;
    for (AbstractProperty* property : anyFilter().getPropertyBag().getProperties()) {
        const std::string kind = property->describe().kind;
        if (kind != "file name" && (kind == "command") == commands) properties.push_back(property);
    }
    return properties.empty() ? nullptr : properties[below(properties.size())];
}

/// A value that the property may take, or nearly so.
std::string Meddler::anyText(const AbstractProperty& property) {
    const Core::PropertyDescription described = property.describe();
    std::ostringstream text;
    if (described.kind == "bool") {
        text << below(2);
    } else if (described.kind == "enum") {
        text << below(described.labels.size() + 1);
    } else if (described.kind == "int" || described.kind == "unsigned int") {
        text << below(60);
    } else if (described.kind == "double") {
        const double low = described.minimum ? std::strtod(described.minimum->c_str(), nullptr) : -2.0;
        const double high = described.maximum ? std::strtod(described.maximum->c_str(), nullptr) : 2.0;
        text << (below(10) == 0 ? high + 1.0 : between(std::max(low, -1e6), std::min(high, 1e6)));
    } else if (described.kind == "matrix") {
        static constexpr std::size_t kShapes[][2] = {{1, 3}, {3, 1}, {1, 4}, {3, 3}, {0, 0}};
        const auto& shape = kShapes[below(std::size(kShapes))];
        text << shape[0] << ' ' << shape[1];
        for (std::size_t i = 0; i < shape[0] * shape[1]; ++i) text << ' ' << between(-1.0, 1.0);
    } else {
        text << "text " << below(1000);
    }
    return text.str();
}

void Meddler::write() {
    AbstractProperty* const property = anyProperty(false);
    if (property == nullptr) return;
    try {
        property->deSerialize(anyText(*property));
        meddled_.counts.writes.fetch_add(1);
    } catch (const Poco::Exception&) {
        meddled_.counts.refusals.fetch_add(1);
    }
}

void Meddler::command() {
    auto* const command = dynamic_cast<Core::CommandProperty*>(anyProperty(true));
    if (command == nullptr) return;
    try {
        command->activate();
        meddled_.counts.commands.fetch_add(1);
    } catch (const Poco::Exception&) {
        meddled_.counts.refusals.fetch_add(1);
    }
}

void Meddler::read() {
    AbstractProperty* const property = anyProperty(false);
    if (property == nullptr) return;
    std::string text;
    property->serialize(text);
    property->exactText();
    meddled_.counts.reads.fetch_add(1);
}

/// Saves one filter, and restores that to it.
void Meddler::restore() {
    Core::PropertyBag& bag = anyFilter().getPropertyBag();
    const Core::PropertyBag::SavedValues saved = bag.save();
    try {
        bag.restore(saved);
        meddled_.counts.restores.fetch_add(1);
    } catch (const Poco::InvalidArgumentException&) {
        meddled_.counts.refusals.fetch_add(1);
    }
}

}  // namespace Kavelin::Soak
