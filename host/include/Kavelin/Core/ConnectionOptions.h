#pragma once

#include <Kavelin/Core/AbstractInputPin.h>

namespace Kavelin::Core {

/// How a connection keeps its samples.
struct ConnectionOptions {
    unsigned bufferSize = AbstractInputPin::kDefaultBufferSize;  ///< 1: the newest only; 0: none
    bool lifo = false;                                           ///< newest first
    bool synchronous = false;  ///< the reader is called, and waits, only with data here (blocking pins)
    bool direct = false;       ///< both ends run in one thread although neither is in a layout
};

/// Connects two pins.
/// @throws Poco::InvalidArgumentException for unlike payloads, Poco::ExistsException, naming it, when `input`
/// has a source; nothing has changed then.  [any thread]
KAVELIN_API void connect(AbstractOutputPin& output, AbstractInputPin& input,
                         const ConnectionOptions& options = {});
/// Ends the connection of `input`, if it has one.  [any thread]
KAVELIN_API void disconnect(AbstractInputPin& input);

}  // namespace Kavelin::Core
