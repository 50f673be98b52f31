#include "orientation/convergence/ConvergenceHistory.h"

#include "orientation/PlainConvergenceScan.h"
#include "support/TestKit.h"

namespace Kavelin::OrientationInternal {
namespace {

using namespace Tests;

/// Kinds of recording: each makes the next error of the history so far.
struct Stream {
    std::string name;
    std::function<double(std::mt19937&, std::size_t)> next;
};

double uniform(std::mt19937& random, double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(random);
}

bool chance(std::mt19937& random, double probability) { return uniform(random, 0, 1) < probability; }

std::vector<Stream> streams() {
    using Random = std::mt19937;
    const auto now = [](std::size_t i) { return static_cast<double>(i); };
    return {
        {"decay", [=](Random& r, std::size_t i) { return 90 * std::exp(-now(i) / 150) + uniform(r, 1, 2); }},
        {"signed noise", [](Random& r, std::size_t) { return uniform(r, -6, 6); }},
        {"two values, both outside", [](Random&, std::size_t i) { return i % 2 == 0 ? 0.0 : 2.0; }},
        {"many equal values", [](Random& r, std::size_t) { return std::floor(uniform(r, -6, 10)) / 2; }},
        {"gaps", [](Random& r, std::size_t) { return chance(r, 0.02) ? kNaN : uniform(r, 0, 3); }},
        {"mostly gaps", [](Random& r, std::size_t) { return chance(r, 0.05) ? uniform(r, 0, 3) : kNaN; }},
        {"infinities",
         [](Random& r, std::size_t) {
             return chance(r, 0.004) ? std::copysign(kInfinity, uniform(r, -1, 1)) : uniform(r, 0, 3);
         }},
        {"sums that overflow or not",
         [](Random& r, std::size_t) { return uniform(r, -1, 1) * (chance(r, 0.01) ? 1.7e308 : 3); }},
        {"a spike that must leave no rounding behind",
         [](Random& r, std::size_t i) { return i == 40 ? 1e20 : uniform(r, 1e-3, 2e-3); }},
        {"zeros of both signs after motion",
         [](Random& r, std::size_t i) { return i < 60 ? uniform(r, 1, 9) : (chance(r, 0.5) ? 0.0 : -0.0); }},
        {"slow drift", [=](Random& r, std::size_t i) { return 1e-3 * now(i) + uniform(r, 0, 0.05); }},
        {"settled three times, with outliers",
         [](Random& r, std::size_t i) {
             const double level = i < 900 ? 3.0 : (i < 2100 ? 1.0 : 2.0);
             return level + uniform(r, -0.2, 0.2) + (chance(r, 0.001) ? 30.0 : 0.0);
         }},
    };
}

/// Whether `a` and `b` may stand for the same mean: equal, both NaN, or within the rounding of the plain sum.
bool sameMean(double a, double b, const std::vector<double>& errors) {
    if (a == b || (std::isnan(a) && std::isnan(b))) return true;
    double size = 0.0;
    for (std::size_t i = errors.size() - errors.size() / 4; i < errors.size(); ++i)
        size += std::abs(errors[i]);
    return std::abs(a - b) <= 1e-12 * size / static_cast<double>(errors.size() / 4);
}

TEST(ConvergenceHistory, AnswersAsThePlainScanForEveryBandAtEveryLength) {
    const std::vector<double> thresholds{0.0, 1e-3, 0.25, 1.0, 40.0, 180.0};
    for (const Stream& stream : streams()) {
        SCOPED_TRACE(stream.name);
        std::mt19937 random(1);
        ConvergenceHistory history;
        PlainConvergenceScan plain;
        for (std::size_t i = 0; i < 4000; ++i) {
            const double error = stream.next(random, i);
            history.appendError(error);
            plain.errors.push_back(error);
            const auto mean = history.finalError();
            const auto expected = plain.finalError();
            ASSERT_EQ(mean.has_value(), expected.has_value());
            if (!expected) continue;
            ASSERT_TRUE(sameMean(*mean, *expected, plain.errors)) << i << ": " << *mean << ", " << *expected;
            // the band itself is given to both, so that the last digit of the mean does not decide
            const double threshold = thresholds[random() % thresholds.size()];
            const double center =
                chance(random, 0.2) ? std::abs(plain.errors[random() % (i + 1)]) : *expected;
            ASSERT_EQ(history.entryIntoBand(center, threshold), plain.entryIntoBand(center, threshold))
                << i << ": " << center << " +- " << threshold;
        }
    }
}

TEST(ConvergenceHistory, SumsAFewErrorsFromTheOldestToTheNewestAndManyWithoutLosingDigits) {
    ConvergenceHistory history;
    for (int i = 0; i < 40; ++i) history.appendError(0.1);
    const double plainSumOfTen = 0.1 + 0.1 + 0.1 + 0.1 + 0.1 + 0.1 + 0.1 + 0.1 + 0.1 + 0.1;
    EXPECT_EQ(*history.finalError(), plainSumOfTen / 10);  // not 0.1: equality with a threshold depends on it
    for (int i = 40; i < 400000; ++i) history.appendError(0.1);
    EXPECT_DOUBLE_EQ(*history.finalError(), 0.1);  // the plain sum is off by 2e-12 here
}

TEST(ConvergenceHistory, StartsAnewWhenCleared) {
    std::mt19937 random(3);
    ConvergenceHistory used;
    for (int i = 0; i < 500; ++i) used.appendError(i % 50 == 0 ? kNaN : uniform(random, 0, 9));
    used.appendTime(1.0);
    used.clear();
    EXPECT_FALSE(used.finalError());
    EXPECT_THROW(used.timeOfEntry(1), std::out_of_range);
    ConvergenceHistory fresh;
    for (int i = 0; i < 500; ++i) {
        const double error = uniform(random, 0, 9);
        used.appendError(error);
        fresh.appendError(error);
        ASSERT_EQ(used.finalError(), fresh.finalError());
        ASSERT_EQ(used.entryIntoBand(4.5, 1.0), fresh.entryIntoBand(4.5, 1.0));
    }
}

TEST(ConvergenceHistory, TakesTheTimeOneBeforeTheEntryAndRefusesWhatIsNotThere) {
    ConvergenceHistory history;
    const auto refusal = [&](std::size_t entry) { return outcome([&] { history.timeOfEntry(entry); }); };
    EXPECT_EQ(refusal(1), "std::out_of_range: invalid vector<T> subscript");
    for (const double time : {10.0, 10.5, 11.5}) history.appendTime(time);
    EXPECT_EQ(history.timeOfEntry(1), 0.0);
    EXPECT_EQ(history.timeOfEntry(3), 1.5);
    EXPECT_EQ(refusal(4), "std::out_of_range: invalid vector<T> subscript");
}

}  // namespace
}  // namespace Kavelin::OrientationInternal
