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
    jsOptions options;
    jsOptions_Init(&options);
    options.Stream.Info.SubjectsFilter = keys_.c_str();
    jsStreamInfo* raw = nullptr;
    jsErrCode code{};
    requireOk(js_GetStreamInfo(&raw, link_.jetStream(), stream_.c_str(), &options, &code), "the roster",
              code);
    const StreamInfo info(raw);
    others_ = 0;
    if (!info->State.Subjects) return;
    for (int i = 0; i < info->State.Subjects->Count; ++i) {
        const std::string subject = info->State.Subjects->List[i].Subject;
        if (!subject.starts_with(prefix_) || subject == subject_) continue;
        const Message last = lastMessage(link_, stream_, subject);
        if (!last) continue;
        Seen& seen = seen_[subject];
        const std::uint64_t revision = natsMsg_GetSequence(last.get());
        if (seen.revision != revision) seen = {revision, now};
        if (now - seen.since < kMissedUntilGone * every_) ++others_;
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
    return (parts + workers - 1) / workers;
}

void Roster::leave() { remove(subject_); }

}  // namespace Kavelin::Cli
