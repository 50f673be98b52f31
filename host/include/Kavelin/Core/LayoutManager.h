#pragma once

#include <Kavelin/Core/ErrorLog.h>
#include <Kavelin/Core/PluginManager.h>
#include <Kavelin/Core/Source.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Kavelin::Core {

struct Layout;

/// Runs a group of filters, in a thread of its own or in the caller's.
///
/// It works in rounds. A round calls the sources whose next time stamp is smallest, then every other filter,
/// in the order of the connections, for as long as it has unread samples and a call takes some. So everything
/// that one source row brings reaches a filter before it is called. Samples sent back to an earlier filter
/// are read in the next round. A filter with an empty synchronous pin is not called.
class KAVELIN_API LayoutManager : public NamedObject {
public:
    using RoundHook = std::function<void(double timeStamp)>;

    explicit LayoutManager(const std::string& name);
    /// Stops, waits, and releases the filters.
    ~LayoutManager() override;

    /// Takes a filter in, lent or owned.
    /// @throws Poco::IllegalStateException while the layout's thread runs; Poco::ExistsException when the
    /// filter is in a layout already, or another filter here has its name.
    void add(Filter& filter);
    Filter& add(FilterPtr filter);
    /// Releases a filter; an owned one is destroyed.
    /// @throws Poco::IllegalStateException while the layout's thread runs.
    void remove(Filter& filter);
    const std::vector<Filter*>& getFilters() const;
    /// Filter by name, null when there is none.
    Filter* findFilter(const std::string& filterName) const;

    /// The filters in the order in which a round calls them.
    std::vector<Filter*> getCallOrder();

    // In the caller's thread
    /// Calls the sources that are next, if any, and then every filter that has something to take.
    /// @return false when nothing was taken and no source was called.
    bool runRound();
    /// The same without the sources.
    bool runPending();
    /// Rounds until the sources are at their end and nothing is left to take, or a stop.
    void runToEnd();

    // In a thread of its own
    /// Starts the thread. The layout takes what other threads send as it comes, which may be only a part of
    /// another layout's round, and a reader waits for data as its connections say. For a run whose results do
    /// not depend on thread timing, see FlowManager. The run ends when the layout's sources, or all the
    /// layouts that have fed it, have ended; with neither, when it is stopped.
    /// @throws Poco::IllegalStateException while it runs.
    void start();
    /// Asks the thread to end after the present filter; wakes it wherever it waits. [any thread]
    void stop();
    /// Whether `stop`, or a failure with `setStopOnError`, ended the last run.
    bool wasStopped() const;
    /// Waits for the thread's end.
    void wait();
    bool isRunning() const;
    /// Whether the last run is over; false before the first. Layouts that this one feeds end only after it.
    bool hasEnded() const;

    // Sources
    /// The smallest next time stamp of the sources that are not at their end.
    /// [layout thread, or the layout not running]
    std::optional<double> nextTimeStamp();
    bool hasSources();
    /// Called before each source round, in the thread that runs the layout, with the round's time stamp. It may
    /// change sources by their properties, commands and connections, and stop the layout.
    void setRoundHook(RoundHook hook);
    /// The same for the rounds that reach it from other layouts in a FlowManager's run with threads.
    void setFedRoundHook(RoundHook hook);

    // Failures
    ErrorLog& getErrors();
    /// Whether the first exception out of a `process` ends the run.
    void setStopOnError(bool stop);

    /// For the host library alone, which knows the class.
    Layout& inside() const { return *inside_; }

private:
    std::unique_ptr<Layout> inside_;
    std::vector<FilterPtr> owned_;
};

}  // namespace Kavelin::Core
