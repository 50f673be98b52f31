#include "cli/fleet/Roster.h"

#include "cli/fleet/ServerStore.h"

namespace Kavelin::Cli {

namespace {

constexpr int kMissedUntilGone = 5;
constexpr int kMissedUntilForgotten = 50;

}  // namespace

Roster::Roster(ServerLink& link, const std::string& bucket, const std::string& worker, Clock::duration every)
    : link_(link),
      stream_(bucketStream(bucket)),
      keys_(keySubject(bucket, "*")),
      prefix_(keySubject(bucket, "worker-")),
      subject_(prefix_ + worker),
      every_(every) {}

void Roster::tick(Clock::time_point now) {
    if (now < nextAt_) return;
    nextAt_ = now + every_;
    link_.publish(subject_, "here");
    count(now);
}

void Roster::count(Clock::time_point now) {
    const auto subjects = subjectsOf(link_, stream_, keys_);
    others_ = before_ = 0;
    for (const auto& [subject, messages] : subjects) {
        if (!subject.starts_with(prefix_) || subject == subject_) continue;
        const Message last = lastMessage(link_, stream_, subject);
        if (!last) continue;
        Seen& seen = seen_[subject];
        const std::uint64_t revision = natsMsg_GetSequence(last.get());
        if (seen.revision != revision) seen = {revision, now};
        if (now - seen.since < kMissedUntilGone * every_) {
            ++others_;
            if (subject < subject_) ++before_;
        }
        if (now - seen.since > kMissedUntilForgotten * every_) remove(subject);
    }
}

void Roster::remove(const std::string& subject) {
    jsOptions options;
    jsOptions_Init(&options);
    options.Stream.Purge.Subject = subject.c_str();
    jsErrCode code{};
    requireOk(js_PurgeStream(link_.jetStream(), stream_.c_str(), &options, &code), "the roster", code);
    seen_.erase(subject);
}

std::size_t Roster::share(std::size_t parts) const {
    const std::size_t workers = others_ + 1;
    return parts / workers + (before_ < parts % workers ? 1 : 0);
}

void Roster::leave() { remove(subject_); }

}  // namespace Kavelin::Cli
