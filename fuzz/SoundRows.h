#pragma once

#include <cmath>
#include <cstdlib>

#include "io/recording/RowReader.h"

namespace Kavelin::RecordingIO {

/// What must hold of any bytes: rows have finite times that do not decrease, their values are numbers, and a fault says
/// something. Aborts otherwise.
inline void requireSound(RowReader& reader) {
    double latest = -HUGE_VAL;
    for (auto next = reader.next(); next != RowReader::Next::kEnd; next = reader.next()) {
        if (next == RowReader::Next::kFault && reader.message().empty()) std::abort();
        if (next != RowReader::Next::kRow) continue;
        const Row& row = reader.row();
        if (!std::isfinite(row.time()) || row.time() < latest) std::abort();
        latest = row.time();
        for (std::size_t i = 0; i < reader.schema().channels.size(); ++i) {
            for (std::size_t e = 0; row.has(i) && e < reader.schema().channels[i].size(); ++e) {
                if (std::isnan(row.values(i)[e])) std::abort();
            }
        }
    }
}

}  // namespace Kavelin::RecordingIO
