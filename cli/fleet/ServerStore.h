#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "cli/fleet/ServerLink.h"

namespace Kavelin::Cli {

/// The header by which something is stored only if the last message on its subject is the one expected; 0: there is none.
constexpr const char* kExpectedLast = "Nats-Expected-Last-Subject-Sequence";

/// The header that names a message, so that the server does not store it twice within minutes.
constexpr const char* kMessageId = "Nats-Msg-Id";

/// The last message on a subject of a stream.  @return empty: there is none  @throws ServerError
Message lastMessage(const ServerLink& link, const std::string& stream, const std::string& subject);

/// The sequence at which the server stored what was published.
/// @param what "the result of the unit u7"  @throws ServerError: it did not
std::uint64_t sequenceOf(const Message& answer, const std::string& what);

/// Stores a value, and waits for the answer.  @param expectedLast see kExpectedLast
/// @return its sequence.  @throws ServerError, with JSStreamWrongLastSequenceErr where another one is the last
std::uint64_t store(const ServerLink& link, const std::string& subject, std::string_view value,
                    std::uint64_t expectedLast);

// Of buckets, which are streams.
inline std::string bucketStream(const std::string& bucket) { return "KV_" + bucket; }
inline std::string keySubject(const std::string& bucket, const std::string& key) {
    return "$KV." + bucket + "." + key;
}
/// Whether the last message of a key says that the key was deleted.
bool isDeletion(const Message& entry);

}  // namespace Kavelin::Cli
