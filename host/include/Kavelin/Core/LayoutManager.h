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

class Bell;

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
    /// Starts the thread. The layout takes what other threads send as it comes, a round of another layout
    /// perhaps in parts, and a reader waits for data as its connections say; for a run whose results do not
    /// depend on the threads, see FlowManager. It ends when its sources, or all the layouts that have fed
    /// it, have ended; with neither, when it is stopped.  @throws Poco::IllegalStateException while it runs.
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
    /// The same for the rounds that reach it from other layouts in a FlowManager's run with threads.
    void setFedRoundHook(RoundHook hook) { fedRoundHook_ = std::move(hook); }

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
    friend class Lane;
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
    struct Feeder {  // a layout that feeds this
        const LayoutManager* layout;
        std::shared_ptr<const std::atomic<bool>> ended;
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
    static void noteFeeder(std::vector<Feeder>& feeders, const LayoutManager& layout);
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
    void endRun();
    void launch(std::function<void()> run);
    void enterLane(std::shared_ptr<Bell> bell);
    void runThread();
    static bool nothingCanCome(const std::vector<LayoutManager*>& group, bool staysOpen);
    bool hasNews() const { return fed_.load() || planStale_.load(); }
    void setIsSleeping(bool sleeping) { sleeping_.store(sleeping); }
    void beforeFedRound(double timeStamp);
    bool canStillBeFed() const;
    void updateWaits();
    void sleepUntilFed();
    bool isOverfed();
    bool waitForRoom();
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
    std::vector<Feeder> feeders_;        // the layouts that feed this
    std::vector<Feeder> formerFeeders_;  // all that have, since the run began
    bool fedFromOutside_ = false;        // some input pin is fed by a filter that is in no layout

    std::atomic<bool> planStale_{true};
    std::atomic<bool> fed_{false};
    std::atomic<bool> sleeping_{false};
    std::atomic<int> waitingReaders_{0};  // filters that wait for data inside process
    std::atomic<bool> stopRequested_{false};
    std::atomic<bool> running_{false};
    std::shared_ptr<std::atomic<bool>> ended_ = std::make_shared<std::atomic<bool>>(false);

    std::mutex sleepMutex_;
    std::condition_variable wakeUp_;
    std::shared_ptr<Bell> bell_;  // of the lane that runs this, guarded by sleepMutex_
    std::thread thread_;
    RoundHook roundHook_;
    RoundHook fedRoundHook_;
    double roundTime_ = 0.0;
    ErrorLog errors_;
    bool stopOnError_ = false;
};

}  // namespace Kavelin::Core
