#pragma once

namespace Kavelin::Core {

/// Version of the host interface that these headers declare. A plugin hands out the one it was built against;
/// the host loads only those that name its own.
inline constexpr const char* kHostVersion = "0.10.0";

}  // namespace Kavelin::Core
