#pragma once

#include <algorithm>
#include <functional>
#include <vector>

#include "cli/layout/LayoutFile.h"

namespace Kavelin::Cli {

/// The actions of a layout file in the order of their times; equal times keep the order of the file.
class ActionSchedule {
public:
    ActionSchedule() = default;
    explicit ActionSchedule(std::vector<const ActionEntry*> actions);

    /// Gives every action that is due before a row of time `t` to `perform`: those whose time is `t` or
    /// earlier. Each is given once. A NaN makes nothing due.
    template <class Perform>
    void runUntil(double t, const Perform& perform) {
        while (next_ < actions_.size() && actions_[next_]->at <= t) perform(*actions_[next_++]);
    }

    /// How many were given; those of a run that this one goes on with count as given.
    std::size_t given() const { return next_; }
    void skip(std::size_t given) { next_ = std::min(given, actions_.size()); }

    /// The actions whose time has not come.
    std::vector<const ActionEntry*> left() const;

private:
    std::vector<const ActionEntry*> actions_;
    std::size_t next_ = 0;
};

}  // namespace Kavelin::Cli
