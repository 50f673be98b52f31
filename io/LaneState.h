#pragma once

#include <Kavelin/Core/Filter.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace Kavelin::RecordingIO {

/// Gives or takes the lanes of a filter that makes one for each pin, for a snapshot: by name, as another connection may have
/// been made first. A lane that is missing is made.
template <class Archive, class Lane>
void serializeByName(Archive& archive, std::vector<std::unique_ptr<Lane>>& lanes, Core::Filter& filter) {
    std::size_t count = lanes.size();
    archive(count);
    for (std::size_t i = 0; i < count; ++i) {
        std::string name = i < lanes.size() ? lanes[i]->in.getName() : std::string();
        archive(name);
        filter.getInputPin(name);
        archive(**std::find_if(lanes.begin(), lanes.end(),
                               [&](const auto& lane) { return lane->in.getName() == name; }));
    }
}

}  // namespace Kavelin::RecordingIO
