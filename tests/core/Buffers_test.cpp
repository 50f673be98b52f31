#include <Kavelin/Typed/BufferStrategyFactory.h>
#include <Kavelin/Typed/TimeStampedData.h>

#include <ostream>

#include "support/TestKit.h"

namespace Kavelin::Core {
namespace {

using namespace Tests;
using Sample = TimeStampedData<Matrix>;

/// One of the nine: a family, a size and an order.
struct Kind {
    BufferFamily family;
    unsigned size;
    bool lifo;
};

std::ostream& operator<<(std::ostream& out, const Kind& kind) {
    static const char* const families[] = {"simple", "thread-safe", "synchronized"};
    return out << families[static_cast<int>(kind.family)] << (kind.lifo ? " LIFO of " : " of ") << kind.size;
}

class EveryBuffer : public testing::TestWithParam<Kind> {
protected:
    void SetUp() override {
        reader_.interrupt();  // alone in this thread: the waiting kinds must not wait
        strategy_ = makeBufferStrategy<Sample>(GetParam().family, GetParam().size, GetParam().lifo, &reader_);
    }
    // The writer's memory, one sample each, so that the kind that lends it shows the right one.
    void put(int first, int last) {
        for (int i = first; i <= last; ++i) {
            written_.push_back(std::make_unique<Sample>(Sample{Matrix::Constant(1, 3, i), 0.5 * i}));
            strategy_->put(*written_.back());
        }
    }
    std::vector<int> takeAll() {
        std::vector<int> taken;
        const Sample mark;
        const Sample* sample = &mark;
        for (; strategy_->get(sample); sample = &mark) {
            EXPECT_EQ(sample->timeStamp, 0.5 * sample->value(0, 2));
            taken.push_back(static_cast<int>(sample->value(0, 0)));
        }
        EXPECT_EQ(sample, &mark) << "an empty buffer leaves the argument alone";
        return taken;
    }
    /// What a buffer of this kind yields of samples first..last, put in this order.
    std::vector<int> expected(int first, int last) const {
        std::vector<int> kept;
        for (int i = std::max(first, last - static_cast<int>(GetParam().size) + 1); i <= last; ++i)
            kept.push_back(i);
        return GetParam().lifo ? std::vector<int>(kept.rbegin(), kept.rend()) : kept;
    }

    Synchronizer reader_;
    std::vector<std::unique_ptr<Sample>> written_;
    std::unique_ptr<AbstractBufferStrategy<Sample>> strategy_;
};

TEST_P(EveryBuffer, KeepsTheNewestUpToItsCapacity) {
    EXPECT_EQ(strategy_->capacity(), GetParam().size);
    EXPECT_TRUE(strategy_->isEmpty());
    for (int round = 0; round < 3; ++round) {
        for (int count = 0; count <= 12; ++count) {
            put(1, count);
            EXPECT_EQ(strategy_->isEmpty(), count == 0);
            const int kept = std::min(count, static_cast<int>(GetParam().size));
            EXPECT_EQ(strategy_->isOverHalfFull(), 2 * kept > static_cast<int>(GetParam().size)) << count;
            EXPECT_EQ(takeAll(), expected(1, count));
            EXPECT_TRUE(strategy_->isEmpty());
        }
    }
}

TEST_P(EveryBuffer, InterleavedPutsAndGetsStayInOrder) {
    const Sample* sample = nullptr;
    put(1, 2);
    ASSERT_TRUE(strategy_->get(sample));
    const int first = static_cast<int>(sample->value(0, 0));
    EXPECT_EQ(first, GetParam().size == 1 || GetParam().lifo ? 2 : 1);
    put(3, 4);  // a queue of three or more grows here, though it does not begin at its first slot
    std::vector<int> rest = {GetParam().lifo ? 1 : 2, 3, 4};
    if (GetParam().size < 3) rest.erase(rest.begin(), rest.end() - GetParam().size);
    if (GetParam().lifo) std::ranges::reverse(rest);
    EXPECT_EQ(takeAll(), rest);
}

TEST_P(EveryBuffer, CountsAddUpAndClearDiscards) {
    put(1, 5);
    const Sample* sample = nullptr;
    strategy_->get(sample);
    PinCounts counts = strategy_->counts();
    EXPECT_EQ(counts.put, 5u);
    EXPECT_EQ(counts.taken, 1u);
    EXPECT_EQ(counts.dropped, 5u - std::min(5u, GetParam().size));
    EXPECT_EQ(counts.put, counts.taken + counts.dropped + counts.buffered);
    put(6, 7);
    strategy_->clear();
    counts = strategy_->counts();
    EXPECT_EQ(counts.buffered, 0u);
    EXPECT_EQ(counts.put, counts.taken + counts.dropped + counts.discarded);
    EXPECT_TRUE(takeAll().empty());
}

TEST_P(EveryBuffer, TakesAnyShape) {
    for (const auto& [rows, columns] : {std::pair{1, 3}, {3, 3}, {0, 0}, {1, 1}, {4, 1}}) {
        const Sample sent{Matrix::Constant(rows, columns, 1), 2};
        strategy_->put(sent);
        const Sample* sample = nullptr;
        ASSERT_TRUE(strategy_->get(sample));
        EXPECT_EQ(sample->value.rows(), rows);
        EXPECT_EQ(sample->value.cols(), columns);
    }
}

std::vector<Kind> allKinds() {
    std::vector<Kind> kinds;
    for (const BufferFamily family :
         {BufferFamily::kSimple, BufferFamily::kThreadSafe, BufferFamily::kSynchronized}) {
        for (const unsigned size : {1u, 2u, 3u, 5u}) kinds.push_back({family, size, false});
        for (const unsigned size : {2u, 3u, 5u}) kinds.push_back({family, size, true});
    }
    return kinds;
}
INSTANTIATE_TEST_SUITE_P(Kinds, EveryBuffer, testing::ValuesIn(allKinds()));

TEST(Buffers, SizeZeroIsNoStrategy) {
    EXPECT_EQ(makeBufferStrategy<Sample>(BufferFamily::kSimple, 0, false, nullptr), nullptr);
}

TEST(Buffers, OnlyTheSimpleSingleValueLendsTheWritersMemory) {
    for (const BufferFamily family : {BufferFamily::kSimple, BufferFamily::kThreadSafe}) {
        const auto strategy = makeBufferStrategy<Sample>(family, 1, false, nullptr);
        Sample sent{Matrix::Constant(1, 1, 1), 0};
        strategy->put(sent);
        sent.value(0, 0) = 2;
        const Sample* sample = nullptr;
        ASSERT_TRUE(strategy->get(sample));
        EXPECT_EQ(sample->value(0, 0), family == BufferFamily::kSimple ? 2 : 1);
    }
}

}  // namespace
}  // namespace Kavelin::Core
