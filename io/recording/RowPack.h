#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "io/recording/Row.h"

namespace Kavelin::RecordingIO {

/// Rows of one recording, close together in memory: that is what handing them to another thread costs.
class RowPack {
public:
    void clear() {
        heads_.clear();
        elements_.clear();
        slots_.clear();
    }
    void add(const Row& row);
    /// Writes a row of the pack over one of the same recording, or over an empty one.
    void get(std::size_t index, Row& into) const;

private:
    struct Head {
        double time;
        std::uint64_t lost;
        Row::Share together;
    };
    std::vector<Head> heads_;
    std::vector<double> elements_;  // of all channels, row behind row
    std::vector<Row::Slot> slots_;  // of each channel, row behind row
    std::size_t elementsOfRow_ = 0;
    std::size_t slotsOfRow_ = 0;
};

}  // namespace Kavelin::RecordingIO
