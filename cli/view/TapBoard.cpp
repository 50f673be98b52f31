#include "cli/view/TapBoard.h"

#include <Kavelin/Core/AbstractOutputPin.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>

#include "cli/CommandContext.h"
#include "cli/JsonForms.h"
#include "cli/layout/NearestNames.h"

namespace Kavelin::Cli {

namespace {

void appendSample(std::string& out, const std::string& name, const NewestSample& newest,
                  const WatchList::Watched& pin) {
    const Core::Matrix& value = newest.sample.value;
    appendText(out, name);
    out += ":{\"t\":";
    appendNumber(out, newest.sample.timeStamp);
    fmt::format_to(std::back_inserter(out), ",\"rows\":{},\"cols\":{},\"v\":[", value.rows(), value.cols());
    for (Eigen::Index row = 0; row < value.rows(); ++row) {
        for (Eigen::Index col = 0; col < value.cols(); ++col) {
            if (row + col > 0) out += ',';
            appendNumber(out, value(row, col));
        }
    }
    const std::uint64_t skipped = pin.shown == 0 ? 0 : newest.count - pin.shown - 1;
    fmt::format_to(std::back_inserter(out), "],\"count\":{},\"skipped\":{}", newest.count, skipped);
    if (value.size() == 1) {
        out += ",\"low\":";
        appendNumber(out, pin.low);
        out += ",\"high\":";
        appendNumber(out, pin.high);
    }
    out += '}';
}

}  // namespace

TapBoard::TapBoard(const std::vector<Core::Filter*>& filters) {
    for (const Core::Filter* filter : filters) {
        for (Core::AbstractOutputPin* output : filter->getOutputPins()) {
            if (std::strcmp(output->payloadType(), Core::PayloadName<Core::Matrix>::value) != 0) continue;
            names_.push_back(output->fullName());
            taps_.push_back({std::make_unique<PinTap>(*output), {}, 0});
        }
    }
}

std::size_t TapBoard::find(const std::string& name) const {
    const auto found = std::find(names_.begin(), names_.end(), name);
    if (found == names_.end()) throw UsageError(noSuch("output", name, names_));
    return static_cast<std::size_t>(found - names_.begin());
}

void TapBoard::watch(WatchList& list, const std::vector<std::string>& pins) {
    std::vector<WatchList::Watched> next;
    for (const std::string& name : pins) {
        const std::size_t tap = find(name);
        const bool isTwice = std::any_of(next.begin(), next.end(),
                                         [&](const WatchList::Watched& one) { return one.tap == tap; });
        if (!isTwice) next.push_back({.tap = tap});
    }
    for (const std::size_t tap : replace(list, std::move(next))) {
        const std::optional<NewestSample> present = taps_[tap].pin->present();  // waits for a filter
        const std::lock_guard lock(mutex_);
        if (present && present->count >= taps_[tap].newest.count) note(tap, *present);
    }
}

/// @return the taps that the list has not watched before
std::vector<std::size_t> TapBoard::replace(WatchList& list, std::vector<WatchList::Watched> next) {
    const std::lock_guard lock(mutex_);
    collect();
    std::vector<std::size_t> added;
    for (WatchList::Watched& pin : next) {
        const auto old = std::find_if(list.pins.begin(), list.pins.end(),
                                      [&](const WatchList::Watched& one) { return one.tap == pin.tap; });
        if (old != list.pins.end())
            pin = *old;
        else
            added.push_back(pin.tap);
        if (taps_[pin.tap].watchers++ == 0) taps_[pin.tap].pin->setIsWatched(true);
    }
    release(list);
    list.pins = std::move(next);
    if (std::find(lists_.begin(), lists_.end(), &list) == lists_.end()) lists_.push_back(&list);
    return added;
}

void TapBoard::release(WatchList& list) {
    for (const WatchList::Watched& pin : list.pins)
        if (--taps_[pin.tap].watchers == 0) taps_[pin.tap].pin->setIsWatched(false);
    list.pins.clear();
}

void TapBoard::forget(WatchList& list) {
    const std::lock_guard lock(mutex_);
    release(list);
    std::erase(lists_, &list);
}

void TapBoard::collect() {
    for (std::size_t i = 0; i < taps_.size(); ++i) {
        if (taps_[i].watchers == 0) continue;
        if (const NewestSample* newest = taps_[i].pin->take()) note(i, *newest);
    }
}

/// For every page that watches the pin.
void TapBoard::note(std::size_t tap, const NewestSample& newest) {
    taps_[tap].newest = newest;
    for (WatchList* list : lists_) {
        for (WatchList::Watched& pin : list->pins) {
            if (pin.tap != tap || pin.shown >= newest.count) continue;
            pin.low = pin.isFresh ? std::fmin(pin.low, newest.low) : newest.low;
            pin.high = pin.isFresh ? std::fmax(pin.high, newest.high) : newest.high;
            pin.isFresh = true;
        }
    }
}

std::string TapBoard::samplesText(WatchList& list) {
    const std::lock_guard lock(mutex_);
    collect();
    std::string text;
    for (WatchList::Watched& pin : list.pins) {
        if (!pin.isFresh) continue;
        const NewestSample& newest = taps_[pin.tap].newest;
        text += text.empty() ? R"({"type":"samples","pins":{)" : ",";
        appendSample(text, names_[pin.tap], newest, pin);
        pin.shown = newest.count;
        pin.isFresh = false;
    }
    return text.empty() ? text : text + "}}";
}

}  // namespace Kavelin::Cli
