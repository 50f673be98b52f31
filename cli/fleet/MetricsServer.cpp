#include "cli/fleet/MetricsServer.h"

#include <Kavelin/Core/ErrorLog.h>
#include <Poco/Net/HTTPRequestHandler.h>
#include <Poco/Net/HTTPRequestHandlerFactory.h>
#include <Poco/Net/HTTPServer.h>
#include <Poco/Net/HTTPServerRequest.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/ServerSocket.h>

#include <mutex>

#include "cli/CommandContext.h"

namespace Kavelin::Cli {

namespace net = Poco::Net;

namespace {

/// The text that is served, shared with the handlers' threads.
struct Served {
    std::mutex mutex;
    std::string text;
};

struct Handler : net::HTTPRequestHandler {
    explicit Handler(Served& given) : served(given) {}
    void handleRequest(net::HTTPServerRequest& request, net::HTTPServerResponse& response) override {
        const std::string path = request.getURI().substr(0, request.getURI().find('?'));
        std::string text = "see /metrics\n";
        const std::string& method = request.getMethod();
        if (method != net::HTTPRequest::HTTP_GET && method != net::HTTPRequest::HTTP_HEAD) {
            response.setStatusAndReason(net::HTTPResponse::HTTP_METHOD_NOT_ALLOWED);
            response.set("Allow", "GET, HEAD");
        } else if (path == "/metrics") {
            const std::lock_guard lock(served.mutex);
            text = served.text;
        } else {
            response.setStatusAndReason(net::HTTPResponse::HTTP_NOT_FOUND);
        }
        response.setContentType("text/plain; version=0.0.4; charset=utf-8");
        response.sendBuffer(text.data(), text.size());
    }
    Served& served;
};

struct Factory : net::HTTPRequestHandlerFactory {
    explicit Factory(Served& given) : served(given) {}
    net::HTTPRequestHandler* createRequestHandler(const net::HTTPServerRequest&) override {
        return new Handler(served);
    }
    Served& served;
};

net::ServerSocket listening(const std::string& address) {
    try {
        return net::ServerSocket(net::SocketAddress(address));
    } catch (const Poco::Exception& error) {
        throw UsageError("--metrics " + address + ": cannot listen there: " + Core::exceptionMessage(error) +
                         "; ADDRESS:PORT is expected");
    }
}

net::HTTPServerParams::Ptr fewThreads() {
    net::HTTPServerParams::Ptr parameters = new net::HTTPServerParams;
    parameters->setMaxThreads(16);  // connections that say nothing hold one each for a while
    parameters->setKeepAlive(false);
    parameters->setTimeout(Poco::Timespan(5, 0));
    return parameters;
}

}  // namespace

class MetricsServer::Inside {
public:
    explicit Inside(const std::string& address)
        : server(new Factory(served), listening(address), fewThreads()) {
        server.start();
    }
    ~Inside() { server.stopAll(true); }

    Served served;
    net::HTTPServer server;
};

MetricsServer::MetricsServer(const std::string& address) : inside_(std::make_unique<Inside>(address)) {}
MetricsServer::~MetricsServer() = default;

void MetricsServer::set(std::string text) {
    const std::lock_guard lock(inside_->served.mutex);
    inside_->served.text = std::move(text);
}

std::string MetricsServer::url() const {
    return "http://" + inside_->server.socket().address().toString() + "/metrics";
}

}  // namespace Kavelin::Cli
