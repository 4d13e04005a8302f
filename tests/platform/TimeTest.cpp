// Times are fractions: what they lose is an endless shift between sound and picture.
#include <cmath>
#include <limits>
#include <ostream>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <ondrix/platform/coremedia/CMTime.h>

namespace ondrix {

static bool operator==(const CMTime& a, const CMTime& b) {
    return a.value == b.value && a.timescale == b.timescale && a.flags == b.flags && a.epoch == b.epoch;
}
static void PrintTo(const CMTime& time, std::ostream* out) {
    *out << time.value << '/' << time.timescale << " flags " << time.flags << " epoch " << time.epoch;
}

namespace {

constexpr std::int64_t huge = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int32_t finest = std::numeric_limits<std::int32_t>::max();
constexpr CMTime invalid = kCMTimeInvalid, indefinite = kCMTimeIndefinite;
constexpr CMTime endless = kCMTimePositiveInfinity, beginningless = kCMTimeNegativeInfinity;

constexpr CMTime at(std::int64_t value, std::int32_t timescale, std::int64_t epoch = 0) {
    return {value, timescale, kCMTimeFlags_Valid, epoch};
}
constexpr CMTime rounded(std::int64_t value, std::int32_t timescale) {
    return {value, timescale, kCMTimeFlags_Valid | kCMTimeFlags_HasBeenRounded, 0};
}

TEST(Time, CalculatesWithoutLossWhereAnyTimescaleFits) {
    const std::vector<std::pair<CMTime, CMTime>> resultsAndExpectations = {
        {CMTimeAdd(at(-1, 24), at(1, 90000)), at(-3749, 90000)},
        // The common timescale is too fine, but not for these values.
        {CMTimeAdd(at(finest, finest), at(finest - 1, finest - 1)), at(2, 1)},
        {CMTimeAdd(at(huge - 1, 2), at(huge - 1, 2)), at(huge - 1, 1)},
        // 1/p + 1/(p - 1) is two of the finest ticks and a bit; the other sum is 2/3 over a whole second.
        {CMTimeAdd(at(-1, finest), at(-1, finest - 1)), rounded(-2, finest)},
        {CMTimeAdd(at(huge, 3), at(huge, 3)), rounded(6148914691236517205, 1)},
        {CMTimeAdd(at(lowest, 1), at(-1, 1)), beginningless},
        {CMTimeAdd(rounded(1, 2), at(1, 2)), rounded(2, 2)},
        {CMTimeAdd(at(1, 2), at(1, 2, 7)), at(2, 2, 7)},
        {CMTimeAdd(at(1, 2, 7), at(1, 2, 8)), invalid},
        {CMTimeAdd(at(1, 2), at(1, 0)), invalid},
        {CMTimeAdd(endless, beginningless), invalid},
        {CMTimeAdd(endless, indefinite), indefinite},
        {CMTimeAdd(indefinite, invalid), invalid},
        {CMTimeSubtract(at(-1, 1), at(lowest, 1)), at(huge, 1)},
        {CMTimeSubtract(at(5, 1, 3), at(2, 1, 3)), at(3, 1)},
        {CMTimeSubtract(at(5, 1, 3), at(2, 1)), at(3, 1, 3)},
        {CMTimeSubtract(at(0, 1), endless), beginningless},
        {CMTimeMultiply(at(1001, 30000), -3), at(-3003, 30000)},
        {CMTimeMultiply(at(lowest, 1), std::numeric_limits<std::int32_t>::min()), endless},
        {CMTimeMultiply(endless, -1), beginningless},
        {CMTimeMultiply(endless, 0), invalid},
        {CMTimeMakeWithSeconds(0.25, 2), rounded(1, 2)},
        {CMTimeMakeWithSeconds(-1e-300, 600), rounded(0, 600)},
        {CMTimeMakeWithSeconds(0x1p53, 1024), endless},
        {CMTimeMakeWithSeconds(-0x1p53, 1024), at(lowest, 1024)},
        {CMTimeMakeWithSeconds(-std::numeric_limits<double>::infinity(), 600), beginningless},
        {CMTimeMakeWithSeconds(std::nan(""), 600), invalid},
    };
    for (const auto& [result, expected] : resultsAndExpectations) EXPECT_EQ(result, expected);
    EXPECT_EQ(CMTimeGetSeconds(at(-1, 4)), -0.25);
    EXPECT_TRUE(std::isnan(CMTimeGetSeconds(indefinite)) && std::isinf(CMTimeGetSeconds(endless)));
}

TEST(Time, ConvertsWithEachRounding) {
    using enum CMTimeRoundingMethod;
    // Of 1/2, -1/2, 1/3 and -1/3 as whole seconds.
    const std::vector<std::pair<CMTimeRoundingMethod, std::vector<int>>> cases = {
        {roundHalfAwayFromZero, {1, -1, 0, 0}},
        {roundTowardZero, {0, 0, 0, 0}},
        {roundAwayFromZero, {1, -1, 1, -1}},
        {roundTowardPositiveInfinity, {1, 0, 1, 0}},
        {roundTowardNegativeInfinity, {0, -1, 0, -1}}};
    const CMTime times[] = {at(1, 2), at(-1, 2), at(1, 3), at(-1, 3)};
    for (const auto& [method, expected] : cases) {
        for (int i = 0; i < 4; ++i) EXPECT_EQ(CMTimeConvertScale(times[i], 1, method), rounded(expected[i], 1));
        EXPECT_EQ(CMTimeConvertScale(at(3, 30, 4), 90000, method), at(9000, 90000, 4));
        EXPECT_EQ(CMTimeConvertScale(at(lowest, 1), 2, method), beginningless);
    }
}

TEST(Time, ComparesEveryPairWithoutLoss) {
    // Ascending; times on one line are equal.
    const std::vector<std::vector<CMTime>> order = {
        {beginningless},
        {at(lowest, 1)},
        {at(-1, 30), at(-3000, 90000)},
        {at(1, 3)},
        {at(333333334, 1000000000)},
        {at(huge - 1, finest)},  // in double the same as the next
        {at(huge, finest), rounded(huge, finest)},
        {at(lowest, 1, 1)},
        {indefinite},
        {endless},
        {invalid, at(0, 0), CMTime{5, 600, 0, 1}},
    };
    for (std::size_t i = 0; i < order.size(); ++i) {
        for (std::size_t j = 0; j < order.size(); ++j) {
            const int expected = i < j ? -1 : i > j;
            for (const CMTime& a : order[i]) {
                for (const CMTime& b : order[j]) EXPECT_EQ(CMTimeCompare(a, b), expected) << i << " and " << j;
            }
        }
    }
}

}  // namespace
}  // namespace ondrix
