#pragma once

#include <Kavelin/Core/ErrorLog.h>
#include <Kavelin/Core/PluginManager.h>
#include <Kavelin/Core/Source.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace Kavelin::Core {

/// Runs a group of filters, in one thread of its own or in the caller's.
///
/// It works in rounds: the sources whose next time stamp is smallest are called, then every other filter, in
/// the order of the connections, for as long as it has unread samples and a call takes some. So all that one
/// source row brings reaches a filter before it is called. A connection back to a filter that stands earlier
/// in the list is read in the next round. A filter with an empty synchronous pin is not called.
class KAVELIN_API LayoutManager : public NamedObject {
public:
    using RoundHook = std::function<void(double timeStamp)>;

    explicit LayoutManager(const std::string& name);
    /// Stops, waits, and releases the filters.
    ~LayoutManager() override;

    /// Takes a filter in, lent or owned.
    /// @throws Poco::IllegalStateException while the layout's thread runs; Poco::ExistsException when it is
    /// in a layout already, or another filter here has its name.
    void add(Filter& filter);
    Filter& add(FilterPtr filter);
    /// Lets a filter go (an owned one is destroyed).  @throws Poco::IllegalStateException while the thread
    /// runs.
    void remove(Filter& filter);
    const std::vector<Filter*>& getFilters() const { return filters_; }
    /// Filter by name, null when there is none.
    Filter* findFilter(const std::string& filterName) const;

    /// The filters in the order in which a round calls them.
    std::vector<Filter*> getCallOrder();

    // In the caller's thread
    // -------------------------------------------------------------------------------------
    /// Calls the sources that are next, if any, and then every filter that has something to take.
    /// @return false when nothing was taken and no source was called.
    bool runRound();
    /// The same without the sources.
    bool runPending();
    /// Rounds until the sources are at their end and nothing is left to take, or a stop.
    void runToEnd();

    // In a thread of its own
    // -------------------------------------------------------------------------------------
    /// Starts the thread.  @throws Poco::IllegalStateException while it runs.
    void start();
    /// Asks the thread to end after the filter that it is calling; wakes it wherever it waits.  [any thread]
    void stop();
    /// Whether `stop`, or a failure with `setStopOnError`, ended the last run.
    bool wasStopped() const { return stopRequested_.load(); }
    /// Waits for the thread's end.
    void wait();
    bool isRunning() const { return running_.load(); }
    /// Whether the last run is over; false before the first. What feeds on this layout ends only after it.
    bool hasEnded() const { return ended_->load(); }

    // Sources
    // ----------------------------------------------------------------------------------------------------
    /// The smallest next time stamp of the sources that are not at their end.  [layout thread, or while not
    /// running]
    std::optional<double> nextTimeStamp();
    bool hasSources();
    /// Called before each source round, in the thread that runs the layout, with the round's time stamp.
    void setRoundHook(RoundHook hook) { roundHook_ = std::move(hook); }

    // Failures
    // ---------------------------------------------------------------------------------------------------
    ErrorLog& getErrors() { return errors_; }
    /// Whether the first exception out of a `process` ends the run.
    void setStopOnError(bool stop) { stopOnError_ = stop; }

private:
    friend class AbstractInputPin;
    friend class AbstractOutputPin;
    friend class Filter;
    friend class FilterDeleter;
    friend class FlowManager;
    friend class PinManager;

    struct Entry {
        Filter* filter;
        Synchronizer* synchronizer;
        bool fedFromElsewhere;
    };
    struct SourceEntry {
        Filter* filter;
        Source* source;
        bool failed;
    };
    struct Feed {  // a connection into another layout
        Synchronizer* writer;
        AbstractInputPin* input;
        LayoutManager* reader;
    };

    void requireNotRunning(const char* what) const;
    void detach(Filter& filter);
    void forget(Filter& filter);

    void refreshPlan();
    void rebuildPlan();
    std::vector<std::size_t> planCallOrder() const;
    void planInputs(std::size_t position);
    void planFeeds(Filter& filter);
    void markReady(std::size_t position);

    bool callSources();
    bool callReady();
    bool serve(Entry& entry);
    static bool hasUnread(const Filter& filter);
    static bool canTake(const Filter& filter);
    bool callGuarded(Filter& filter);
    void noteFailure(const Filter& filter, const std::exception& error);
    bool isInterrupted() const { return stopRequested_.load(std::memory_order_relaxed); }

    void beginRun(bool mayWait);
    void launch();
    void runThread();
    bool isFedByNobody() const;
    bool canStillBeFed() const;
    void endWaitsForNothing();
    void sleepUntilFed();
    bool isOverfed();
    bool waitForRoom();
    void wakeReaders();
    void noteFed();
    void noteTopologyChange();
    void wake();

    std::vector<Filter*> filters_;
    std::vector<FilterPtr> owned_;

    // The plan: made anew when connections change, otherwise touched by nobody but the thread that runs the
    // layout.
    std::vector<Entry> plan_;           // filters that are no sources, in call order
    std::vector<std::uint64_t> ready_;  // a bit for each of plan_: it may have something to take
    std::vector<SourceEntry> sources_;
    std::vector<Feed> feeds_;
    std::vector<std::shared_ptr<const std::atomic<bool>>>
        upstream_;                 // has it ended? for each layout that feeds this
    bool fedFromOutside_ = false;  // some input pin is fed by a filter that is in no layout

    std::atomic<bool> planStale_{true};
    std::atomic<bool> fed_{false};
    std::atomic<bool> sleeping_{false};
    std::atomic<int> waitingReaders_{0};  // filters that wait for data inside process
    std::atomic<bool> stopRequested_{false};
    std::atomic<bool> running_{false};
    std::shared_ptr<std::atomic<bool>> ended_ = std::make_shared<std::atomic<bool>>(false);

    std::mutex sleepMutex_;
    std::condition_variable wakeUp_;
    std::thread thread_;
    RoundHook roundHook_;
    double roundTime_ = 0.0;
    ErrorLog errors_;
    bool stopOnError_ = false;
};

}  // namespace Kavelin::Core
