#pragma once

#include <Kavelin/Core/Filter.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "cli/view/PinTap.h"

namespace Kavelin::Cli {

/// The pins that one page watches, and what it has not seen of them.
struct WatchList {
    struct Watched {
        std::size_t tap = 0;
        bool isFresh = false;
        std::uint64_t shown = 0;  ///< samples up to the one that the page saw last
        double low = 0.0, high = 0.0;
    };
    std::vector<Watched> pins;
};

/// Taps on all outputs of what is built, from which any number of pages take the newest samples. Made before a run; the writers'
/// threads never wait for it.  [any thread]
class TapBoard {
public:
    explicit TapBoard(const std::vector<Core::Filter*>& filters);
    TapBoard(const TapBoard&) = delete;
    TapBoard& operator=(const TapBoard&) = delete;

    /// "FILTER:PIN" of each output, in the order of the filters.
    const std::vector<std::string>& names() const { return names_; }
    /// Samples that the output sent.
    std::uint64_t count(std::size_t output) const { return taps_[output].pin->count(); }

    /// The list watches these pins from now on, in place of others. It gets the present sample of each, and is lent until
    /// `forget`.  @throws UsageError naming what exists; nothing has changed then
    void watch(WatchList& list, const std::vector<std::string>& pins);
    void forget(WatchList& list);
    /// A message with what is new for the page; empty where nothing is.
    std::string samplesText(WatchList& list);

private:
    struct Tap {
        std::unique_ptr<PinTap> pin;
        NewestSample newest;
        unsigned watchers = 0;
    };

    std::size_t find(const std::string& name) const;
    std::vector<std::size_t> replace(WatchList& list, std::vector<WatchList::Watched> next);
    void release(WatchList& list);
    void collect();
    void note(std::size_t tap, const NewestSample& newest);

    std::vector<std::string> names_;
    std::vector<Tap> taps_;

    std::mutex mutex_;  // guards the taps' newest samples and the lists
    std::vector<WatchList*> lists_;
};

}  // namespace Kavelin::Cli
