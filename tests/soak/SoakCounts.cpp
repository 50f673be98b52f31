#include "soak/SoakCounts.h"

#include <algorithm>
#include <cstdio>

namespace Kavelin::Soak {

void Failures::add(const std::string& what) {
    const std::lock_guard lock(mutex_);
    count_.fetch_add(1);
    if (told_.size() >= 100 || std::find(told_.begin(), told_.end(), what) != told_.end()) return;
    told_.push_back(what);
    std::fprintf(stderr, "soak: %s\n", what.c_str());
}

}  // namespace Kavelin::Soak
