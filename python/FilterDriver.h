#pragma once

#include <Kavelin/Core/LayoutManager.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "python/ArraySource.h"
#include "python/SampleLog.h"

namespace Kavelin::Python {

/// What a run of one filter gave.
struct FilterRunReport {
    std::map<std::string, SampleTable> outputs;
    std::vector<std::string>
        errors;                      ///< what makes the results wrong or incomplete, as `kavelin run` says it
    std::vector<std::string> notes;  ///< what needs a person's attention
};

/// One filter in a layout of its own, fed from arrays. Knows nothing of Python.
/// Everything runs in the caller's thread. [one thread at a time]
class FilterDriver {
public:
    /// @throws as PluginManager::createFilter. Where the filter has a settings file by default, it is set as in a layout.
    FilterDriver(const std::string& type, const std::string& name);
    ~FilterDriver();

    Core::Filter& filter() { return *filter_; }

    /// The input of that name, made if the filter makes pins on demand.  @throws Poco::NotFoundException
    Core::AbstractInputPin& input(const std::string& pin);
    /// @throws Poco::NotFoundException
    SampleLog& log(const std::string& pin);

    /// Sends samples at once. Those with a NaN are no values and are not sent.
    /// @throws Refusal, before it sends any, where time runs backwards for the pin, or several samples do not find room.
    void push(const Stream& samples);
    /// How many samples wait for `process`, in all queues.
    std::uint64_t getWaiting() const;
    /// Calls the filter as a layout does: again as long as it takes something.  @throws what it throws
    void process();

    /// What a run needs to know beside the samples.
    struct RunOptions {
        std::vector<std::string> outputs;  ///< the pins whose samples are kept
        bool stopOnError = false;
        std::function<void()>
            look;  ///< called every now and then; what it throws ends the run, and is thrown
    };
    /// Runs the filter on the streams, as a layout with a source of them does. Goes on from where the filter is.
    /// @throws Refusal, before anything is done, where time runs backwards for a pin.
    FilterRunReport run(const std::vector<Stream>& streams, const RunOptions& options);

    /// From now on, any time is right: a new recording begins.
    void forgetTimes() { latest_.clear(); }
    /// How many samples the filter's full queues have dropped.
    std::uint64_t getDropped(const std::string& pin) { return input(pin).getCounts().dropped; }

private:
    struct Before;
    struct Restoring;

    void requireForwards(const Stream& samples) const;
    void hearOutputs();
    void reportUnfed(FilterRunReport& report) const;
    void chooseOutputs(FilterRunReport& report, const RunOptions& options, std::size_t rows);
    void goThrough(const RunOptions& options);
    void finishStream(FilterRunReport& report);
    void noteMissing(FilterRunReport& report) const;
    void noteSilence(FilterRunReport& report) const;
    void noteUnanswered(FilterRunReport& report, const SampleTable& orientations,
                        const std::string& output) const;
    void reportPairing(FilterRunReport& report, const Before& before) const;
    void completeRun(FilterRunReport& report);
    void report(FilterRunReport& report, const Before& before);
    void reportData(FilterRunReport& report) const;

    ArraySource source_;
    Core::FilterPtr filter_;
    std::map<std::string, std::unique_ptr<SampleLog>> logs_;
    std::map<std::string, double> latest_;  // time for each input
    Core::LayoutManager layout_{"python"};  // goes first
};

}  // namespace Kavelin::Python
