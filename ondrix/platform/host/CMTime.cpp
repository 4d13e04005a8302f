#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include <ondrix/platform/coremedia/CMTime.h>

namespace ondrix {

namespace {

/// Holds every product of a value and two timescales.
__extension__ typedef __int128 Wide;

constexpr std::int64_t maximumValue = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t minimumValue = std::numeric_limits<std::int64_t>::min();
constexpr std::int32_t maximumTimescale = std::numeric_limits<std::int32_t>::max();

/// In the order of `CMTimeCompare`.
enum class Kind { negativeInfinity, number, indefinite, positiveInfinity, invalid };

Kind kindOf(CMTime time) {
    if (!CMTIME_IS_VALID(time)) return Kind::invalid;
    if ((time.flags & kCMTimeFlags_Indefinite) != 0) return Kind::indefinite;
    if ((time.flags & kCMTimeFlags_PositiveInfinity) != 0) return Kind::positiveInfinity;
    if ((time.flags & kCMTimeFlags_NegativeInfinity) != 0) return Kind::negativeInfinity;
    return time.timescale > 0 ? Kind::number : Kind::invalid;
}

CMTime infinity(bool isNegative) {
    return isNegative ? kCMTimeNegativeInfinity : kCMTimePositiveInfinity;
}

Wide magnitude(Wide value) {
    return value < 0 ? -value : value;
}

bool fitsValue(Wide value) {
    return value >= minimumValue && value <= maximumValue;
}

Wide greatestCommonDivisor(Wide a, Wide b) {
    a = magnitude(a);
    while (b != 0) {
        const Wide remainder = a % b;
        a = b;
        b = remainder;
    }
    return a;
}

/// `numerator / denominator`, which is positive, as a whole number.
Wide divide(Wide numerator, Wide denominator, CMTimeRoundingMethod method) {
    const Wide quotient = numerator / denominator;
    const Wide remainder = magnitude(numerator % denominator);
    if (remainder == 0) return quotient;
    const bool isNegative = numerator < 0;
    bool awayFromZero = false;
    switch (method) {
        case CMTimeRoundingMethod::roundHalfAwayFromZero:
            awayFromZero = remainder >= denominator - remainder;
            break;
        case CMTimeRoundingMethod::roundTowardZero:
            break;
        case CMTimeRoundingMethod::roundAwayFromZero:
            awayFromZero = true;
            break;
        case CMTimeRoundingMethod::roundTowardPositiveInfinity:
            awayFromZero = !isNegative;
            break;
        case CMTimeRoundingMethod::roundTowardNegativeInfinity:
            awayFromZero = isNegative;
            break;
    }
    if (!awayFromZero) return quotient;
    return isNegative ? quotient - 1 : quotient + 1;
}

/// The time of `numerator / denominator` seconds: in that timescale if it fits, in a coarser one that has it exactly,
/// or rounded. The numerator is below 2^96, the denominator positive and below 2^62.
CMTime makeTime(Wide numerator, Wide denominator, CMTimeFlags flags, std::int64_t epoch) {
    const auto fits = [&] { return denominator <= maximumTimescale && fitsValue(numerator); };
    if (!fits()) {
        const Wide divisor = greatestCommonDivisor(numerator, denominator);
        numerator /= divisor;
        denominator /= divisor;
    }
    if (fits()) {
        return {static_cast<std::int64_t>(numerator), static_cast<std::int32_t>(denominator), flags, epoch};
    }
    const Wide timescale = std::min<Wide>(maximumTimescale, maximumValue * denominator / magnitude(numerator));
    if (timescale < 1) return infinity(numerator < 0);
    const Wide value = divide(numerator * timescale, denominator, CMTimeRoundingMethod::roundHalfAwayFromZero);
    return {static_cast<std::int64_t>(value), static_cast<std::int32_t>(timescale), flags | kCMTimeFlags_HasBeenRounded,
            epoch};
}

CMTime addScaled(CMTime time1, CMTime time2, int sign, std::int64_t epoch) {
    const std::int64_t divisor = std::gcd(time1.timescale, time2.timescale);
    const Wide factor1 = time2.timescale / divisor;
    const Wide factor2 = time1.timescale / divisor;
    return makeTime(time1.value * factor1 + sign * (time2.value * factor2), time1.timescale * factor1,
                    time1.flags | time2.flags, epoch);
}

/// The sum where at least one addend isn't a number.
CMTime addKinds(Kind kind1, Kind kind2) {
    if (kind1 == Kind::invalid || kind2 == Kind::invalid) return kCMTimeInvalid;
    if (kind1 == Kind::indefinite || kind2 == Kind::indefinite) return kCMTimeIndefinite;
    if (kind1 != Kind::number && kind2 != Kind::number && kind1 != kind2) return kCMTimeInvalid;
    return infinity((kind1 != Kind::number ? kind1 : kind2) == Kind::negativeInfinity);
}

Kind negated(Kind kind) {
    if (kind == Kind::negativeInfinity) return Kind::positiveInfinity;
    if (kind == Kind::positiveInfinity) return Kind::negativeInfinity;
    return kind;
}

bool haveDifferentEpochs(CMTime time1, CMTime time2) {
    return time1.epoch != time2.epoch && time1.epoch != 0 && time2.epoch != 0;
}

}  // namespace

CMTime CMTimeMake(std::int64_t value, std::int32_t timescale) {
    if (timescale < 1) return kCMTimeInvalid;
    return {value, timescale, kCMTimeFlags_Valid, 0};
}

CMTime CMTimeMakeWithSeconds(double seconds, std::int32_t preferredTimescale) {
    if (std::isnan(seconds) || preferredTimescale < 1) return kCMTimeInvalid;
    if (std::abs(seconds) >= 0x1p63) return infinity(seconds < 0);  // seconds alone don't fit
    // seconds = digits * 2^exponent with 53 digits, so that nothing but the division rounds.
    int exponent = 0;
    const auto digits = static_cast<std::int64_t>(std::ldexp(std::frexp(seconds, &exponent), 53));
    exponent -= 53;
    Wide ticks = Wide{digits} * preferredTimescale;
    bool isRounded = false;
    if (exponent >= 0) {
        ticks *= Wide{1} << exponent;
    } else {
        const Wide divisor = Wide{1} << std::min(-exponent, 100);  // beyond that, any time is nearest to 0
        isRounded = ticks % divisor != 0;
        ticks = divide(ticks, divisor, CMTimeRoundingMethod::roundHalfAwayFromZero);
    }
    if (!fitsValue(ticks)) return infinity(seconds < 0);
    return {static_cast<std::int64_t>(ticks), preferredTimescale,
            isRounded ? kCMTimeFlags_Valid | kCMTimeFlags_HasBeenRounded : kCMTimeFlags_Valid, 0};
}

double CMTimeGetSeconds(CMTime time) {
    switch (kindOf(time)) {
        case Kind::number:
            return static_cast<double>(time.value) / time.timescale;
        case Kind::positiveInfinity:
            return std::numeric_limits<double>::infinity();
        case Kind::negativeInfinity:
            return -std::numeric_limits<double>::infinity();
        default:
            return std::numeric_limits<double>::quiet_NaN();
    }
}

CMTime CMTimeAdd(CMTime addend1, CMTime addend2) {
    const Kind kind1 = kindOf(addend1);
    const Kind kind2 = kindOf(addend2);
    if (kind1 != Kind::number || kind2 != Kind::number) return addKinds(kind1, kind2);
    if (haveDifferentEpochs(addend1, addend2)) return kCMTimeInvalid;
    return addScaled(addend1, addend2, 1, addend1.epoch != 0 ? addend1.epoch : addend2.epoch);
}

CMTime CMTimeSubtract(CMTime minuend, CMTime subtrahend) {
    const Kind kind1 = kindOf(minuend);
    const Kind kind2 = kindOf(subtrahend);
    if (kind1 != Kind::number || kind2 != Kind::number) return addKinds(kind1, negated(kind2));
    if (haveDifferentEpochs(minuend, subtrahend)) return kCMTimeInvalid;
    const bool areOfOneEpoch = minuend.epoch == subtrahend.epoch;
    return addScaled(minuend, subtrahend, -1, areOfOneEpoch ? 0 : minuend.epoch + subtrahend.epoch);
}

CMTime CMTimeMultiply(CMTime time, std::int32_t multiplier) {
    switch (kindOf(time)) {
        case Kind::number:
            return makeTime(Wide{time.value} * multiplier, time.timescale, time.flags, time.epoch);
        case Kind::positiveInfinity:
        case Kind::negativeInfinity:
            if (multiplier == 0) return kCMTimeInvalid;
            return infinity((kindOf(time) == Kind::negativeInfinity) != (multiplier < 0));
        case Kind::indefinite:
            return kCMTimeIndefinite;
        default:
            return kCMTimeInvalid;
    }
}

CMTime CMTimeConvertScale(CMTime time, std::int32_t newTimescale, CMTimeRoundingMethod method) {
    if (newTimescale < 1) return kCMTimeInvalid;
    if (kindOf(time) != Kind::number) return time;
    const Wide numerator = Wide{time.value} * newTimescale;
    const Wide value = divide(numerator, time.timescale, method);
    if (!fitsValue(value)) return infinity(time.value < 0);
    const bool isRounded = numerator % time.timescale != 0;
    return {static_cast<std::int64_t>(value), newTimescale,
            isRounded ? time.flags | kCMTimeFlags_HasBeenRounded : time.flags, time.epoch};
}

std::int32_t CMTimeCompare(CMTime time1, CMTime time2) {
    const auto order = [](auto a, auto b) { return a < b ? -1 : a > b ? 1 : 0; };
    const Kind kind1 = kindOf(time1);
    const Kind kind2 = kindOf(time2);
    if (kind1 != Kind::number || kind2 != Kind::number) return order(kind1, kind2);
    if (time1.epoch != time2.epoch) return order(time1.epoch, time2.epoch);
    return order(Wide{time1.value} * time2.timescale, Wide{time2.value} * time1.timescale);
}

}  // namespace ondrix
