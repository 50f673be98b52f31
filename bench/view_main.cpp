// What `kavelin view` costs the layout, and how long a sample takes to a page.
#include <Kavelin/Core/Plugin.h>
#include <Kavelin/Core/Source.h>
#include <Kavelin/Typed/FilterFactory.h>
#include <Kavelin/Typed/FilterKit.h>
#include <Poco/Buffer.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/WebSocket.h>
#include <fmt/format.h>
#include <time.h>

#include <algorithm>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <thread>

#include "cli/Plugins.h"
#include "cli/view/ViewServer.h"
#include "cli/view/ViewSession.h"
#include "cli/view/ViewedRuns.h"
#include "support/TemporaryFolder.h"

namespace {

using namespace Kavelin;
using namespace Kavelin::Cli;
using namespace OrientationInternal;
using nlohmann::json;
namespace net = Poco::Net;

constexpr int kRows = 100000;
constexpr int kRepetitions = 15;

double now(clockid_t clock) {
    timespec time{};
    ::clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// A page that watches pins, and hands each message to a function.
class Page {
public:
    using Take = std::function<void(const json&)>;
    Page(unsigned short port, const std::vector<std::string>& pins, Take take)
        : session_("127.0.0.1", port),
          request_(net::HTTPRequest::HTTP_GET, "/live", "HTTP/1.1"),
          socket_(session_, request_, response_) {
        const std::string watch = json{{"do", "watch"}, {"id", 1}, {"pins", pins}}.dump();
        socket_.sendFrame(watch.data(), static_cast<int>(watch.size()));
        thread_ = std::jthread([this, take = std::move(take)](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                Poco::Buffer<char> frame(0);
                int flags = 0;
                if (socket_.receiveFrame(frame, flags) <= 0) return;
                if ((flags & net::WebSocket::FRAME_OP_BITMASK) != net::WebSocket::FRAME_OP_TEXT) return;
                take(json::parse(frame.begin(), frame.end()));
            }
        });
    }

private:
    net::HTTPClientSession session_;
    net::HTTPRequest request_;
    net::HTTPResponse response_;
    net::WebSocket socket_;
    std::jthread thread_;
};

struct Nobody final : ViewRunner {
    void restart() override {}
    Progress progress() override { return {}; }
};
struct Silent final : RunWatcher {
    void begins(LayoutRun&) override {}
    void ends() override {}
    void rowBegins(const Core::LayoutManager&) override { rows.fetch_add(1, std::memory_order_relaxed); }
    void failed(const Core::ProcessError&, const std::string&) override {}
    void said(const std::string&, bool) override {}
    std::atomic<std::uint64_t> rows{0};
};

enum class Watched { kNot, kByNobody, kByAPage };

/// s of the processor that the thread of the filters takes.
double runOnce(const ViewSession::Maker& make, Watched watched) {
    const std::unique_ptr<ViewedRun> run = make();
    RoundGate gate;
    Nobody nobody;
    Silent silent;
    ViewHub hub(gate, nobody);
    std::optional<ViewServer> server;
    std::atomic<bool> isWatching{false};
    std::optional<Page> page;
    if (watched != Watched::kNot) {
        hub.install(std::make_unique<WatchedLayout>(run->builder(), "bench"));
        server.emplace(ViewServerOptions{.port = 0, .token = {}}, hub, PageFiles(""));
    }
    if (watched == Watched::kByAPage) {
        page.emplace(server->port(),
                     std::vector<std::string>{"recording:3a", "recording:3g", "recording:3m",
                                              "estimator:attitude", "estimator:attitudeQ", "estimator:sigma",
                                              "estimator:flag_rest", "estimator:3g_bias"},
                     [&isWatching](const json& message) {
                         if (message["type"] != "reply") return;
                         isWatching = true;
                         isWatching.notify_all();
                     });
        isWatching.wait(false);
    }
    const double begin = now(CLOCK_THREAD_CPUTIME_ID);
    run->run(gate, silent, [](const std::string&, bool) {});
    const double taken = now(CLOCK_THREAD_CPUTIME_ID) - begin;
    server.reset();
    page.reset();
    hub.remove();
    return taken;
}

void measureCost(const Tests::TemporaryFolder& folder) {
    std::istringstream in;
    std::ostringstream out, err;
    CommandContext context{in, out, err};
    loadPlugins(context, {});
    FuseOptions options;
    options.type = "FilterSO3Attitude";
    options.quiet = true;
    options.recording = folder.path("rec.csv");
    {
        std::ofstream file(options.recording);
        file << "t,ax,ay,az,gx,gy,gz,mx,my,mz\n";
        for (int i = 0; i < kRows; ++i) {
            const double a = 0.01 * i;
            file << fmt::format("{:.2f},{:.4f},{:.4f},{:.4f},{:.4f},{:.4f},{:.4f},{:.2f},{:.2f},{:.2f}\n", a,
                                0.3 * std::sin(a), 0.2 * std::cos(1.3 * a), 9.8, 0.1 * std::cos(a),
                                0.1 * std::sin(1.3 * a), 0.05, 20 * std::cos(0.05 * a),
                                -20 * std::sin(0.05 * a), -40.0);
        }
    }
    const ViewSession::Maker make = makeFuseRuns(options, folder.path("result.csv"), context);
    std::vector<double> plain, nobody, page;
    for (int i = 0; i < kRepetitions; ++i) {
        const double without = runOnce(make, Watched::kNot);
        plain.push_back(without * 1e9 / kRows);
        nobody.push_back(runOnce(make, Watched::kByNobody) / without);
        page.push_back(runOnce(make, Watched::kByAPage) / without);
    }
    fmt::print("filters' thread, ns of processor time a row, without view: {:.0f}\n", median(plain));
    fmt::print("with view and no page: {:+.1f} %\n", 100 * (median(nobody) - 1));
    fmt::print("with a page that watches 8 pins: {:+.1f} %\n", 100 * (median(page) - 1));
}

/// Sends the time of the clock, 200 times a second at pace 1.
class ClockSource : public Filter, public Core::Source {
public:
    static constexpr const char* kTypeName = "ClockSource";
    explicit ClockSource(const std::string& name) : Filter(name, true) {}
    std::string typeName() const override { return kTypeName; }
    void process() override {
        out_.value()(0, 0) = now(CLOCK_MONOTONIC);
        out_.send(0.005 * sent_++);
    }
    double nextTimeStamp() const override { return 0.005 * sent_; }
    bool atEnd() const override { return sent_ == 4000; }

private:
    OutputPin<Matrix> out_{"out", this, Matrix::Zero(1, 1)};
    int sent_ = 0;
};

void measureLatency(const Tests::TemporaryFolder& folder) {
    Core::DefaultPlugin plugin("ClockPlugin", "1.0");
    plugin.addFactory(std::make_unique<Core::FilterFactory<ClockSource>>(plugin));
    Core::FlowManager::instance().getPluginManager().installPlugin(plugin);
    std::istringstream in;
    std::ostringstream out, err;
    CommandContext context{in, out, err};
    LayoutFileRunOptions options;
    options.layout.file = folder.write(
        "l.json",
        R"({"plugins": [], "layouts": [{"name": "l", "filters": [{"name": "clock", "type": "ClockSource"}]}]})");
    std::vector<double> waits;
    {
        ViewSession session(makeLayoutRuns(options, context), "clock", 1.0, context);
        ViewServer server({.port = 0, .token = {}}, session.hub(), PageFiles(""));
        const Page page(server.port(), {"clock:out"}, [&](const json& message) {
            if (message["type"] == "samples")
                waits.push_back(now(CLOCK_MONOTONIC) - message["pins"]["clock:out"]["v"][0].get<double>());
            if (message["type"] == "status" && message["state"] == "ended") session.quit();
        });
        session.start();
        session.wait();
    }
    Core::FlowManager::instance().getPluginManager().uninstallPlugin(plugin);
    std::sort(waits.begin(), waits.end());
    fmt::print("pin to page, ms: median {:.1f}, 95 % below {:.1f} ({} messages)\n", 1e3 * median(waits),
               1e3 * waits[waits.size() * 95 / 100], waits.size());
}

}  // namespace

int main() try {
    const Tests::TemporaryFolder folder;
    measureCost(folder);
    measureLatency(folder);
    return 0;
} catch (const Poco::Exception& error) {
    std::cerr << error.displayText() << "\n";
    return 1;
} catch (const std::exception& error) {
    std::cerr << error.what() << "\n";
    return 1;
}
