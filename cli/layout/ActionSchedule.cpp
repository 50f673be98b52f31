#include "cli/layout/ActionSchedule.h"

#include <algorithm>

namespace Kavelin::Cli {

ActionSchedule::ActionSchedule(std::vector<const ActionEntry*> actions) : actions_(std::move(actions)) {
    std::stable_sort(actions_.begin(), actions_.end(),
                     [](const ActionEntry* a, const ActionEntry* b) { return a->at < b->at; });
}

std::vector<const ActionEntry*> ActionSchedule::left() const {
    return {actions_.begin() + static_cast<std::ptrdiff_t>(next_), actions_.end()};
}

}  // namespace Kavelin::Cli
