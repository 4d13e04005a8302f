// Times are fractions: what they lose is an endless shift between sound and picture.
#include <cmath>
#include <limits>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include <ondrix/platform/coremedia/CMTime.h>

namespace ondrix {
namespace {

constexpr std::int64_t huge = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int32_t finest = std::numeric_limits<std::int32_t>::max();
constexpr CMTime invalid = kCMTimeInvalid, indefinite = kCMTimeIndefinite;
constexpr CMTime endless = kCMTimePositiveInfinity, beginningless = kCMTimeNegativeInfinity;
constexpr CMTime unflagged = {5, 600, 0, 1};  // invalid too

constexpr CMTime at(std::int64_t value, std::int32_t timescale, std::int64_t epoch = 0) {
    return {value, timescale, kCMTimeFlags_Valid, epoch};
}
constexpr CMTime rounded(std::int64_t value, std::int32_t timescale) {
    return {value, timescale, kCMTimeFlags_Valid | kCMTimeFlags_HasBeenRounded, 0};
}
auto parts(CMTime time) {
    return std::tuple(time.value, time.timescale, time.flags, time.epoch);
}
void expect(const std::vector<CMTime>& results, const std::vector<CMTime>& expected) {
    for (std::size_t i = 0; i < results.size(); ++i) EXPECT_EQ(parts(results[i]), parts(expected.at(i))) << i;
}

TEST(Time, CalculatesWithoutLossWhereAnyTimescaleFits) {
    expect({CMTimeAdd(at(-1, 24), at(1, 90000))}, {at(-3749, 90000)});
    // The common timescale is too fine, but not for these values.
    expect({CMTimeAdd(at(finest, finest), at(finest - 1, finest - 1)), CMTimeAdd(at(huge - 1, 2), at(huge - 1, 2))},
           {at(2, 1), at(huge - 1, 1)});
    // 1/p + 1/(p - 1) is two of the finest ticks and a bit; the other sum is 2/3 over a whole second.
    expect({CMTimeAdd(at(-1, finest), at(-1, finest - 1)), CMTimeAdd(at(huge, 3), at(huge, 3))},
           {rounded(-2, finest), rounded(6148914691236517205, 1)});
    expect({CMTimeAdd(at(lowest, 1), at(-1, 1)), CMTimeAdd(rounded(1, 2), at(1, 2)), CMTimeAdd(at(1, 2), at(1, 2, 7)),
            CMTimeAdd(at(1, 2, 7), at(1, 2, 8)), CMTimeAdd(at(1, 2), at(1, 0))},
           {beginningless, rounded(2, 2), at(2, 2, 7), invalid, invalid});
    expect({CMTimeAdd(endless, beginningless), CMTimeAdd(endless, indefinite), CMTimeAdd(indefinite, invalid)},
           {invalid, indefinite, invalid});
    expect({CMTimeSubtract(at(-1, 1), at(lowest, 1)), CMTimeSubtract(at(5, 1, 3), at(2, 1, 3)),
            CMTimeSubtract(at(5, 1, 3), at(2, 1)), CMTimeSubtract(at(0, 1), endless)},
           {at(huge, 1), at(3, 1), at(3, 1, 3), beginningless});
    expect({CMTimeMultiply(at(1001, 30000), -3), CMTimeMultiply(at(lowest, 1), -finest), CMTimeMultiply(endless, -1),
            CMTimeMultiply(endless, 0)},
           {at(-3003, 30000), endless, beginningless, invalid});
    expect({CMTimeMakeWithSeconds(0.25, 2), CMTimeMakeWithSeconds(-1e-300, 600), CMTimeMakeWithSeconds(0x1p53, 1024),
            CMTimeMakeWithSeconds(-0x1p53, 1024), CMTimeMakeWithSeconds(-HUGE_VAL, 600),
            CMTimeMakeWithSeconds(std::nan(""), 600)},
           {rounded(1, 2), rounded(0, 600), endless, at(lowest, 1024), beginningless, invalid});
    EXPECT_EQ(CMTimeGetSeconds(at(-1, 4)), -0.25);
    EXPECT_TRUE(std::isnan(CMTimeGetSeconds(indefinite)) && std::isinf(CMTimeGetSeconds(endless)));
}

TEST(Time, ConvertsWithEachRounding) {
    using enum CMTimeRoundingMethod;
    // Of 1/2, -1/2, 1/3 and -1/3 as whole seconds.
    const std::pair<CMTimeRoundingMethod, std::vector<int>> cases[] = {{roundHalfAwayFromZero, {1, -1, 0, 0}},
                                                                       {roundTowardZero, {0, 0, 0, 0}},
                                                                       {roundAwayFromZero, {1, -1, 1, -1}},
                                                                       {roundTowardPositiveInfinity, {1, 0, 1, 0}},
                                                                       {roundTowardNegativeInfinity, {0, -1, 0, -1}}};
    const CMTime times[] = {at(1, 2), at(-1, 2), at(1, 3), at(-1, 3)};
    for (const auto& [method, wholes] : cases) {
        for (int i = 0; i < 4; ++i) expect({CMTimeConvertScale(times[i], 1, method)}, {rounded(wholes[i], 1)});
        expect({CMTimeConvertScale(at(3, 30, 4), 90000, method), CMTimeConvertScale(at(lowest, 1), 2, method)},
               {at(9000, 90000, 4), beginningless});
    }
}

TEST(Time, ComparesEveryPairWithoutLoss) {
    const auto list = [](auto... times) { return std::vector<CMTime>{times...}; };
    // Ascending, and the same once more. In double, `huge` and the one before it are the same.
    const auto order = list(beginningless, at(lowest, 1), at(-1, 30), at(1, 3), at(333333334, 1000000000),
                            at(huge - 1, finest), at(huge, finest), at(lowest, 1, 1), indefinite, endless, unflagged);
    const auto same =
        list(beginningless, at(lowest, 1), at(-3000, 90000), at(2, 6), at(166666667, 500000000), at(huge - 1, finest),
             rounded(huge, finest), at(lowest, 1, 1), indefinite, endless, at(0, 0));
    for (std::size_t i = 0; i < order.size(); ++i) {
        for (std::size_t j = 0; j < same.size(); ++j) {
            EXPECT_EQ(CMTimeCompare(order[i], same[j]), i < j ? -1 : i > j) << i << " and " << j;
        }
    }
}

}  // namespace
}  // namespace ondrix
