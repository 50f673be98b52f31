#include "cli/view/ViewServer.h"

#include <Poco/Net/HTTPCookie.h>
#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/ServerSocket.h>
#include <Poco/ThreadPool.h>
#include <Poco/URI.h>
#include <sys/socket.h>

#include <algorithm>
#include <charconv>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>

#include "cli/CommandContext.h"
#include "cli/graph/GraphDrawing.h"
#include "cli/layout/LayoutWriter.h"
#include "cli/view/PageConnection.h"

namespace Kavelin::Cli {

namespace net = Poco::Net;

namespace {

constexpr const char* kCookie = "kavelin_token";
constexpr int kMostThreads = 48;
constexpr int kMostWaiting = 64;  // connections
const Poco::Timespan kPatience(5, 0);
const Poco::Timespan kKeptAlive(2, 0);
constexpr std::chrono::milliseconds kLeave{300};

/// The parts of an address that is asked for, where it is one.
struct Address {
    std::string path, token;

    explicit Address(const std::string& text) {
        try {
            const Poco::URI uri(text);
            path = uri.getPath();
            for (const auto& [name, value] : uri.getQueryParameters())
                if (name == "token") token = value;
        } catch (const Poco::Exception&) {
            path.clear();
        }
    }
};

std::string nameOf(const std::string& file) {
    std::string name = std::filesystem::path(file).filename().string();
    std::replace_if(
        name.begin(), name.end(),
        [](char c) { return c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20; }, '_');
    return name;
}

}  // namespace

class ViewServer::Inside {
public:
    Inside(const ViewServerOptions& options, ViewHub& hub, PageFiles pageFiles)
        : access(options.address, options.token),
          address(options.address),
          hub_(hub),
          files_(std::move(pageFiles)),
          threads_(2, kMostThreads),
          server(new Factory(*this), threads_, listening(options), parameters()) {
        server.start();
    }
    ~Inside() {
        mustEnd_ = true;
        endPages();
        server.stopAll(true);
        threads_.joinAll();
    }

    const ViewAccess access;
    const std::string address;

    void handle(net::HTTPServerRequest& request, net::HTTPServerResponse& response);

private:
    struct Handler : net::HTTPRequestHandler {
        explicit Handler(Inside& inside) : inside_(inside) {}
        void handleRequest(net::HTTPServerRequest& request, net::HTTPServerResponse& response) override {
            inside_.handle(request, response);
        }
        Inside& inside_;
    };
    struct Factory : net::HTTPRequestHandlerFactory {
        explicit Factory(Inside& inside) : inside_(inside) {}
        net::HTTPRequestHandler* createRequestHandler(const net::HTTPServerRequest&) override {
            return new Handler(inside_);
        }
        Inside& inside_;
    };
    using Status = net::HTTPResponse::HTTPStatus;

    static net::ServerSocket listening(const ViewServerOptions& options);
    static net::HTTPServerParams::Ptr parameters();

    void answer(const Address& asked, net::HTTPServerRequest& request, net::HTTPServerResponse& response);
    void send(net::HTTPServerRequest& request, net::HTTPServerResponse& response, const std::string& type,
              const std::string& bytes, Status status = Status::HTTP_OK);
    void refuse(net::HTTPServerRequest& request, net::HTTPServerResponse& response, Status status,
                const std::string& why);
    void sendGraph(net::HTTPServerRequest& request, net::HTTPServerResponse& response);
    void sendLayout(net::HTTPServerRequest& request, net::HTTPServerResponse& response);
    void sendResult(const std::string& index, net::HTTPServerRequest& request,
                    net::HTTPServerResponse& response);
    void servePage(net::HTTPServerRequest& request, net::HTTPServerResponse& response);
    void endPages();

    ViewHub& hub_;
    const PageFiles files_;
    std::atomic<bool> mustEnd_{false};
    std::mutex mutex_;  // guards what follows
    std::vector<net::WebSocket*> pages_;
    std::condition_variable left_;
    std::mutex drawingMutex_;  // held for as long as graphviz takes; guards what follows
    std::string drawnGraph_, drawing_;
    Poco::ThreadPool threads_;

public:
    net::HTTPServer server;
};

net::ServerSocket ViewServer::Inside::listening(const ViewServerOptions& options) {
    net::ServerSocket socket;
    try {
        const net::SocketAddress place(options.address, options.port);
        if (place.family() == net::SocketAddress::IPv6)
            socket.bind6(place, true, false, true);
        else
            socket.bind(place, true, false);
    } catch (const Poco::Exception& error) {
        throw UsageError("--port " + std::to_string(options.port) + ": cannot listen on " + options.address +
                         ": " + Core::exceptionMessage(error) + "; --port 0 takes any port that is free");
    }
    socket.listen(kMostWaiting);
    return socket;
}

net::HTTPServerParams::Ptr ViewServer::Inside::parameters() {
    net::HTTPServerParams::Ptr parameters = new net::HTTPServerParams;
    parameters->setMaxThreads(kMostThreads);
    parameters->setMaxQueued(kMostWaiting);
    parameters->setTimeout(kPatience);
    parameters->setKeepAliveTimeout(kKeptAlive);
    parameters->setMaxKeepAliveRequests(100);
    return parameters;
}

void ViewServer::Inside::handle(net::HTTPServerRequest& request, net::HTTPServerResponse& response) {
    const std::string& version = request.getVersion();
    if (version != net::HTTPMessage::HTTP_1_1 && version != net::HTTPMessage::HTTP_1_0) {
        response.setVersion(net::HTTPMessage::HTTP_1_1);  // not what was sent
        return refuse(request, response, Status::HTTP_BAD_REQUEST, "HTTP/1.1 is spoken here");
    }
    const Address asked(request.getURI());
    net::NameValueCollection cookies;
    request.getCookies(cookies);
    const ViewCaller caller{request.get("Host", ""), request.get("Origin", ""), asked.token,
                            cookies.get(kCookie, "")};
    response.set(
        "Content-Security-Policy",
        "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src 'self'; "
        "base-uri 'none'; form-action 'none'; frame-ancestors 'none'");
    response.set("X-Content-Type-Options", "nosniff");
    response.set("Referrer-Policy", "no-referrer");
    response.set("Cache-Control", "no-store");
    if (const std::string why = access.refusal(caller); !why.empty())
        return refuse(request, response, Status::HTTP_FORBIDDEN, why);
    if (access.needsCookie(caller)) {
        response.set("Set-Cookie",
                     std::string(kCookie) + "=" + access.token() + "; Path=/; HttpOnly; SameSite=Strict");
    }
    const std::string& method = request.getMethod();
    if (method != net::HTTPRequest::HTTP_GET && method != net::HTTPRequest::HTTP_HEAD)
        return refuse(request, response, Status::HTTP_METHOD_NOT_ALLOWED, "GET and HEAD are answered");
    answer(asked, request, response);
}

void ViewServer::Inside::answer(const Address& asked, net::HTTPServerRequest& request,
                                net::HTTPServerResponse& response) {
    constexpr std::string_view kResults = "/results/";
    try {
        if (const PageFiles::File* file = files_.find(asked.path))
            return send(request, response, file->type, file->bytes);
        if (asked.path == "/live") return servePage(request, response);
        if (asked.path == "/graph.svg") return sendGraph(request, response);
        if (asked.path == "/layout.json") return sendLayout(request, response);
        if (asked.path.starts_with(kResults))
            return sendResult(asked.path.substr(kResults.size()), request, response);
        refuse(request, response, Status::HTTP_NOT_FOUND, "there is nothing of that name");
    } catch (const Poco::Net::NetException&) {  // the page has gone
    } catch (const Poco::TimeoutException&) {
    } catch (const std::exception& error) {
        if (!response.sent())
            refuse(request, response, Status::HTTP_SERVICE_UNAVAILABLE, Core::exceptionMessage(error));
    }
}

void ViewServer::Inside::send(net::HTTPServerRequest& request, net::HTTPServerResponse& response,
                              const std::string& type, const std::string& bytes, Status status) {
    response.setStatusAndReason(status);
    response.setContentType(type);
    response.setContentLength64(static_cast<Poco::Int64>(bytes.size()));
    std::ostream& out = response.send();
    if (request.getMethod() != net::HTTPRequest::HTTP_HEAD)
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

void ViewServer::Inside::refuse(net::HTTPServerRequest& request, net::HTTPServerResponse& response,
                                Status status, const std::string& why) {
    response.setKeepAlive(false);  // a body that was not read would be taken for the next request
    send(request, response, "text/plain; charset=utf-8", why + "\n", status);
}

/// Drawn once for each layout that is built.
void ViewServer::Inside::sendGraph(net::HTTPServerRequest& request, net::HTTPServerResponse& response) {
    std::string text;
    {
        const ViewHub::Layout layout(hub_);
        if (!layout.get())
            return refuse(request, response, Status::HTTP_SERVICE_UNAVAILABLE, "nothing is built");
        text = layout.get()->graph;
    }
    std::string drawing;
    {
        const std::lock_guard lock(drawingMutex_);
        if (drawnGraph_ != text) {
            drawing_ = drawGraph(text, "svg");
            drawnGraph_ = text;
        }
        drawing = drawing_;
    }
    send(request, response, "image/svg+xml", drawing);
}

void ViewServer::Inside::sendLayout(net::HTTPServerRequest& request, net::HTTPServerResponse& response) {
    std::string text;
    {
        const ViewHub::Layout layout(hub_);
        if (!layout.get())
            return refuse(request, response, Status::HTTP_SERVICE_UNAVAILABLE, "nothing is built");
        // A file that goes with the program is named without its folder.
        text = writeLayout(layout.get()->builder.capture(layout.get()->temporaryFolder));
    }
    response.set("Content-Disposition", "attachment; filename=\"layout.json\"");
    send(request, response, "application/json", text);
}

/// While it is written, as far as it has come.
void ViewServer::Inside::sendResult(const std::string& index, net::HTTPServerRequest& request,
                                    net::HTTPServerResponse& response) {
    std::string file;
    {
        const ViewHub::Layout layout(hub_);
        std::size_t number = 0;
        const auto [end, error] = std::from_chars(index.data(), index.data() + index.size(), number);
        const bool isNumber = error == std::errc() && end == index.data() + index.size();
        if (layout.get() && isNumber && number < layout.get()->results.size())
            file = layout.get()->results[number];
    }
    std::error_code unknown;
    const std::string part = file + ".part";
    const std::string& there = std::filesystem::is_regular_file(part, unknown) ? part : file;
    if (file.empty() || !std::filesystem::is_regular_file(there, unknown))
        return refuse(request, response, Status::HTTP_NOT_FOUND, "there is no result of that number yet");
    response.set("Content-Disposition", "attachment; filename=\"" + nameOf(file) + "\"");
    std::ifstream in(there, std::ios::binary);
    response.setContentType("application/octet-stream");
    response.setChunkedTransferEncoding(true);
    std::ostream& out = response.send();
    if (request.getMethod() != net::HTTPRequest::HTTP_HEAD && in.peek() != std::ifstream::traits_type::eof())
        out << in.rdbuf();
}

void ViewServer::Inside::servePage(net::HTTPServerRequest& request, net::HTTPServerResponse& response) {
    if (hub_.pages() >= kMostPages)
        return refuse(request, response, Status::HTTP_SERVICE_UNAVAILABLE,
                      std::to_string(kMostPages) + " pages are open, no more are served");
    try {
        net::WebSocket socket(request, response);
        {
            const std::lock_guard lock(mutex_);
            pages_.push_back(&socket);
        }
        struct Leave {
            Inside& inside;
            net::WebSocket& socket;
            ~Leave() {
                const std::lock_guard lock(inside.mutex_);
                std::erase(inside.pages_, &socket);
                inside.left_.notify_all();
            }
        } leave{*this, socket};
        PageConnection(socket, hub_, mustEnd_).serve();
    } catch (const net::WebSocketException& wrong) {
        if (!response.sent()) refuse(request, response, Status::HTTP_BAD_REQUEST, wrong.message());
    }
}

/// Pages take leave within a moment; one that takes nothing is cut off.
void ViewServer::Inside::endPages() {
    std::unique_lock lock(mutex_);
    left_.wait_for(lock, kLeave, [this] { return pages_.empty(); });
    for (net::WebSocket* socket : pages_) ::shutdown(socket->impl()->sockfd(), SHUT_RDWR);
}

ViewServer::ViewServer(const ViewServerOptions& options, ViewHub& hub, PageFiles files)
    : inside_(std::make_unique<Inside>(options, hub, std::move(files))) {}

ViewServer::~ViewServer() = default;

unsigned short ViewServer::port() const { return inside_->server.port(); }

std::string ViewServer::url() const {
    const bool isSix = inside_->address.find(':') != std::string::npos;
    const std::string& token = inside_->access.token();
    return "http://" + (isSix ? "[" + inside_->address + "]" : inside_->address) + ":" +
           std::to_string(port()) + "/" + (token.empty() ? "" : "?token=" + token);
}

}  // namespace Kavelin::Cli
