// Requests to `kavelin view`: whatever is sent, the server goes on, and nobody who asks for another host gets more than a
// refusal.

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "cli/view/PageFiles.h"
#include "cli/view/ViewHub.h"
#include "cli/view/ViewServer.h"

using namespace Kavelin::Cli;

namespace {

constexpr const char* kToken = "0123456789abcdef";

struct Runner final : ViewRunner {
    void restart() override {}
    Progress progress() override { return {}; }
};

/// One server for all inputs, with or without a token; nothing is built.
struct Served {
    explicit Served(std::string token) : server({"127.0.0.1", 0, std::move(token)}, hub, PageFiles("")) {}
    RoundGate gate;
    Runner runner;
    ViewHub hub{gate, runner};
    ViewServer server;
};

int connectTo(unsigned short port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ::sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (socket < 0 || ::connect(socket, reinterpret_cast<::sockaddr*>(&address), sizeof address) != 0)
        std::abort();  // it does not serve any more
    return socket;
}

/// All that is answered to these bytes and the end.
std::string answerTo(unsigned short port, std::string_view request) {
    const int socket = connectTo(port);
    while (!request.empty()) {
        const ::ssize_t count = ::send(socket, request.data(), request.size(), MSG_NOSIGNAL);
        if (count <= 0) break;
        request.remove_prefix(static_cast<std::size_t>(count));
    }
    ::shutdown(socket, SHUT_WR);
    std::string answer;
    char block[4096];
    for (::ssize_t count; (count = ::recv(socket, block, sizeof block, 0)) > 0;)
        answer.append(block, static_cast<std::size_t>(count));
    // Reset, so that no port is kept for the peer's last packets.
    const ::linger none{1, 0};
    ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &none, sizeof none);
    ::close(socket);
    return answer;
}

std::string lowered(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](unsigned char c) { return std::tolower(c); });
    return lower;
}

/// Whether a Host of the request may be an address, or localhost: a name that anybody can own is not.
bool namesThisMachine(const std::string& request) {
    constexpr std::string_view kAddress = "0123456789abcdefx.:[]";
    if (request.find("localhost") != std::string::npos) return true;
    for (std::size_t at = 0; (at = request.find("host", at)) != std::string::npos; ++at) {
        const std::size_t begin = request.find_first_of("0123456789abcdef[", at + 4);
        if (begin == std::string::npos) continue;
        if (request.find_first_not_of(kAddress, begin) > begin + 2) return true;
    }
    return false;
}

}  // namespace

/// The first byte says whether a token is needed.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Served& open = *new Served("");
    static Served& guarded = *new Served(kToken);
    if (size == 0) return 0;
    const bool needsToken = data[0] & 1;
    const std::string_view request(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::string answer = answerTo((needsToken ? guarded : open).server.port(), request);
    if (!answer.empty() && !answer.starts_with("HTTP/1.")) std::abort();
    const std::string_view status =
        std::string_view(answer).substr(0, std::min<std::size_t>(answer.size(), 12));
    // Refused: 400 and 403. Everything else needs to know the page's own name, and the token.
    if (status.empty() || status.ends_with("400") || status.ends_with("403")) return 0;
    const std::string lower = lowered(request);
    if (namesThisMachine(lower) && (!needsToken || lower.find(kToken) != std::string::npos)) return 0;
    std::fprintf(stderr, "answered to a stranger: %s\n", answer.c_str());
    std::abort();
}
