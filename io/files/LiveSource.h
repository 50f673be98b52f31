#pragma once

#include <memory>

#include "io/files/ByteSource.h"
#include "io/files/LivePort.h"

namespace Kavelin::RecordingIO {

/// The lines that come through a port; only whole ones, as those that a loss cuts off would be taken for others. A lost
/// connection is tried again after growing waits, and told.
std::unique_ptr<ByteSource> liveSource(std::unique_ptr<LivePort> port, std::shared_ptr<LiveNotes> notes);

}  // namespace Kavelin::RecordingIO
