#pragma once

#include <Kavelin/Core/FlowManager.h>

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <vector>

#include "cli/layout/LayoutBuilder.h"
#include "cli/layout/RoundGate.h"
#include "cli/view/LayoutCounters.h"
#include "cli/view/PropertyBoard.h"
#include "cli/view/TapBoard.h"
#include "cli/view/ViewRequest.h"

namespace Kavelin::Cli {

/// What runs, once it is built: everything of it that pages see and change.
struct WatchedLayout {
    /// @param builder borrowed
    /// @param temporaryFolder as ViewedRun has it
    WatchedLayout(const LayoutBuilder& builder, std::string title, std::string temporaryFolder = {});

    const std::string title;
    const std::string temporaryFolder;
    const LayoutBuilder& builder;
    const std::vector<Core::Filter*> filters;
    const bool isLive, canBeRepeated;
    const std::vector<std::string> results;
    const std::string graph;
    TapBoard taps;
    PropertyBoard properties;
    LayoutCounters counters;  // guarded by the hub's status mutex
};

/// Who runs the layout: what pages may ask of it.
class ViewRunner {
public:
    virtual ~ViewRunner() = default;
    /// Ends the run, builds it anew and begins at its start.  [any thread]
    virtual void restart() = 0;
    struct Progress {
        std::uint64_t rows = 0;
        double share = 0.0;  ///< 0 to 1, NaN where it is not known
    };
    virtual Progress progress() = 0;
};

/// Where the run and the pages meet. It outlives what is built: a restart removes that and installs another.  [any thread]
class ViewHub {
public:
    /// All borrowed.
    ViewHub(RoundGate& gate, ViewRunner& runner) : gate_(gate), runner_(runner) {}

    // For the runner
    void install(std::unique_ptr<WatchedLayout> layout);
    /// Waits for pages that look at it.
    void remove();
    /// Writes to what is installed what pages have written before.
    void repeatWrites();
    /// @param at stream time of an error, s
    void tell(bool isError, const std::string& text, const std::string& filter = {}, double at = 0.0);
    /// The state may have changed: pages are told at once.
    void stateChanged() { isStale_.store(true); }

    // For pages
    class Page;
    /// What is installed, kept from removal as long as this lives; null while it is being built.
    class Layout {
    public:
        explicit Layout(ViewHub& hub) : lock_(hub.structure_), layout_(hub.layout_.get()) {}
        WatchedLayout* get() const { return layout_; }

    private:
        std::shared_lock<std::shared_mutex> lock_;
        WatchedLayout* layout_;
    };
    unsigned pages() const { return pages_.load(); }

private:
    struct Write {
        std::string filter, property, text;
    };

    std::string layoutText(WatchedLayout& layout) const;
    std::string statusText(WatchedLayout* layout, std::uint64_t& seen);
    void noteWrite(Write write);
    void transport(ViewAction action, const WatchedLayout* layout);

    RoundGate& gate_;
    ViewRunner& runner_;
    std::atomic<unsigned> pages_{0};

    mutable std::shared_mutex structure_;
    std::unique_ptr<WatchedLayout> layout_;
    std::atomic<std::uint64_t> generation_{0};

    std::mutex messagesMutex_;
    std::deque<std::string> messages_;
    std::uint64_t messagesLost_ = 0;  // those before the first that is kept

    std::mutex statusMutex_;
    std::string status_;
    std::uint64_t statuses_ = 0;
    LayoutCounters::Clock::time_point statusAt_{};
    std::atomic<bool> isStale_{true};

    std::mutex writesMutex_;
    std::vector<Write> writes_;
};

/// One page: what it has seen, and what is new for it.  [one thread]
class ViewHub::Page final : private ViewTarget {
public:
    explicit Page(ViewHub& hub);
    ~Page() override;
    Page(const Page&) = delete;
    Page& operator=(const Page&) = delete;

    /// The messages that are due now, in their order.
    std::vector<std::string> due();
    ViewAnswer answer(std::string_view message) { return answerViewMessage(message, *this); }

private:
    void watch(const std::vector<std::string>& pins) override;
    void write(const std::string& filter, const std::string& property, const std::string& value) override;
    void command(const std::string& filter, const std::string& property) override;
    void transport(ViewAction action) override;
    void setPace(double pace) override;

    void meet(WatchedLayout& layout, std::vector<std::string>& messages);

    ViewHub& hub_;
    bool isGreeted_ = false;
    std::uint64_t generation_ = 0;  // whose layout it knows; 0: none
    std::uint64_t changes_ = 0, messages_ = 0, statuses_ = 0;
    std::vector<std::string> pins_;
    WatchList list_;
};

}  // namespace Kavelin::Cli
