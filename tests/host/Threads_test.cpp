#include <Kavelin/Core/CommandProperty.h>
#include <Kavelin/Core/ConnectionOptions.h>
#include <Kavelin/Core/LayoutManager.h>
#include <Kavelin/Typed/Handler.h>
#include <Kavelin/Typed/RangeProperty.h>
#include <Kavelin/Typed/TakeTogether.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "support/TestFilters.h"
#include "support/TestKit.h"

namespace Kavelin::Core {
namespace {

using namespace Tests;

/// Something one thread waits for and another lets happen.
class Gate {
public:
    void open() {
        std::lock_guard lock(mutex_);
        open_ = true;
        changed_.notify_all();
    }
    void await() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return open_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool open_ = false;
};

/// A filter that reads twice a call, and waits in its second read; in a layout of its own, fed by another thread.
struct WaitingReader {
    WaitingReader() {
        layout.add(reader);
        elsewhere.add(writer);
        connect(writer.out, reader.a, {.bufferSize = 4, .synchronous = true});
        reader.getSynchronizer()->setWaitCounter(&waits);
        layout.start();
        writer.out.send(1);
        while (waits == 0) std::this_thread::yield();
    }
    ~WaitingReader() {
        layout.stop();
        layout.wait();
    }

    Gate returned;
    std::atomic<int> waits{0};
    std::atomic<bool> secondRead{true};
    ScriptedFilter reader{"reader", [this](ScriptedFilter& self) {
                              if (!self.a.readNext()) return;
                              secondRead = self.a.readNext();
                              returned.open();
                          }};
    RangeProperty<int> setting{"setting", &reader, {.minimum = 0, .maximum = 9, .step = 1, .value = 0}};
    Relay writer{"writer"};
    LayoutManager layout{"readers"}, elsewhere{"writers"};
};

TEST(Threads, AWaitingReaderIsWokenByData) {
    WaitingReader waiting;
    waiting.writer.out.send(2);
    waiting.returned.await();
    EXPECT_TRUE(waiting.secondRead);
    EXPECT_EQ(waiting.waits, 0);
}

TEST(Threads, AWaitingReaderIsWokenByStop) {
    WaitingReader waiting;
    waiting.layout.stop();
    waiting.layout.wait();
    EXPECT_FALSE(waiting.secondRead);
}

TEST(Threads, APropertyWriteDoesNotWaitForData) {
    WaitingReader waiting;
    waiting.setting.set(3);
    EXPECT_FALSE(waiting.secondRead) << "the reader returned before the write was granted";
    EXPECT_EQ(waiting.setting.get(), 3);
}

TEST(Threads, AConnectionChangeDoesNotWaitForData) {
    WaitingReader waiting;
    disconnect(waiting.reader.a);
    EXPECT_FALSE(waiting.secondRead);
    EXPECT_EQ(waiting.reader.a.getConnectedOutput(), nullptr);
    EXPECT_TRUE(waiting.layout.isRunning()) << "another feeder may come";
}

TEST(Threads, AReaderThatIsStoppedOrFedByNobodyDoesNotBeginToWait) {
    for (void (*const end)(Synchronizer&) :
         {+[](Synchronizer& s) { s.interrupt(); }, +[](Synchronizer& s) { s.setIsFed(false); }}) {
        Synchronizer reader;
        Poco::FastMutex mutex;
        Poco::Event event;
        end(reader);
        const Poco::FastMutex::ScopedLock lock(mutex);
        reader.wait(mutex, event);  // or for ever
    }
}

TEST(Threads, AReaderWaitsAgainAfterAReconnection) {
    Gate first, second;
    std::vector<double> seen;
    ScriptedFilter reader("reader", [&](ScriptedFilter& self) {
        if (!self.a.readNext()) return;
        (self.a.lastTimeStamp() < 2 ? first : second).open();
        seen.push_back(self.a.readNext() ? self.a.lastTimeStamp() : -1);
    });
    Relay writer("writer");
    LayoutManager readers("readers"), writers("writers");
    readers.add(reader);
    writers.add(writer);
    connect(writer.out, reader.a, {.bufferSize = 4, .synchronous = true});
    readers.start();
    writer.out.send(1);
    first.await();
    disconnect(reader.a);
    connect(writer.out, reader.a, {.bufferSize = 4, .synchronous = true});
    writer.out.send(2);
    second.await();
    writer.out.send(3);
    while (reader.a.getCounts().taken < 3) std::this_thread::yield();
    readers.stop();
    readers.wait();
    EXPECT_THAT(seen, testing::ElementsAre(-1, 3));
}

TEST(Threads, ALayoutWithoutSourcesEndsWhenAllThatFedItHaveEnded) {
    for (const bool connectedAtTheEnd : {true, false}) {
        CountingSource source("source", 1e9);
        Relay relay("relay");
        LayoutManager readers("readers"), sources("sources");
        sources.add(source);
        readers.add(relay);
        readers.start();  // with no feeder yet
        sources.start();
        connect(source.out, relay.a, {.bufferSize = 4});
        while (relay.a.getCounts().taken == 0) std::this_thread::yield();
        if (!connectedAtTheEnd) disconnect(relay.a);
        EXPECT_TRUE(readers.isRunning());
        sources.stop();
        sources.wait();
        readers.wait();
    }
}

TEST(Threads, OnlyTheOwnFilterCanBeDisabledFromInside) {
    Relay own("own"), other("other");
    RangeProperty<int> mine("mine", &own, {.maximum = 9}), theirs("theirs", &other, {.maximum = 9});
    CommandProperty command("command", &own);
    {
        const Synchronizer::ProcessScope inside(*own.getSynchronizer());
        mine.set(1);
        EXPECT_THROW(theirs.set(1), Poco::IllegalStateException);
        EXPECT_THROW(connect(own.out, other.a), Poco::IllegalStateException);
    }
    struct Observer : PropertyObserver {
        RangeProperty<int>* mine = nullptr;
        RangeProperty<int>* theirs = nullptr;
        void valueChanged(const AbstractProperty&) override {
            mine->set(2);
            EXPECT_THROW(theirs->set(2), Poco::IllegalStateException);
        }
    } observer;
    observer.mine = &mine;
    observer.theirs = &theirs;
    command.addObserver(observer);
    command.activate();
    EXPECT_EQ(mine.get(), 2);
    EXPECT_EQ(theirs.get(), 0);
    theirs.set(5);  // and outside all is free again
    EXPECT_EQ(theirs.get(), 5);
}

TEST(Threads, ProcessNeverSeesHalfAChange) {
    // The handler writes a second property; process must see both or neither.
    struct Pair : ScriptedFilter {
        explicit Pair(std::atomic<int>& torn)
            : ScriptedFilter("pair", [this, &torn](ScriptedFilter& self) {
                  if (!self.a.readNext()) return;
                  if (left.get() != right.get()) ++torn;
              }) {}
        void onLeft(const int& value) { right.set(value); }
        RangeProperty<int> right{"right", this, {.maximum = 1000000}};
        RangeProperty<int> left{"left", this, {.maximum = 1000000}, handler(this, &Pair::onLeft)};
    };
    for (const bool byHand : {false, true}) {
        std::atomic<int> torn{0};
        Pair pair(torn);
        CountingSource source("source", 20000);
        LayoutManager layout("layout");
        layout.add(source);
        if (!byHand) layout.add(pair);
        connect(source.out, pair.a, {.bufferSize = 20000});
        if (byHand) layout.runToEnd();
        if (!byHand) layout.start();
        std::vector<std::thread> writers;
        for (int w = 0; w < 2; ++w) {
            writers.emplace_back([&pair, w] {
                for (int i = 0; i < 500; ++i) pair.left.set(1000 * w + i);
            });
        }
        for (int i = 0; byHand && i < 20000; ++i) pair.processOnce();
        for (std::thread& writer : writers) writer.join();
        layout.wait();
        EXPECT_EQ(torn, 0) << (byHand ? "by hand" : "in a layout");
        EXPECT_EQ(pair.a.getCounts().taken, 20000u);
    }
}

TEST(Threads, ASourceWaitsForARoomyBufferElsewhere) {
    CountingSource source("source", 20000);
    Relay relay("relay"), idle("idle");
    LayoutManager readers("readers"), sources("sources");
    sources.add(source);
    addTo(readers, relay, idle);
    connect(source.out, relay.a, {.bufferSize = 8});
    connect(source.out, idle.b, {.bufferSize = 8});  // never read: must not hold the source up
    readers.start();
    sources.start();
    sources.wait();
    readers.wait();
    EXPECT_EQ(relay.seen.size(), 20000u);
    EXPECT_EQ(relay.a.getCounts().dropped, 0u);
    for (std::size_t i = 0; i < relay.seen.size(); ++i) ASSERT_EQ(relay.seen[i], static_cast<double>(i));
}

TEST(Threads, ALayoutWithASourceOfItsOwnTakesAllThatIsFedToIt) {
    for (const bool mutually : {false, true}) {
        CountingSource source("source", 20000), own("own", 10);
        Relay relay("relay"), back("back");
        LayoutManager readers("readers"), sources("sources");
        addTo(sources, source, back);
        addTo(readers, own, relay);
        connect(source.out, relay.a, {.bufferSize = 8});
        // Then neither may wait for the other's end.
        if (mutually) connect(own.out, back.a, {.bufferSize = 8});
        readers.start();
        sources.start();
        sources.wait();
        readers.wait();
        if (!mutually) {
            EXPECT_EQ(relay.seen.size(), 20000u);
        }
        EXPECT_TRUE(readers.hasEnded() && sources.hasEnded());
    }
}

TEST(Threads, SourcesDoNotWaitForRoomInEachOthersLayouts) {
    CountingSource left("left", 20000), right("right", 20000);
    Relay ofLeft("of left"), ofRight("of right");
    LayoutManager one("one"), two("two");
    addTo(one, left, ofRight);
    addTo(two, right, ofLeft);
    connect(left.out, ofLeft.a, {.bufferSize = 2});
    connect(right.out, ofRight.a, {.bufferSize = 2});
    one.start();
    two.start();
    one.wait();
    two.wait();
    EXPECT_TRUE(left.atEnd() && right.atEnd());
}

TEST(Threads, LayoutsThatWaitForRoomInACircleGoOn) {
    CountingSource left("left", 50), right("right", 50);
    // Takes nothing: what it needs beside it never comes.
    const auto needsBoth = [](ScriptedFilter& self) { takeTogether(self.a, self.b); };
    ScriptedFilter ofLeft("of left", needsBoth), ofRight("of right", needsBoth);
    LayoutManager one("one"), two("two");
    addTo(one, left, ofRight);
    addTo(two, right, ofLeft);
    connect(left.out, ofLeft.a, {.bufferSize = 8});
    connect(right.out, ofRight.a, {.bufferSize = 8});
    one.start();
    two.start();
    one.wait();
    two.wait();
    for (ScriptedFilter* filter : {&ofLeft, &ofRight}) EXPECT_EQ(filter->a.getCounts().put, 50u);
}

TEST(Threads, ASourceDoesNotWaitForAReaderThatWaitsForIt) {
    CountingSource source("source", 2000);
    ScriptedFilter reader("reader", [](ScriptedFilter& self) {
        while (self.a.readNext()) {
        }
        while (self.b.readNext()) {
        }
    });
    LayoutManager readers("readers"), sources("sources");
    sources.add(source);
    readers.add(reader);
    connect(source.out, reader.a, {.bufferSize = 16, .synchronous = true});
    connect(source.out, reader.b, {.bufferSize = 2});
    readers.start();
    sources.start();
    sources.wait();
    readers.wait();  // nothing more can come: its wait for data ends, and so does the layout
    EXPECT_EQ(reader.a.getCounts().put, 2000u);
}

TEST(Threads, AReaderMayLeaveItsStandingLayoutWhileItIsFed) {
    CountingSource source("source", 1e9);
    Relay reader("reader");
    LayoutManager sources("sources");
    auto readers = std::make_unique<LayoutManager>("readers");
    sources.add(source);
    connect(source.out, reader.a, {.bufferSize = 4});
    for (int i = 0; i < 20; ++i) {
        readers->add(reader);
        if (i == 0) sources.start();
        if (i % 2 == 0) {
            readers->remove(reader);
        } else {
            readers = std::make_unique<LayoutManager>("readers");
        }
    }
    sources.stop();
    sources.wait();
    const PinCounts counts = reader.a.getCounts();
    EXPECT_EQ(counts.put, counts.taken + counts.dropped + counts.discarded + counts.buffered);
}

/// Sends numbered samples on "out" as long as it is called, and checks that those that come on "a" ascend.
class Exchanger : public CountingSource {
public:
    explicit Exchanger(const std::string& name, double rows) : CountingSource(name, rows) {}
    void process() override {
        while (in.readNext()) {
            const double value = in.value()(0, 0);
            if (value <= last) disorder = true;
            last = value;
        }
        CountingSource::process();
    }
    InputPin<Matrix> in{"a", this};
    RangeProperty<int> setting{"setting", this, {.maximum = 1000000}};
    double last = -1;
    bool disorder = false;
};

TEST(Threads, TwoLayoutsExchangeWhileAThirdThreadRewiresThem) {
    constexpr double kRows = 20000;
    for (const bool synchronous : {false, true}) {
        Exchanger left("left", kRows), right("right", kRows);
        LayoutManager one("one"), two("two");
        one.add(left);
        two.add(right);
        left.in.setIsBlocking(false);
        connect(right.out, left.in, {.bufferSize = 16});
        connect(left.out, right.in, {.bufferSize = 16});
        one.start();
        two.start();
        int changes = 0;
        while (one.isRunning() || two.isRunning()) {
            left.setting.set(++changes);
            right.setting.set(changes);
            disconnect(right.in);
            connect(left.out, right.in,
                    {.bufferSize = 1u + static_cast<unsigned>(changes % 3) * 7, .synchronous = synchronous});
            disconnect(left.in);
            connect(right.out, left.in, {.bufferSize = 16});
        }
        one.wait();
        two.wait();
        EXPECT_FALSE(left.disorder);
        EXPECT_FALSE(right.disorder);
        EXPECT_GT(changes, 0);
        for (const Exchanger* exchanger : {&left, &right}) {
            const PinCounts counts = exchanger->in.getCounts();
            EXPECT_EQ(counts.put, counts.taken + counts.dropped + counts.discarded + counts.buffered);
        }
    }
}

/// Makes an input pin of any name that it is asked for, and reads them all.
class PinMaker : public Filter {
public:
    explicit PinMaker(const std::string& name) : Filter(name, true) {}
    void process() override {
        for (const auto& pin : pins_) {
            while (pin->readNext()) (pin->getName() == "last" ? last : any).open();
        }
    }
    std::string typeName() const override { return "PinMaker"; }

    Gate any, last;  // opened when a pin, and when the one of this name, was read

protected:
    AbstractInputPin* demandInputPin(const std::string& name) override {
        return pins_.emplace_back(std::make_unique<InputPin<Matrix>>(name, this)).get();
    }

private:
    std::vector<std::unique_ptr<InputPin<Matrix>>> pins_;
};

TEST(Threads, PinsAreMadeOnDemandWhileTheirLayoutRuns) {
    for (const bool sameLayout : {true, false}) {
        CountingSource source("source", 1e9);
        PinMaker maker("maker");
        LayoutManager sources("sources"), readers("readers");
        sources.add(source);
        (sameLayout ? sources : readers).add(maker);
        connect(source.out, maker.getInputPin("0"), {.bufferSize = 4});
        readers.start();
        sources.start();
        maker.any.await();
        for (int i = 1; i < 40; ++i) {
            const std::string name = i < 39 ? std::to_string(i) : "last";
            connect(source.out, maker.getInputPin(name), {.bufferSize = 4});
            EXPECT_EQ(&maker.getInputPin(name), maker.getInputPins().back()) << "made once";
        }
        maker.last.await();
        for (LayoutManager* layout : {&sources, &readers}) layout->stop();
        for (LayoutManager* layout : {&sources, &readers}) layout->wait();
        EXPECT_EQ(maker.getInputPins().size(), 40u);
        for (const AbstractInputPin* pin : maker.getInputPins()) {
            const PinCounts counts = pin->getCounts();
            EXPECT_EQ(counts.put, counts.taken + counts.dropped + counts.discarded + counts.buffered);
            if (!sameLayout) continue;
            EXPECT_EQ(counts.dropped, 0u) << pin->getName();
        }
    }
}

TEST(Threads, DisablersInOppositeOrderAndProcessTakeTurns) {
    Relay a("a"), b("b");
    std::atomic<int> ready{0}, inside{0}, overlaps{0};
    const auto visitOften = [&](const auto& holding) {
        for (++ready; ready < 3;) std::this_thread::yield();
        for (int i = 0; i < 2000; ++i) {
            const auto held = holding();
            if (inside++ != 0) ++overlaps;
            std::this_thread::yield();
            --inside;
        }
    };
    using Disabler = Synchronizer::DisablerLocker;
    std::thread forth(
        [&] { visitOften([&] { return Disabler(a.getSynchronizer(), b.getSynchronizer()); }); });
    std::thread back([&] { visitOften([&] { return Disabler(b.getSynchronizer(), a.getSynchronizer()); }); });
    visitOften([&] { return Synchronizer::ProcessScope(*a.getSynchronizer()); });
    forth.join();
    back.join();
    EXPECT_EQ(overlaps, 0);
}

TEST(Threads, ABusyWriterDoesNotStarveProcess) {
    Relay filter("filter");
    std::atomic<bool> done{false};
    std::thread writer([&] {
        while (!done) const Synchronizer::DisablerLocker locker(filter.getSynchronizer(), nullptr);
    });
    for (int i = 0; i < 200; ++i) const Synchronizer::ProcessScope scope(*filter.getSynchronizer());
    done = true;
    writer.join();
}

TEST(Threads, StoppedAndStartedAgain) {
    CountingSource source("source", 1e9);
    Relay relay("relay");
    LayoutManager layout("layout");
    addTo(layout, source, relay);
    connect(source.out, relay.a);
    for (int i = 0; i < 20; ++i) {
        layout.start();
        EXPECT_THROW(layout.start(), Poco::IllegalStateException);
        EXPECT_THROW(layout.remove(relay), Poco::IllegalStateException);
        layout.stop();
        layout.wait();
        EXPECT_TRUE(layout.hasEnded());
    }
    const PinCounts counts = relay.a.getCounts();
    EXPECT_EQ(counts.put, counts.taken + counts.dropped + counts.buffered);
}

}  // namespace
}  // namespace Kavelin::Core
