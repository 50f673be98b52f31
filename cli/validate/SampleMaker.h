#pragma once

#include <Kavelin/Core/PinContent.h>
#include <Kavelin/Typed/Matrix.h>

#include <string>
#include <vector>

#include "simulation/Simulator.h"

namespace Kavelin::Cli {

/// What an input pin takes, as far as samples for it can be made.
struct Fed {
    std::string pin;
    bool isKnown = false;     ///< what it carries is known; false: shapes are tried
    bool isOptional = false;  ///< its filter works without it
    Core::PinContent content;
    std::vector<Core::PinShape> shapes;  ///< those that it takes, the usual one first; never empty
};

/// @param content as the pin declares it; where that says nothing, the names "3a", "3g" and "3m" tell.
Fed describeFed(const std::string& pin, const Core::PinContent& content, bool isOptional);

/// Which pins are fed, and in which of the shapes that they take.
struct Feeding {
    bool known = true;      ///< those optional ones of which is known what they carry
    bool unknown = false;   ///< the other optional ones
    std::size_t shape = 0;  ///< number of the shape, counted round

    bool takes(const Fed& fed) const { return !fed.isOptional || (fed.isKnown ? known : unknown); }
    Core::PinShape shapeOf(const Fed& fed) const { return fed.shapes[shape % fed.shapes.size()]; }
};

/// A unit's motion, simulated: rests, bursts, magnets. Equal seeds give equal rows.
std::vector<RecordingIO::SimulatedRow> simulatedRows(double seconds, double rate, std::uint64_t seed);

/// What a pin gets of a row: the quantity that it carries where that is known, else numbers of that time.
Core::Matrix usualSample(const Fed& fed, const RecordingIO::SimulatedRow& row, Core::PinShape shape);

/// What a broken sensor or wire may bring: values that are not finite, huge, tiny; with `ofOddShapes` sometimes of another
/// shape, or empty.
Core::Matrix hostileSample(Core::PinShape usual, bool ofOddShapes, RecordingIO::Random& random);

}  // namespace Kavelin::Cli
