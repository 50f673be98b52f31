#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "cli/fleet/ServerLink.h"

namespace Kavelin::Cli {

/// The header by which something is stored only if the last message on its subject is the one expected; 0: there is none.
constexpr const char* kExpectedLast = "Nats-Expected-Last-Subject-Sequence";

/// The header that names a message, so that the server does not store it twice within minutes.
constexpr const char* kMessageId = "Nats-Msg-Id";

/// @return empty: there is no such stream.  @throws ServerError  @throws UsageError for a server without JetStream
StreamInfo findStream(const ServerLink& link, const std::string& name);

/// The subjects of a stream that match a pattern, with the number of messages that are there.  @throws ServerError
std::map<std::string, std::uint64_t> subjectsOf(const ServerLink& link, const std::string& stream,
                                                const std::string& pattern);

/// The last message on a subject of a stream.  @return empty: there is none  @throws ServerError
Message lastMessage(const ServerLink& link, const std::string& stream, const std::string& subject);

/// Where the server stored what was published.
struct Stored {
    std::uint64_t sequence = 0;
    bool isRepeated = false;  ///< it had stored a message of that id before, there, and did not do it again
};
/// @param what "the result of the unit u7"  @throws ServerError: the server did not store it
Stored storedAs(const Message& answer, const std::string& what);

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
