#include "cli/fuse/ResultKeeper.h"

#include <limits>

#include "io/AttitudeSample.h"
#include "io/RowSamples.h"

namespace Kavelin::Cli {

namespace {

/// @param from null: NaN
void append(std::vector<double>& to, const double* from, std::ptrdiff_t size) {
    if (from != nullptr) {
        to.insert(to.end(), from, from + size);
    } else {
        to.insert(to.end(), static_cast<std::size_t>(size), std::numeric_limits<double>::quiet_NaN());
    }
}

}  // namespace

void SampleKeeper::process() {
    while (pin_.readNext()) {
        const OrientationInternal::Matrix& value = pin_.value();
        if (value.size() != size_) continue;
        samples_.times.push_back(pin_.lastTimeStamp());
        append(samples_.values, value.data(), size_);
    }
}

RowKeeper::RowKeeper(const std::string& name, const std::vector<ResultWatch::Extra>& extras)
    : Filter(name, true), extras_(extras) {
    for (const ResultWatch::Extra& extra : extras_)
        inputs_.push_back(std::make_unique<Input>(extra.name, this, OrientationInternal::AnyTime{}));
    rows_.extras.resize(extras_.size());
}

void RowKeeper::process() {
    while (attitude_.readNext()) {
        const auto attitude = RecordingIO::attitudeOf(attitude_.value());
        if (!attitude) continue;
        const double time = attitude_.lastTimeStamp();
        rows_.times.push_back(time);
        rows_.quaternions.insert(rows_.quaternions.end(), attitude->data(), attitude->data() + 4);
        for (std::size_t i = 0; i < inputs_.size(); ++i) {
            const std::ptrdiff_t size = extras_[i].size;
            const bool isThere =
                RecordingIO::goesOnTo(*inputs_[i], time) && inputs_[i]->value().size() == size;
            append(rows_.extras[i].values, isThere ? inputs_[i]->value().data() : nullptr, size);
            if (!isThere) rows_.extras[i].missing.push_back(rows_.times.size() - 1);
        }
    }
}

}  // namespace Kavelin::Cli
