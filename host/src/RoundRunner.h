#pragma once

#include <Kavelin/Core/ErrorLog.h>

#include <exception>
#include <functional>
#include <optional>

#include "RoundPlan.h"

namespace Kavelin::Core {

struct Layout;

/// Calls the filters of a layout, round by round.  [layout thread, or the layout not running]
class RoundRunner {
public:
    using Hook = std::function<void(double timeStamp)>;

    explicit RoundRunner(Layout& layout) : layout_(layout) {}

    /// The smallest next time stamp of the sources that are not at their end.
    std::optional<double> nextTimeStamp();
    /// Calls the sources that are next, if any, and then every filter that has something to take.
    /// @return false when nothing was taken and no source was called.
    bool runRound() { return runRound(nextTimeStamp()); }
    /// @param time what `nextTimeStamp` has just returned
    bool runRound(std::optional<double> time);
    /// The same without the sources.
    bool runPending();

    /// Called before a round of the own sources, and before one that comes from another layout.
    void setHook(Hook hook) { hook_ = std::move(hook); }
    void setFedHook(Hook hook) { fedHook_ = std::move(hook); }
    void beforeFedRound(double timeStamp) const {
        if (fedHook_) fedHook_(timeStamp);
    }

    ErrorLog& getErrors() { return errors_; }
    /// Whether the first exception out of a `process` ends the run.
    void setStopOnError(bool stop) { stopOnError_ = stop; }

private:
    bool callSources(double time);
    void askChanged();
    bool callReady();
    bool serve(const RoundPlan::Entry& entry);
    bool callGuarded(Filter& filter);
    void noteFailure(const Filter& filter, const std::exception& error);

    Layout& layout_;
    Hook hook_;
    Hook fedHook_;
    double time_ = 0.0;  // of the sources' round
    ErrorLog errors_;
    bool stopOnError_ = false;
};

}  // namespace Kavelin::Core
