#include <Kavelin/Core/AbstractInputPin.h>
#include <Kavelin/Core/AbstractOutputPin.h>
#include <Kavelin/Core/PinContent.h>

#include <utility>

namespace Kavelin::Core {

namespace {

std::string count(std::ptrdiff_t number) { return number == 0 ? "N" : std::to_string(number); }

bool areUnlike(std::string_view a, std::string_view b) { return !a.empty() && !b.empty() && a != b; }

std::string doubt(const AbstractOutputPin& output, std::string_view sent, const AbstractInputPin& input,
                  std::string_view taken) {
    return output.fullName() + " carries " + std::string(sent) + ", " + input.fullName() + " takes " +
           std::string(taken);
}

}  // namespace

std::string shapeText(PinShape shape) {
    if (shape == PinShape{}) return "any";
    return count(shape.rows) + "x" + count(shape.cols);
}

PinContent contentSent(const AbstractOutputPin& output) {
    const AbstractInputPin* const handsOn = output.getHandsOn();
    if (handsOn == nullptr) return output.content();
    const AbstractOutputPin* const source = handsOn->getConnectedOutput();
    if (source == nullptr || source == &output) return {};
    PinContent content = contentSent(*source);
    if (output.getHandsOnTransposed()) std::swap(content.shape.rows, content.shape.cols);
    return content;
}

std::string shapeMistake(const AbstractOutputPin& output, const AbstractInputPin& input) {
    const PinShape sent = contentSent(output).shape;
    if (!sent.isFixed() || input.content().fits(sent)) return {};
    return output.fullName() + " sends " + shapeText(sent) + ", " + input.fullName() + " takes " +
           input.shapesTaken();
}

std::string contentDoubt(const AbstractOutputPin& output, const AbstractInputPin& input) {
    const PinContent sent = contentSent(output);
    const PinContent& taken = input.content();
    if (!areUnlike(sent.quantity, taken.quantity) && !areUnlike(sent.unit, taken.unit)) return {};
    if (areUnlike(sent.unit, taken.unit)) return doubt(output, sent.unit, input, taken.unit);
    return doubt(output, sent.quantity, input, taken.quantity);
}

}  // namespace Kavelin::Core
