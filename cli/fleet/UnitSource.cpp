#include "cli/fleet/UnitSource.h"

#include <algorithm>

namespace Kavelin::Cli {

UnitSource::UnitSource(const std::string& name, const RecordingIO::Schema& schema,
                       const RecordingIO::ReaderOptions& options)
    : Filter(name, true), schema_(schema), rows_(schema_, options) {
    for (Output* pin : {&acceleration_, &rate_, &field_}) {
        const RecordingIO::Channel* channel = schema_.find(pin->getName());
        if (channel == nullptr || channel->rows != 1 || channel->cols != 3) continue;
        lanes_.push_back({static_cast<std::size_t>(channel - schema_.channels.data()), pin});
        pin->value().resize(1, 3);
    }
}

void UnitSource::sendRow() {
    const RecordingIO::Row& row = rows_.row();
    for (const Lane& lane : lanes_) {
        if (!row.has(lane.channel)) continue;
        std::copy_n(row.values(lane.channel), 3, lane.pin->value().data());
        lane.pin->send(row.time());
    }
}

}  // namespace Kavelin::Cli
