#include "cli/graph/GraphDrawing.h"

#include <Poco/Exception.h>
#include <Poco/Pipe.h>
#include <Poco/PipeStream.h>
#include <Poco/Process.h>
#include <Poco/StreamCopier.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <thread>

namespace Kavelin::Cli {

namespace {

/// Of the child process where there is no such program.
constexpr int kCannotStart = 72;

/// A program that is missing, or exits early, must not end this one. For the calling thread alone.
class PipeEndsQuietly {
public:
    PipeEndsQuietly() {
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
    }
    ~PipeEndsQuietly() {
        const timespec now{};
        sigtimedwait(&pipe_, nullptr, &now);
        pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }
    PipeEndsQuietly(const PipeEndsQuietly&) = delete;
    PipeEndsQuietly& operator=(const PipeEndsQuietly&) = delete;

private:
    sigset_t pipe_{}, before_{};
};

/// Ends a process that takes too long.
class TimeLimit {
public:
    explicit TimeLimit(const Poco::ProcessHandle& process)
        : watcher_([this, id = process.id()] {
              std::unique_lock lock(mutex_);
              if (!ended_.wait_for(lock, kLongestDrawing, [this] { return isOver_; })) ::kill(id, SIGKILL);
          }) {}
    ~TimeLimit() {
        {
            const std::lock_guard lock(mutex_);
            isOver_ = true;
        }
        ended_.notify_all();
        watcher_.join();
    }
    TimeLimit(const TimeLimit&) = delete;
    TimeLimit& operator=(const TimeLimit&) = delete;

private:
    static constexpr std::chrono::seconds kLongestDrawing{60};

    std::mutex mutex_;
    std::condition_variable ended_;
    bool isOver_ = false;
    std::thread watcher_;
};

/// Graphviz puts a group of its own, with an id of its own, around each cell that is a link.
std::string withOwnIds(std::string svg) {
    for (const std::string kind : {"pin", "input"}) {
        const std::string given = "id=\"a_" + kind + ".";
        for (std::size_t at = 0; (at = svg.find(given, at)) != std::string::npos;) svg.erase(at + 4, 2);
    }
    return svg;
}

}  // namespace

std::string drawGraph(const std::string& graph, const std::string& format) {
    const PipeEndsQuietly guard;
    Poco::Pipe in, out;
    const Poco::ProcessHandle dot = Poco::Process::launch("dot", {"-q", "-T" + format}, &in, &out, nullptr);
    const TimeLimit limit(dot);
    try {
        Poco::PipeOutputStream text(in);
        text << graph;
        text.close();
    } catch (const Poco::IOException&) {
        // It ended before it had read everything: its status says why.
    }
    std::string picture;
    Poco::PipeInputStream drawn(out);
    Poco::StreamCopier::copyToString(drawn, picture);
    const int status = dot.wait();
    if (status == kCannotStart)
        throw Poco::WriteFileException(
            "the graph cannot be drawn: graphviz is not installed; its text can be written");
    if (status != 0 || picture.empty()) throw Poco::WriteFileException("graphviz could not draw the graph");
    return format == "svg" ? withOwnIds(std::move(picture)) : picture;
}

}  // namespace Kavelin::Cli
