#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "cli/CommandContext.h"
#include "cli/layout/LayoutRun.h"
#include "cli/view/ViewHub.h"

namespace Kavelin::Cli {

/// Something that is built, and can be run once.
class ViewedRun {
public:
    virtual ~ViewedRun() = default;
    virtual const LayoutBuilder& builder() const = 0;
    /// The folder of files that go with the program; empty: none.
    virtual std::string temporaryFolder() const { return {}; }
    /// Tells pages what the run reports in the end.
    using Tell = std::function<void(const std::string& text, bool isError)>;
    /// Runs to the end, reports, sets the exit status.
    virtual void run(RoundGate& gate, RunWatcher& watcher, const Tell& tell) = 0;
};

/// Runs what is viewed in a thread of its own, again after each restart, until it is told to quit.
class ViewSession final : public ViewRunner, private RunWatcher {
public:
    /// Builds something to run.  @throws what prevents it
    using Maker = std::function<std::unique_ptr<ViewedRun>()>;

    /// Makes the first; nothing runs yet.
    /// @param pace of what is not live
    ViewSession(Maker make, std::string title, double pace, CommandContext& context);
    ~ViewSession() override;
    ViewSession(const ViewSession&) = delete;
    ViewSession& operator=(const ViewSession&) = delete;

    ViewHub& hub() { return hub_; }

    void start();
    /// Returns after `quit`, when the run has ended and its files are complete.
    void wait();
    /// [any thread]
    void quit();

    void restart() override;
    Progress progress() override;

private:
    void runAll();
    void runOnce();
    bool buildAgain();
    void install();
    bool awaitRestart();
    void endRun();

    void begins(LayoutRun& run) override;
    void ends() override;
    void rowBegins(const Core::LayoutManager& layout) override;
    void failed(const Core::ProcessError& error, const std::string& line) override;
    void said(const std::string& text, bool isError) override;
    void print(const std::string& text);

    const Maker make_;
    const std::string title_;
    CommandContext& context_;
    RoundGate gate_;
    ViewHub hub_;
    std::unique_ptr<ViewedRun> viewed_;
    std::thread thread_;
    std::mutex printMutex_;

    std::atomic<std::uint64_t> rows_{0};
    std::atomic<double> share_;
    std::atomic<bool> wantsShare_{true};

    std::mutex mutex_;  // guards what follows
    std::condition_variable changed_;
    LayoutRun* running_ = nullptr;
    bool mustQuit_ = false, mustRestart_ = false, isOver_ = false;
};

}  // namespace Kavelin::Cli
