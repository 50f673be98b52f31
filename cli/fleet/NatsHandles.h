#pragma once

#include <nats/nats.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace Kavelin::Cli {

template <auto destroy>
struct Destroyer {
    template <class T>
    void operator()(T* handle) const {
        destroy(handle);
    }
};
template <class T, auto destroy>
using NatsHandle = std::unique_ptr<T, Destroyer<destroy>>;

using Message = NatsHandle<natsMsg, natsMsg_Destroy>;
using StreamInfo = NatsHandle<jsStreamInfo, jsStreamInfo_Destroy>;
using ConsumerInfo = NatsHandle<jsConsumerInfo, jsConsumerInfo_Destroy>;
using Bucket = NatsHandle<kvStore, kvStore_Destroy>;

/// The server refused something, or cannot be reached.
class ServerError : public std::runtime_error {
public:
    ServerError(const std::string& what, natsStatus natsCode, jsErrCode streamCode)
        : std::runtime_error(what), status(natsCode), code(streamCode) {}
    const natsStatus status;
    const jsErrCode code;  ///< JetStream's own, 0: none
};

/// What the library says of a status, without the places in its source.
inline std::string reasonOf(natsStatus status) {
    natsStatus lastStatus = NATS_OK;
    const char* last = nats_GetLastError(&lastStatus);
    const std::string general = natsStatus_GetText(status);
    if (lastStatus != status || last == nullptr || *last == '\0') return general;
    const std::string detail(last);
    const std::size_t place = detail.find("): ");
    return detail[0] == '(' && place != std::string::npos ? detail.substr(place + 3) : detail;
}

/// @param doing "the stream imu could not be made"
/// @throws ServerError with `doing` and the library's reason, unless `status` is NATS_OK
inline void requireOk(natsStatus status, const std::string& doing, jsErrCode code = jsErrCode(0)) {
    if (status != NATS_OK) throw ServerError(doing + ": " + reasonOf(status), status, code);
}

/// The value of a header; empty where there is none.
inline std::string headerOf(const Message& message, const char* name) {
    const char* value = nullptr;
    return natsMsgHeader_Get(message.get(), name, &value) == NATS_OK ? value : "";
}

inline std::string_view payloadOf(const Message& message) {
    return {natsMsg_GetData(message.get()), static_cast<std::size_t>(natsMsg_GetDataLength(message.get()))};
}

}  // namespace Kavelin::Cli
