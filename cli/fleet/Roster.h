#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "cli/fleet/ServerLink.h"

namespace Kavelin::Cli {

/// The workers that share the parts of a stream: each writes a key of its own again and again, so all know how many there are,
/// and none takes more parts than its share.
class Roster {
public:
    /// @param every how often it writes, and counts the others; one that has not written for five times as long is gone
    Roster(ServerLink& link, const std::string& bucket, const std::string& worker, Clock::duration every);

    /// Writes and counts, if it is time.  @throws ServerError
    void tick(Clock::time_point now);
    /// How many parts this worker may have: each has as many, but for one more that those listed first have.
    std::size_t share(std::size_t parts) const;
    /// Takes this worker off the roster.  @throws ServerError
    void leave();

private:
    struct Seen {
        std::uint64_t revision = 0;
        Clock::time_point since{};
    };
    void count(Clock::time_point now);
    void remove(const std::string& subject);

    ServerLink& link_;
    const std::string stream_, keys_, prefix_, subject_;
    const Clock::duration every_;
    Clock::time_point nextAt_{};
    std::map<std::string, Seen> seen_;     ///< by subject
    std::size_t others_ = 0, before_ = 0;  ///< before_: those of them that are listed before this one
};

}  // namespace Kavelin::Cli
