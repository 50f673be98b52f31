#pragma once

#include <Kavelin/Core/Export.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace Kavelin::Core {

/// CRC-32.
KAVELIN_API std::uint32_t checksum(std::string_view bytes);

/// The bytes behind a mark that tells what they are, and a checksum.
KAVELIN_API std::string sealed(std::string_view mark, std::string_view bytes);

/// The bytes that were sealed, borrowed.  @param what they should be, for messages: "a checkpoint of a run"
/// @throws Poco::DataFormatException where they are something else, or damaged
KAVELIN_API std::string_view unsealed(std::string_view mark, std::string_view bytes, const std::string& what);

}  // namespace Kavelin::Core
