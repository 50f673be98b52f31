#include <Kavelin/Core/ConnectionOptions.h>
#include <Kavelin/Core/LayoutManager.h>

#include <ctime>

#include "support/TestFilters.h"
#include "support/TestKit.h"

namespace Kavelin::Core {
namespace {

using namespace Tests;
using Sample = TimeStampedData<Matrix>;

template <class Strategy>
bool usesStrategy(const InputPin<Matrix>& pin) {
    return dynamic_cast<Strategy*>(pin.getStrategy()) != nullptr;
}

TEST(Pins, TheStrategyFollowsLayoutsFlagsSizeAndOrder) {
    enum Where { kNowhere, kSameLayout, kTwoLayouts, kOnlyReaderInOne, kOnlyWriterInOne };
    using Ptr = SingleValuePtrBuffer<Sample>;
    using One = SingleValueBuffer<Sample>;
    using Fifo = FifoBuffer<Sample>;
    using Lifo = LifoBuffer<Sample>;
    struct {
        Where where;
        bool direct, synchronous;
        unsigned size;
        bool lifo;
        bool (*expected)(const InputPin<Matrix>&);
    } const rows[] = {
        {kNowhere, true, false, 1, false, usesStrategy<SimpleBufferStrategy<Ptr>>},
        {kNowhere, false, false, 1, false, usesStrategy<ThreadSafeBufferStrategy<One>>},
        {kNowhere, false, true, 1, false, usesStrategy<ThreadSafeBufferStrategy<One>>},
        {kSameLayout, false, true, 1, true, usesStrategy<SimpleBufferStrategy<Ptr>>},
        {kSameLayout, false, false, 2, false, usesStrategy<SimpleBufferStrategy<Fifo>>},
        {kSameLayout, true, false, 2, true, usesStrategy<SimpleBufferStrategy<Lifo>>},
        {kTwoLayouts, true, false, 1, true, usesStrategy<ThreadSafeBufferStrategy<One>>},
        {kTwoLayouts, true, true, 1, false, usesStrategy<SynchronizedBufferStrategy<One>>},
        {kTwoLayouts, false, true, 3, false, usesStrategy<SynchronizedBufferStrategy<Fifo>>},
        {kTwoLayouts, false, true, 3, true, usesStrategy<SynchronizedBufferStrategy<Lifo>>},
        {kTwoLayouts, false, false, 9, true, usesStrategy<ThreadSafeBufferStrategy<Lifo>>},
        {kOnlyReaderInOne, true, true, 1, false, usesStrategy<SynchronizedBufferStrategy<One>>},
        {kOnlyWriterInOne, true, true, 4, false, usesStrategy<ThreadSafeBufferStrategy<Fifo>>},
    };
    for (const auto& r : rows) {
        Relay writer("writer"), reader("reader");
        LayoutManager one("one"), two("two");
        connect(writer.out, reader.a, {r.size, r.lifo, r.synchronous, r.direct});
        if (r.where == kSameLayout || r.where == kTwoLayouts || r.where == kOnlyWriterInOne) one.add(writer);
        if (r.where == kSameLayout) one.add(reader);
        if (r.where == kTwoLayouts || r.where == kOnlyReaderInOne) two.add(reader);
        EXPECT_TRUE(r.expected(reader.a)) << "row " << (&r - rows);
        if (r.size > 1) {
            EXPECT_EQ(reader.a.getStrategy()->capacity(), r.size);
        }
    }
}

TEST(Pins, AnUnconnectedPinAndOneOfSizeZeroYieldNothing) {
    Relay writer("writer"), reader("reader");
    EXPECT_FALSE(reader.a.readNext());
    connect(writer.out, reader.a, {.bufferSize = 0, .direct = true});
    EXPECT_EQ(reader.a.getStrategy(), nullptr);
    writer.out.send(3);
    EXPECT_FALSE(reader.a.readNext());
    EXPECT_EQ(reader.a.lastTimeStamp(), 0.0);
    EXPECT_EQ(reader.a.getCounts().put, 1u);
    EXPECT_EQ(reader.a.getCounts().dropped, 1u);
}

TEST(Pins, AFetchedSampleIsHeldUntilConsumed) {
    Relay writer("writer"), reader("reader");
    connect(writer.out, reader.a, {.bufferSize = 4, .direct = true});
    for (const double t : {1.0, 2.0}) {
        writer.out.value()(0, 0) = 10 * t;
        writer.out.send(t);
    }
    EXPECT_TRUE(reader.a.fetch());
    EXPECT_TRUE(reader.a.fetch()) << "the same";
    EXPECT_EQ(reader.a.lastTimeStamp(), 0.0);
    reader.a.consume();
    EXPECT_EQ(reader.a.lastTimeStamp(), 1.0);
    EXPECT_EQ(reader.a.value()(0, 0), 10);
    EXPECT_TRUE(reader.a.readNext());
    EXPECT_EQ(reader.a.value()(0, 0), 20);
    EXPECT_FALSE(reader.a.readNext());
    EXPECT_EQ(reader.a.value()(0, 0), 20) << "stays readable";
    writer.out.send(3);
    reader.a.fetch();
    reader.a.reset();
    EXPECT_FALSE(reader.a.readNext());
    EXPECT_FALSE(reader.a.hasValue());
    EXPECT_EQ(reader.a.lastTimeStamp(), 0.0);
}

TEST(Pins, ASampleHeldFromABufferOfOneIsTheWritersOwn) {
    Relay writer("writer"), reader("reader");
    connect(writer.out, reader.a, {.bufferSize = 1, .direct = true});
    writer.out.send(1);
    EXPECT_TRUE(reader.a.fetch());
    writer.out.value()(0, 0) = 7;
    writer.out.send(2);
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(reader.a.readNext()) << "the one held, then the same again";
        EXPECT_EQ(reader.a.lastTimeStamp(), 2.0);
        EXPECT_EQ(reader.a.value()(0, 0), 7);
    }
    EXPECT_FALSE(reader.a.readNext());
#ifndef NDEBUG
    reader.a.reset();
    EXPECT_DEATH(reader.a.value(), "no sample was consumed");
#endif
}

TEST(Pins, AttachedTwiceIsRefusedAndChangesNothing) {
    Relay first("first"), second("second"), reader("reader");
    first.out.attach(reader.a, true);
    first.out.send(1);
    EXPECT_THROW(second.out.attach(reader.a, true), Poco::ExistsException);
    EXPECT_TRUE(second.out.getAttachedInputs().empty());
    EXPECT_TRUE(reader.a.readNext()) << "the first connection and its samples are untouched";
}

TEST(Pins, DetachWithTheFlagLeavesPinsThatAreNotSynchronous) {
    Relay writer("writer"), reader("reader");
    connect(writer.out, reader.a, {.synchronous = false});
    writer.out.detach(reader.a, true);
    EXPECT_EQ(reader.a.getSource(), &writer.out);
    writer.out.detach(reader.a, false);
    EXPECT_EQ(reader.a.getSource(), nullptr);
    connect(writer.out, reader.a, {.synchronous = true});
    EXPECT_EQ(writer.out.getSynchronousCount(), 1u);
    reader.a.setIsBlocking(false);
    EXPECT_EQ(writer.out.getSynchronousCount(), 0u);
    reader.a.setIsBlocking(true);
    writer.out.detach(reader.a, true);
    EXPECT_EQ(reader.a.getSource(), nullptr);
    EXPECT_EQ(writer.out.getSynchronousCount(), 0u);
    writer.out.detach(reader.a, false);  // not attached: nothing
}

TEST(Pins, ReconnectingDiscardsAndAccountsForIt) {
    Relay writer("writer"), reader("reader");
    connect(writer.out, reader.a, {.bufferSize = 3, .direct = true});
    for (int i = 0; i < 5; ++i) writer.out.send(i);
    EXPECT_TRUE(reader.a.readNext());
    disconnect(reader.a);
    const PinCounts counts = reader.a.getCounts();
    EXPECT_EQ(counts.put, 5u);
    EXPECT_EQ(counts.dropped, 2u);
    EXPECT_EQ(counts.taken, 1u);
    EXPECT_EQ(counts.discarded, 2u);
    EXPECT_EQ(counts.buffered, 0u);
    EXPECT_FALSE(reader.a.hasValue()) << "what was read lay in the buffer that is gone";
}

TEST(Pins, SamplesReachPinsInTheOrderOfTheirAddresses) {
    Relay writer("writer"), x("x"), y("y");
    LayoutManager layout("layout");
    layout.add(x);
    layout.add(y);
    connect(writer.out, y.b);
    connect(writer.out, x.a);
    connect(writer.out, y.a);
    const std::vector<ConnectionRecord> records = writer.out.connections();
    ASSERT_EQ(records.size(), 3u);
    std::vector<std::string> expected = {"x:a", "y:a", "y:b"};
    if (std::less<>{}(&y, &x)) std::rotate(expected.begin(), expected.begin() + 1, expected.end());
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(records[i].layout, "layout");
        EXPECT_EQ(records[i].filter + ":" + records[i].pin, expected[i]);
    }
    layout.remove(x);
    EXPECT_EQ(writer.out.connections().size(), 2u) << "a pin whose filter is in no layout is not listed";
}

TEST(Pins, SendNowStampsSecondsSinceTheGregorianReform) {
    Relay writer("writer");
    const double before = static_cast<double>(std::time(nullptr));
    writer.out.sendNow();
    constexpr double kUnixEpoch =
        12219292800.0;  // 1 January 1970 in seconds since 15 October 1582 (RFC 4122)
    EXPECT_NEAR(writer.out.data().timeStamp - kUnixEpoch, before, 60.0);
}

TEST(Pins, PayloadsMustMatch) {
    struct TextPin : AbstractInputPin {
        TextPin() : Pin("text", nullptr), AbstractInputPin("text", nullptr) {}
        const char* payloadType() const override { return "Text"; }
    } text;
    Relay writer("writer");
    EXPECT_THROW(connect(writer.out, text), Poco::InvalidArgumentException);
    EXPECT_THROW(writer.out.attachInput(text, true), Poco::InvalidArgumentException);
}

}  // namespace
}  // namespace Kavelin::Core
