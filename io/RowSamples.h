#pragma once

#include <Kavelin/Typed/FilterKit.h>

#include <cstddef>

namespace Kavelin::RecordingIO {

// A row of a table of which one pin's samples make the rows.

/// Takes the next sample of a row's time; a later one waits for its row.  @return false where there is none.
inline bool goesOnTo(OrientationInternal::InputPin<Core::Matrix>& pin, double time) {
    while (pin.fetch() && !(pin.heldTimeStamp() > time)) {
        pin.consume();
        if (pin.lastTimeStamp() == time) return true;
    }
    return false;
}

/// Writes the cells of a pin: empty ones where it has no sample in this row, or one of another size.
/// @return whether there are values in them
template <class Rows>
bool writeCells(Rows& rows, const OrientationInternal::InputPin<Core::Matrix>& pin, bool isThere,
                std::size_t count) {
    if (isThere && static_cast<std::size_t>(pin.value().size()) == count) [[likely]] {
        rows.cells(pin.value().data(), count);
        return true;
    }
    rows.emptyCells(count);
    return false;
}

}  // namespace Kavelin::RecordingIO
