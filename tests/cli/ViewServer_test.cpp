#include "cli/view/ViewServer.h"

#include <Kavelin/Core/Plugin.h>
#include <Kavelin/Core/Source.h>
#include <Kavelin/Typed/FilterFactory.h>
#include <Kavelin/Typed/FilterKit.h>
#include <Poco/Buffer.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/NetException.h>
#include <Poco/Net/WebSocket.h>
#include <Poco/StreamCopier.h>

#include <nlohmann/json.hpp>

#include "cli/view/ViewSession.h"
#include "cli/view/ViewedRuns.h"
#include "support/TemporaryFolder.h"
#include "support/TestKit.h"

namespace Kavelin::Cli {
namespace {

using namespace Tests;
using namespace OrientationInternal;
using nlohmann::json;
namespace net = Poco::Net;

constexpr int kRows = 20000;

/// Sends its row's number, a row a second.
class ViewSource : public Filter, public Core::Source {
public:
    static constexpr const char* kTypeName = "ViewSource";
    explicit ViewSource(const std::string& name) : Filter(name, true) {}
    std::string typeName() const override { return kTypeName; }
    void process() override {
        out_.value()(0, 0) = sent_;
        out_.send(sent_++);
    }
    double nextTimeStamp() const override { return sent_; }
    bool atEnd() const override { return sent_ == kRows; }

private:
    OutputPin<Matrix> out_{"out", this, Matrix::Zero(1, 1)};
    FileNameProperty file_{"File Name", this, "", "*.csv"};
    int sent_ = 0;
};

/// Sends what it takes, times "Gain"; of a gain of 0 it raises.
class ViewGain : public Filter {
public:
    static constexpr const char* kTypeName = "ViewGain";
    explicit ViewGain(const std::string& name) : Filter(name, true) {}
    std::string typeName() const override { return kTypeName; }
    void process() override {
        if (!in_.readNext()) return;
        if (gain_.value() == 0) throw Poco::RuntimeException("nothing comes of a gain of 0");
        out_.value() = gain_.value() * in_.value();
        out_.send(in_.lastTimeStamp());
    }

private:
    InputPin<Matrix> in_{"in", this};
    OutputPin<Matrix> out_{"out", this, Matrix::Zero(1, 1)};
    RangeProperty<int> gain_{"Gain", this, {.minimum = 0, .maximum = 10, .step = 1, .value = 2, .unit = "m"}};
    CommandProperty three_{"Three", this, handler(this, &ViewGain::onThree)};
    void onThree() { gain_.set(3); }
};

struct ViewPlugin : Core::DefaultPlugin {
    ViewPlugin() : DefaultPlugin("ViewPlugin", "1.0") {
        addFactory(std::make_unique<Core::FilterFactory<ViewSource>>(*this));
        addFactory(std::make_unique<Core::FilterFactory<ViewGain>>(*this));
        Core::FlowManager::instance().getPluginManager().installPlugin(*this);
    }
    ~ViewPlugin() override { Core::FlowManager::instance().getPluginManager().uninstallPlugin(*this); }
};

/// A page, as a program.
class Client {
public:
    explicit Client(unsigned short port, const std::string& query = "")
        : session_("127.0.0.1", port),
          request_(net::HTTPRequest::HTTP_GET, "/live" + query, "HTTP/1.1"),
          socket_(session_, request_, response_) {
        socket_.setReceiveTimeout(Poco::Timespan(60, 0));
    }

    /// The next message of a type for which `isMeant` holds.
    template <class Test>
    json await(const std::string& type, const Test& isMeant) {
        while (true) {
            Poco::Buffer<char> frame(0);
            int flags = 0;
            socket_.receiveFrame(frame, flags);
            if ((flags & net::WebSocket::FRAME_OP_BITMASK) != net::WebSocket::FRAME_OP_TEXT)
                throw std::runtime_error("closed while waiting for " + type);
            const json message = json::parse(std::string(frame.begin(), frame.size()));
            if (message["type"] == type && isMeant(message)) return message;
        }
    }
    json await(const std::string& type) {
        return await(type, [](const json&) { return true; });
    }
    /// Asks, and returns the text of the refusal; empty where it was done.
    std::string ask(json request) {
        request["id"] = ++id_;
        send(request.dump());
        const json reply = await("reply", [&](const json& one) { return one["id"] == id_; });
        return reply.value("text", "");
    }
    std::string transport(const char* action) { return ask({{"do", "transport"}, {"action", action}}); }
    std::string write(const std::string& property, const std::string& value, const char* filter = "gain") {
        return ask({{"do", "write"}, {"filter", filter}, {"property", property}, {"value", value}});
    }
    json awaitRows(int rows) {
        return await("status", [&](const json& status) { return status["rows"] == rows; });
    }
    double value(const char* pin = "gain:out") {
        return await("samples",
                     [&](const json& message) { return message["pins"].contains(pin); })["pins"][pin]["v"][0];
    }
    void send(const std::string& text, int flags = net::WebSocket::FRAME_TEXT) {
        socket_.sendFrame(text.data(), static_cast<int>(text.size()), flags);
    }
    /// The status with which the server closes the connection.
    int awaitClose() {
        while (true) {
            Poco::Buffer<char> frame(0);
            int flags = 0;
            if (socket_.receiveFrame(frame, flags) < 2) return 0;
            if ((flags & net::WebSocket::FRAME_OP_BITMASK) == net::WebSocket::FRAME_OP_CLOSE)
                return static_cast<unsigned char>(frame[0]) * 256 + static_cast<unsigned char>(frame[1]);
        }
    }

private:
    net::HTTPClientSession session_;
    net::HTTPRequest request_;
    net::HTTPResponse response_;
    net::WebSocket socket_;
    int id_ = 0;
};

class ViewServerTest : public testing::Test {
protected:
    ViewServerTest() {
        LayoutFileRunOptions layout;
        layout.layout.file = folder.write("l.json", R"({"plugins": [], "layouts": [
            {"name": "a", "filters": [{"name": "source", "type": "ViewSource"}]},
            {"name": "b", "filters": [{"name": "gain", "type": "ViewGain"}]}],
            "connections": [{"from": "source:out", "to": "gain:in"}]})");
        session =
            std::make_unique<ViewSession>(makeLayoutRuns(layout, context), "l.json", kFullPace, context);
        server = std::make_unique<ViewServer>(options, session->hub(), PageFiles(folder.path("")));
    }
    ~ViewServerTest() override {
        server.reset();
        session.reset();
    }
    /// The run, paused before its first row.
    void startPaused(Client& page) {
        ASSERT_EQ(page.transport("pause"), "");
        session->start();
    }
    int status(const std::string& path, const std::map<std::string, std::string>& headers = {},
               std::string* body = nullptr) {
        net::HTTPClientSession client("127.0.0.1", server->port());
        net::HTTPRequest request(net::HTTPRequest::HTTP_GET, path, "HTTP/1.1");
        for (const auto& [name, value] : headers) request.set(name, value);
        client.sendRequest(request);
        net::HTTPResponse response;
        std::string text;
        Poco::StreamCopier::copyToString(client.receiveResponse(response), text);
        if (body) *body = text;
        return response.getStatus();
    }

    const ViewPlugin plugin;
    const TemporaryFolder folder;
    std::istringstream in;
    std::ostringstream out, err;
    CommandContext context{in, out, err};
    ViewServerOptions options{.port = 0, .token = {}};
    std::unique_ptr<ViewSession> session;
    std::unique_ptr<ViewServer> server;
};

TEST_F(ViewServerTest, APageSeesTheLayoutAndStepsThroughItRowByRow) {
    Client page(server->port());
    EXPECT_EQ(page.await("hello")["protocol"], 1);
    const json layout = page.await("layout");
    EXPECT_EQ(layout["layouts"],
              (json{{{"name", "a"}, {"filters", {"source"}}}, {{"name", "b"}, {"filters", {"gain"}}}}));
    EXPECT_EQ(layout["connections"], (json{{{"from", "source:out"}, {"to", "gain:in"}}}));
    EXPECT_EQ(layout["filters"][1]["properties"][0], (json{{"name", "Gain"},
                                                           {"kind", "int"},
                                                           {"writable", true},
                                                           {"enabled", true},
                                                           {"minimum", 0},
                                                           {"maximum", 10},
                                                           {"step", 1},
                                                           {"unit", "m"},
                                                           {"value", "2"},
                                                           {"default", "2"}}));
    startPaused(page);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(page.transport("step"), "");
    page.awaitRows(3);
    EXPECT_EQ(page.ask({{"do", "watch"}, {"pins", {"gain:out"}}}), "");
    EXPECT_EQ(page.value(), 2 * 2) << "the sample of the third row, though no further one comes";
    EXPECT_EQ(page.await("status")["rows"], 3);
    page.transport("step");
    EXPECT_EQ(page.value(), 2 * 3);
    page.transport("continue");
    const json last = page.await("status", [](const json& status) { return status["state"] == "ended"; });
    EXPECT_EQ(last["rows"], kRows);
    EXPECT_EQ(last["inputs"]["gain:in"]["count"], kRows);
    EXPECT_EQ(last["outputs"]["gain:out"]["count"], kRows);
    EXPECT_EQ(page.transport("step"), "the run has ended: restart it");
}

TEST_F(ViewServerTest, WhatOnePageWritesTheOtherSees) {
    Client page(server->port()), other(server->port());
    startPaused(page);
    other.await("layout");
    EXPECT_EQ(other.ask({{"do", "watch"}, {"pins", {"gain:out"}}}), "");
    const std::tuple<const char*, const char*, const char*, const char*> refused[] = {
        {"gain", "Gain", "11", "11 does not fit in [0;10], (step : 1)"},
        {"gain", "Gain", "x", "'x' is no int"},
        {"gain", "Gin", "1",
         "gain (ViewGain): no property is named \"Gin\"; did you mean \"Gain\"? Properties: Gain"},
        {"gian", "Gain", "1", "no filter is named \"gian\"; did you mean \"gain\"? Filters: source, gain"},
        {"source", "File Name", "/tmp/x.csv",
         "a file name cannot be given from a page: say --set source:File Name=FILE where kavelin is "
         "started"}};
    for (const auto& [filter, property, value, text] : refused)
        EXPECT_EQ(page.write(property, value, filter), text);
    EXPECT_EQ(page.write("Gain", "5"), "");
    const auto isGain = [](const char* value) {
        return [value](const json& message) { return message["property"]["value"] == value; };
    };
    EXPECT_EQ(other.await("property", isGain("5"))["filter"], "gain");
    page.transport("step"), page.transport("step");
    EXPECT_EQ(other.value(), 5);
    EXPECT_EQ(other.ask({{"do", "command"}, {"filter", "gain"}, {"property", "Three"}}), "");
    page.await("property", isGain("3"));
    EXPECT_EQ(page.write("Gain", "0"), "");
    page.transport("step");
    const json error = other.await("message");
    EXPECT_EQ(error["text"], "nothing comes of a gain of 0");
    EXPECT_EQ(error["filter"], "gain");
    EXPECT_EQ(error["at"], 2.0);
    EXPECT_THAT(err.str(), testing::HasSubstr("kavelin: b/gain at 2 s: nothing comes of a gain of 0\n"));
    page.write("Gain", "7");
    EXPECT_EQ(page.transport("restart"), "");
    const json again = other.await("layout");
    EXPECT_EQ(again["generation"], 2);
    EXPECT_EQ(page.await("layout")["generation"], 2);
    page.transport("step"), page.transport("step");
    page.awaitRows(2);
    EXPECT_EQ(other.value(), 7) << "what was written is written again, what was watched is watched on";
}

TEST_F(ViewServerTest, APageThatTakesNothingHoldsNothingUp) {
    const Client deaf(server->port());
    Client page(server->port());
    page.await("layout");
    EXPECT_EQ(page.ask({{"do", "watch"}, {"pins", {"source:out", "gain:out"}}}), "");
    session->start();
    const json last = page.await("status", [](const json& status) { return status["state"] == "ended"; });
    EXPECT_EQ(last["outputs"]["gain:out"]["count"], kRows);
    EXPECT_EQ(last["pages"], 2);
    session->quit();
    session->wait();
    EXPECT_EQ(context.status, kDone);
}

TEST_F(ViewServerTest, OnlyItsOwnPageIsServedAndWhatItAsksForIsBounded) {
    const std::string own = "127.0.0.1:" + std::to_string(server->port());
    EXPECT_EQ(status("/layout.json", {{"Host", own}, {"Origin", "http://" + own}}), 200);
    EXPECT_EQ(status("/layout.json", {{"Host", "elsewhere.example:" + std::to_string(server->port())}}), 403);
    EXPECT_EQ(status("/live", {{"Host", own}, {"Origin", "http://elsewhere.example"}}), 403);
    folder.write("secret", "");
    for (const char* path :
         {"/secret", "/app/../secret", "/app/%2e%2e/secret", "/results/0", "/results/-1", "//", "/%"})
        EXPECT_EQ(status(path), 404) << path;
    EXPECT_EQ(status("/live"), 400) << "no WebSocket";

    const auto closedBy = [&](const std::string& text, int flags) {
        Client page(server->port());
        page.send(text, flags);
        return page.awaitClose();
    };
    EXPECT_EQ(closedBy(std::string(kLongestViewMessage + 1, ' '), net::WebSocket::FRAME_TEXT), 1009);
    EXPECT_EQ(closedBy("{}", net::WebSocket::FRAME_BINARY), 1003);
    Client page(server->port());
    for (int i = 0; i < 20; ++i) page.send("no request");
    EXPECT_EQ(page.awaitClose(), 1008);
    std::vector<std::unique_ptr<Client>> pages;
    while (session->hub().pages() > 0) std::this_thread::yield();
    for (unsigned i = 0; i < kMostPages; ++i) {
        pages.push_back(std::make_unique<Client>(server->port()));
        pages.back()->await("hello");
    }
    EXPECT_THROW(Client(server->port()), net::WebSocketException);
}

TEST_F(ViewServerTest, ATokenIsAskedForAndKeptInACookie) {
    const std::string token = "abcdefghijklmnop";
    server = std::make_unique<ViewServer>(ViewServerOptions{.port = 0, .token = token}, session->hub(),
                                          PageFiles(folder.path("")));
    EXPECT_EQ(status("/layout.json"), 403);
    EXPECT_EQ(status("/layout.json?token=abcdefghijklmnoq"), 403);
    EXPECT_EQ(status("/layout.json?token=" + token), 200);
    EXPECT_EQ(status("/layout.json", {{"Cookie", "kavelin_token=" + token}}), 200);
    EXPECT_EQ(status("/layout.json", {{"Cookie", "kavelin_token="}}), 403);
    EXPECT_THROW(Client(server->port()), net::WebSocketException);
    EXPECT_EQ(Client(server->port(), "?token=" + token).await("hello")["protocol"], 1);
}

TEST(ViewAccess, ForeignNamesPagesAndAddressesAreRefused) {
    for (const auto& [address, token] : {std::pair("localhost", ""),
                                         {"0.0.0.0", ""},
                                         {"192.0.2.1", "tooshort"},
                                         {"127.0.0.1", "fifteen-letters"},
                                         {"127.0.0.1", "sixteen letters; x"}})
        EXPECT_THROW(ViewAccess(address, token), UsageError) << address << " " << token;
    const std::string token(16, 'x');
    struct Row {
        const char *address, *host, *origin;
        bool isServed;
    };
    for (const Row& row : {Row{"127.0.0.1", "localhost:1", "", true},
                           {"127.0.0.1", "[::1]:1", "http://[::1]:1", true},
                           {"127.0.0.1", "localhost:1", "http://localhost:2", false},
                           {"127.0.0.1", "localhost:1", "null", false},
                           {"127.0.0.1", "", "", false},
                           {"127.0.0.1", "localhost.evil.example", "", false},
                           {"127.0.0.1", "127.0.0.1:1.evil.example", "", false},
                           {"127.0.0.1", "[::1].evil.example", "", false},
                           {"127.0.0.1", "192.0.2.1:1", "", false},
                           {"192.0.2.1", "192.0.2.1:1", "", true},
                           {"0.0.0.0", "192.0.2.7:1", "", true},
                           {"0.0.0.0", "evil.example", "", false}})
        EXPECT_EQ(ViewAccess(row.address, token).refusal({row.host, row.origin, token, ""}).empty(),
                  row.isServed)
            << row.address << " " << row.host << " " << row.origin;
}

}  // namespace
}  // namespace Kavelin::Cli
