#pragma once

#include <cstdint>
#include <limits>

namespace ondrix {

/// Option set of a `CMTime`. A time without `valid` is invalid, whatever else it holds.
using CMTimeFlags = std::uint32_t;
inline constexpr CMTimeFlags kCMTimeFlags_Valid = 1;
inline constexpr CMTimeFlags kCMTimeFlags_HasBeenRounded = 2;
inline constexpr CMTimeFlags kCMTimeFlags_PositiveInfinity = 4;
inline constexpr CMTimeFlags kCMTimeFlags_NegativeInfinity = 8;
inline constexpr CMTimeFlags kCMTimeFlags_Indefinite = 16;
inline constexpr CMTimeFlags kCMTimeFlags_ImpliedValueFlagsMask = 4 | 8 | 16;

/// How a conversion to a coarser timescale rounds.
enum class CMTimeRoundingMethod : std::uint32_t {
    roundHalfAwayFromZero = 1,
    roundTowardZero = 2,
    roundAwayFromZero = 3,
    roundTowardPositiveInfinity = 5,
    roundTowardNegativeInfinity = 6,
};

/// A point in time or a duration as the fraction `value / timescale` in seconds. A plain value; equal times may have
/// different timescales, so it is compared by `CMTimeCompare`. All zero bytes are the invalid time.
struct CMTime {
    std::int64_t value = 0;
    std::int32_t timescale = 0;  ///< ticks a second; positive for every numeric time
    CMTimeFlags flags = 0;
    std::int64_t epoch = 0;  ///< tells passes through a loop apart; times of different epochs are ordered by it
};

inline constexpr CMTime kCMTimeInvalid{};
inline constexpr CMTime kCMTimeZero{0, 1, kCMTimeFlags_Valid, 0};
inline constexpr CMTime kCMTimePositiveInfinity{0, 0, kCMTimeFlags_Valid | kCMTimeFlags_PositiveInfinity, 0};
inline constexpr CMTime kCMTimeNegativeInfinity{0, 0, kCMTimeFlags_Valid | kCMTimeFlags_NegativeInfinity, 0};
inline constexpr CMTime kCMTimeIndefinite{0, 0, kCMTimeFlags_Valid | kCMTimeFlags_Indefinite, 0};

[[nodiscard]] constexpr bool CMTIME_IS_VALID(CMTime time) {
    return (time.flags & kCMTimeFlags_Valid) != 0;
}
/// Valid, and neither infinite nor indefinite.
[[nodiscard]] constexpr bool CMTIME_IS_NUMERIC(CMTime time) {
    return (time.flags & (kCMTimeFlags_Valid | kCMTimeFlags_ImpliedValueFlagsMask)) == kCMTimeFlags_Valid;
}

/// Invalid for a timescale below 1.
[[nodiscard]] CMTime CMTimeMake(std::int64_t value, std::int32_t timescale);
/// The nearest tick, flagged as rounded when the seconds aren't one exactly; infinite when it doesn't fit, invalid for
/// not-a-number.
[[nodiscard]] CMTime CMTimeMakeWithSeconds(double seconds, std::int32_t preferredTimescale);
/// Not-a-number for an invalid or indefinite time.
[[nodiscard]] double CMTimeGetSeconds(CMTime time);

/// Exact wherever a timescale that both fit has 31 bits and the result 64; otherwise the nearest time in the finest
/// timescale that fits, flagged as rounded, or an infinity. Invalid wins over indefinite, indefinite over infinite;
/// infinities of different sign make an invalid time, as do times of different epochs unless one is a duration
/// (epoch 0), and an infinity times 0. The difference of two times of one epoch is a duration.
[[nodiscard]] CMTime CMTimeAdd(CMTime addend1, CMTime addend2);
[[nodiscard]] CMTime CMTimeSubtract(CMTime minuend, CMTime subtrahend);
[[nodiscard]] CMTime CMTimeMultiply(CMTime time, std::int32_t multiplier);

/// The same time in another timescale; flagged as rounded when it has none there.
[[nodiscard]] CMTime CMTimeConvertScale(CMTime time, std::int32_t newTimescale, CMTimeRoundingMethod method);

/// -1, 0 or 1 for every pair of times, without loss: negative infinity < numbers < indefinite < positive infinity <
/// invalid.
[[nodiscard]] std::int32_t CMTimeCompare(CMTime time1, CMTime time2);

}  // namespace ondrix
