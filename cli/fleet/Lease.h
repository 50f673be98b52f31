#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

#include "cli/fleet/NatsHandles.h"
#include "cli/fleet/ServerLink.h"

namespace Kavelin::Cli {

/// The right to work on a part: a key of a bucket, which its holder writes again and again. Whoever sees it unchanged for as
/// long as the lease lasts, by its own steady clock, may take it; the server lets only one of those who try.
///
/// A holder that could not renew its lease in time drops the part well before another may take it. Where it cannot even do that,
/// because it was stopped, it learns of it by the next thing it writes: results and snapshots are written on condition that what
/// it last saw is still the last.
class Lease {
public:
    /// @param worker this worker's name, which no other has
    Lease(const ServerLink& link, const std::string& bucket, const std::string& key, std::string worker,
          Clock::duration length);

    /// Looks at the key, at most as often as makes sense, and takes the lease if it is free.
    /// @return whether it is held now.  @throws ServerError
    bool watch(Clock::time_point now, bool mayTake);
    /// Writes `value` at once, as the holder.  @throws ServerError: it is not held any longer, or the server is away
    void write(const std::string& value, Clock::time_point now);
    /// Whether it is time to renew.
    bool wantsRenewal(Clock::time_point now) const;
    /// Sends a renewal, whose answer goes to `reply`.
    void renew(ServerLink& link, const std::string& value, const std::string& reply, Clock::time_point now);
    void onRenewed(std::uint64_t revision);
    /// Whether the server's answer to a renewal may still come.
    bool isAsking(Clock::time_point now) const;
    /// Whether it was not renewed in time.
    bool isOver(Clock::time_point now) const;
    /// Gives it back, for another to take at once.  @throws ServerError
    void release(Clock::time_point now);
    /// Forgets that it is held.
    void drop();

    bool isHeld() const { return isHeld_; }
    /// Who holds it, as last seen; empty: nobody.
    const std::string& holder() const { return holder_; }
    const std::string& worker() const { return worker_; }
    Clock::duration length() const { return length_; }

private:
    struct Seen {
        std::uint64_t revision = 0;  ///< 0: the key was never there
        Clock::time_point since{};
        Clock::duration length{};
    };
    void look(Clock::time_point now);

    const ServerLink& link_;
    const std::string stream_, subject_, worker_;
    const Clock::duration length_;
    Seen seen_;
    std::string holder_;
    bool isHeld_ = false;
    Clock::time_point lookAt_{}, renewAt_{}, asked_{}, proven_{};
};

/// What the text of a lease says: an object with the texts "worker" and "consumer", and the number "seconds"; empty: nothing that can
/// be read, so nobody has it.
nlohmann::json readLease(std::string_view text);

/// The text of a lease: who holds it, for how long, and what else there is to say.
std::string leaseText(const std::string& worker, Clock::duration length, const std::string& consumer,
                      const std::string& statusJson);

}  // namespace Kavelin::Cli
