#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/AbstractProperty.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <set>

#include "cli/validate/Checks.h"
#include "cli/validate/PropertyTexts.h"
#include "cli/validate/SampleMaker.h"
#include "cli/validate/Subject.h"

namespace Kavelin::Cli {

namespace {

constexpr const char* kKinds[] = {"int",    "unsigned int", "double",    "bool",   "text",
                                  "matrix", "enum",         "file name", "command"};

/// Names are written in layouts as FILTER:PIN, and on the command line as FILTER:PROPERTY=VALUE.
void requireName(const std::string& where, const std::string& name, std::set<std::string>& known) {
    if (name.empty()) throw Fault(where, "it has no name", "a name that tells what it is");
    const bool isOdd =
        name.find_first_of(":=\n") != std::string::npos || name.front() == ' ' || name.back() == ' ';
    if (isOdd)
        throw Fault(where, "its name is " + shownText(name),
                    "one without : and =, not beginning or ending with a blank");
    if (!known.insert(name).second) throw Fault(where, "there are two of that name", "a name each");
}

void requirePin(const Core::Pin& pin, const std::string& where) {
    const Core::PinContent& content = pin.content();
    const Core::PinShape shape = content.shape;
    if (shape.rows < 0 || shape.cols < 0) throw Fault(where, "its shape is negative", "0 for any number");
    if (shape.isFixed() && !content.fits(shape))
        throw Fault(where, "it does not take its own usual shape, " + Core::shapeText(shape),
                    "a test of shapes that takes it");
    if (content.takes != nullptr && content.takesText.empty() && !shape.isFixed())
        throw Fault(where, "it tests shapes, and no text says which it takes", "takesText");
    if (!content.unit.empty() && content.quantity.empty() && shape == Core::PinShape{})
        throw Fault(where, fmt::format("it has the unit {} and neither shape nor quantity", content.unit),
                    "what the unit belongs to");
}

/// An output may carry any shape where an input takes any.
void requireSaid(const Core::AbstractOutputPin& pin, const Core::Filter& filter, const std::string& where) {
    const Core::PinContent& content = pin.content();
    if (!content.quantity.empty() || content.shape != Core::PinShape{} || pin.getHandsOn() != nullptr) return;
    const auto& inputs = filter.getInputPins();
    if (inputs.empty() || std::any_of(inputs.begin(), inputs.end(), [](const Core::AbstractInputPin* input) {
            return !input->content().shape.isFixed();
        }))
        return;
    throw Fault(where, "it does not say what it carries",
                "a shape, a quantity, or the input whose samples it hands on");
}

double numberOf(const std::string& text) {
    double number = std::nan("");
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

void requireBounds(const Core::AbstractProperty& property, const Core::PropertyDescription& about) {
    const std::string where = placeOf(property);
    if (about.minimum.has_value() != about.maximum.has_value())
        throw Fault(where, "it has one bound", "both or none");
    if (!about.minimum) return;
    const double minimum = numberOf(*about.minimum), maximum = numberOf(*about.maximum);
    if (!(minimum <= maximum))
        throw Fault(where, *about.minimum + " to " + *about.maximum + " is no range",
                    "minimum at most maximum");
    const double value = numberOf(property.exactText());
    if (value < minimum || value > maximum)
        throw Fault(where, "its default is " + property.exactText(),
                    *about.minimum + " to " + *about.maximum);
    if (about.step && !(numberOf(*about.step) >= 0.0))
        throw Fault(where, "its step is " + *about.step, "0 or more");
}

void requireLabels(const Core::AbstractProperty& property, const Core::PropertyDescription& about) {
    const std::set<std::string> labels(about.labels.begin(), about.labels.end());
    if (labels.size() != about.labels.size() || labels.contains(""))
        throw Fault(placeOf(property), "its labels are not distinct texts",
                    "a text of its own for each value");
    if (about.kind == "enum" && !labels.empty() && !labels.contains(property.exactText()))
        throw Fault(placeOf(property), "its default is " + shownText(property.exactText()),
                    "one of its labels");
}

}  // namespace

void checkDescription(Subject& subject) {
    const Core::FilterPtr filter = subject.make();
    std::set<std::string> inputs, outputs, properties;
    for (const Core::AbstractInputPin* pin : filter->getInputPins()) {
        const std::string where = fmt::format("input pin \"{}\"", pin->getName());
        requireName(where, pin->getName(), inputs);
        requirePin(*pin, where);
    }
    for (const Core::AbstractOutputPin* pin : filter->getOutputPins()) {
        const std::string where = fmt::format("output pin \"{}\"", pin->getName());
        requireName(where, pin->getName(), outputs);
        requirePin(*pin, where);
        requireSaid(*pin, *filter, where);
    }
    for (const Core::AbstractProperty* property : filter->getPropertyBag().getProperties()) {
        requireName(placeOf(*property), property->getName(), properties);
        const Core::PropertyDescription about = property->describe();
        if (std::find(std::begin(kKinds), std::end(kKinds), about.kind) == std::end(kKinds))
            throw Fault(placeOf(*property), "its kind is " + shownText(about.kind),
                        fmt::format("one of {}", fmt::join(kKinds, ", ")));
        requireBounds(*property, about);
        requireLabels(*property, about);
    }
}

}  // namespace Kavelin::Cli
