#include <Kavelin/Core/AbstractProperty.h>
#include <Kavelin/Core/CommandProperty.h>

#include <atomic>
#include <exception>
#include <thread>

#include "cli/validate/Checks.h"
#include "cli/validate/FilterRig.h"
#include "cli/validate/PropertyTexts.h"
#include "cli/validate/Subject.h"

namespace Kavelin::Cli {

namespace {

/// Writes, reads and activates in a thread of its own until it goes.
class Writer {
public:
    Writer(Core::Filter& filter, std::uint64_t seed)
        : thread_([this, &filter, seed] {
              try {
                  work(filter, RecordingIO::Random(seed));
              } catch (...) {
                  error_ = std::current_exception();
              }
          }) {}
    ~Writer() { end(); }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    /// @throws what the thread met.
    void finish() {
        end();
        if (error_ != nullptr) std::rethrow_exception(error_);
    }
    std::uint64_t writes() const { return writes_.load(); }

private:
    void end() {
        isOver_.store(true);
        if (thread_.joinable()) thread_.join();
    }
    void work(Core::Filter& filter, RecordingIO::Random random) {
        const auto properties = filter.getPropertyBag().getProperties();
        std::vector<std::vector<std::string>> texts;
        for (const Core::AbstractProperty* property : properties)
            texts.push_back(plausibleTexts(filter, *property));
        while (!isOver_.load()) {
            const std::size_t i = random.bits() % properties.size();
            Core::AbstractProperty& property = *properties[i];
            if (property.hasValue()) property.exactText();
            if (!texts[i].empty()) isTaken(property, texts[i][random.bits() % texts[i].size()]);
            if (!property.hasValue()) activateCommands(filter);
            writes_.fetch_add(1);
            std::this_thread::yield();
        }
    }

    std::atomic<bool> isOver_{false};
    std::atomic<std::uint64_t> writes_{0};
    std::exception_ptr error_;
    std::thread thread_;
};

}  // namespace

void checkThreads(Subject& subject) {
    constexpr std::uint64_t kLeastWrites = 100;  // of each thread, while samples are processed
    const Core::FilterPtr filter = subject.make();
    if (filter->getPropertyBag().getProperties().empty()) throw Skip("it has no properties");
    FilterRig rig(subject, *filter);
    rig.keepSent(false);
    const auto rows = simulatedRows(4.0, 50.0, 1);
    subject.at("properties written from two threads");
    Writer one(*filter, subject.random().bits()), other(*filter, subject.random().bits());
    for (std::size_t i = 0; i < rows.size() || one.writes() < kLeastWrites || other.writes() < kLeastWrites;
         ++i) {
        subject.at("sample {} while two threads write properties", i + 1);
        rig.feed(rows[i % rows.size()], {});
    }
    one.finish();
    other.finish();
    rig.requireCounts();
}

}  // namespace Kavelin::Cli
