#pragma once

#include <ondrix/shading/Vectors.h>

/// Functions of numbers and vectors. They are built from single operations that round once, without branches, tables
/// or wider numbers, so every level and machine computes the same bits. Errors are given in ULP, the distance between
/// two neighbouring floats at the exact result, and hold for results below the smallest normal number, too. Where a
/// function isn't defined, it gives a NaN, always the same one; NaN gives that one, too.
namespace ondrix::shading {

namespace math {

inline constexpr float infinity = __builtin_inff();
inline constexpr std::int32_t signBit = INT32_MIN;

ONDRIX_INLINE Float nan() {
    return asFloat(0x7fc00000);
}

/// `high` + `low`, where `low` is what `high` had to leave out.
struct Sum {
    Float high, low;
};

/// The upper 12 bits of the significand. Products of two such numbers are exact.
ONDRIX_INLINE Float upper(Float a) {
    return asFloat(asInt(a) & ~0xfff);
}

/// a + b exactly, for |a| >= |b| or a = 0.
ONDRIX_INLINE Sum sumOf(Float a, Float b) {
    const Float high = a + b;
    return {high, b - (high - a)};
}

template <class... Coefficients>
ONDRIX_INLINE Float polynomial(Float x, float constant, Coefficients... others) {
    if constexpr (sizeof...(others) == 0)
        return constant;
    else
        return x * polynomial(x, others...) + constant;
}

/// The nearest integer as a number, and one whose lowest 22 bits are that integer's; for magnitudes below 2^22.
struct Whole {
    Float number;
    Int bits;

    ONDRIX_INLINE explicit Whole(Float a) {
        const Float shifted = a + 0x1.8p23f;  // which has no bits for a fraction
        number = shifted - 0x1.8p23f;
        bits = asInt(shifted);
    }
};

/// 2 to the power of high + low, of which `low` is small. NaN gives some number.
ONDRIX_INLINE Float powerOfTwo(Float high, Float low) {
    const Whole whole(clamp(high + low, -152, 130));
    const Float x = clamp((high - whole.number) + low, -0.501f, 0.501f);
    const Float power = polynomial(x, 1.0f, 0.693147182464599609375f, 0.240226447582244873046875f,
                                   5.55035769939422607421875e-2f, 9.61882434785366058349609375e-3f,
                                   1.339189824648201465606689453125e-3f, 1.524621038697659969329833984375e-4f);
    // Two factors, as one may be beyond the range of floats where the result isn't.
    const Int exponent = whole.bits - asInt(0x1.8p23f), half = exponent >> 1;
    return power * asFloat((half + 127) << 23) * asFloat((exponent - half + 127) << 23);
}

/// The logarithm to base 2 of a positive finite number.
ONDRIX_INLINE Sum logarithm(Float a) {
    const Mask subnormal = a < 0x1p-126f;
    const Int bits = asInt(select(subnormal, a * 0x1p24f, a));
    const Int exponent = (bits - 0x3f3504f3) >> 23;
    const Float m = asFloat(bits - (exponent << 23));  // from sqrt(1/2) to sqrt(2)
    // log2(m) = s * (2 / ln(2) + z * (2 / (3 * ln(2)) + ...)), s = (m - 1) / (m + 1), z = s * s. All but the last term
    // is split into products that are exact and what these leave out.
    const Float inverse = Float(1) / (m + 1), divisor = upper(m + 1);
    const Float sHigh = upper((m - 1) * inverse);
    const Float sLow = (((m - 1) - sHigh * divisor) - sHigh * (m - (divisor - 1))) * inverse;
    const Float s = sHigh + sLow, z = s * s, zHigh = upper(z);
    const Float zLow = (sHigh * sHigh - zHigh) + sLow * (s + sHigh);
    const Float cubic = zHigh * 0.9619140625f, factor = upper(cubic + 2.8857421875f);
    const Float rest =
        zLow * 0.9619140625f +
        z * (z * polynomial(z, 0.577077448368072509765625f, 0.412057220935821533203125f, 0.333602428436279296875f) -
             1.17361545562744140625e-4f);
    const Float factorLow = ((Float(2.8857421875f) - factor) + cubic) + (rest - 0x1.7135a8p-12f);
    const Float low = sLow * factor + s * factorLow;
    const Sum sum = sumOf(Float(exponent - select(subnormal, Int(24), Int(0))), sHigh * factor);
    return sumOf(sum.high, sum.low + low);
}

/// `result`, the logarithm of `a`, or what it is for zero, infinity and what has none.
ONDRIX_INLINE Float orLimit(Float a, Float result) {
    return select((a > 0) & (a < infinity), result, select(a == 0, -infinity, select(a > 0, infinity, nan())));
}

/// What remains of an angle after the nearest whole number of quarter turns is taken off.
struct Angle {
    Float sine, cosine;
    Int quarters;  ///< in the lowest two bits

    ONDRIX_INLINE explicit Angle(Float a) {
        const Float angle = select(abs(a) < 0x1p22f, a, Float(0));
        const Whole whole(angle * 0.636619746685f);
        quarters = whole.bits;
        // A quarter turn in parts of 8 bits, so that products with numbers of 16 bits are exact. Where the rest is the
        // smaller one, both are whole multiples of the same bit, and so is the difference, which a float holds.
        Sum rest{(angle - whole.number * 0x1.92p0f) - whole.number * 0x1.fcp-12f, 0};
        for (const float part : {-0x1.58p-21f, 0x1.1p-30f, 0x1.68p-39f, 0x1.84698ap-48f}) {
            const Sum less = sumOf(rest.high, whole.number * -part);
            rest = {less.high, rest.low + less.low};
        }
        const Float z = rest.high * rest.high;
        const Float toSine =
            polynomial(z, -0.16666667163372039794921875f, 8.33339430391788482666015625e-3f,
                       -1.98595735128037631511688232421875e-4f, 2.898714456023299135267734527587890625e-6f);
        const Float toCosine = polynomial(z, 4.1666664183139801025390625e-2f, -1.38882431201636791229248046875e-3f,
                                          2.4536560886190612867279689453125e-5f);
        sine = select(angle == 0, angle, rest.high + (rest.low + rest.high * z * toSine));
        cosine = Float(1) - (z * 0.5f - (z * z * toCosine - rest.high * rest.low));
    }
};

/// The sine `quarters` quarter turns further on.
ONDRIX_INLINE Float sineAfter(Float a, int quarters) {
    const Angle angle(a);
    const Int turned = angle.quarters + quarters;
    const Float result = select((turned & 1) == 0, angle.sine, angle.cosine);
    return select(abs(a) < infinity, asFloat(asInt(result) ^ (turned & 2) << 30), nan());
}

}  // namespace math

/// 2 to the power of `a`: at most 1.2 ULP off.
ONDRIX_INLINE Float exp2(Float a) {
    return select(a == a, math::powerOfTwo(a, 0), math::nan());
}
/// e to the power of `a`: at most 1.2 ULP off.
ONDRIX_INLINE Float exp(Float a) {
    const Float x = clamp(a, -106, 90), high = math::upper(x);
    const Float low = (x - high) * 1.4423828125f + x * 0x1.47652cp-12f;
    return select(a == a, math::powerOfTwo(high * 1.4423828125f, low), math::nan());
}
/// The logarithm to base 2: at most 0.6 ULP off. Zeros give minus infinity, negative numbers NaN.
ONDRIX_INLINE Float log2(Float a) {
    return math::orLimit(a, math::logarithm(a).high);
}
/// The natural logarithm, with the limits of `log2`: at most 0.6 ULP off.
ONDRIX_INLINE Float log(Float a) {
    const math::Sum sum = math::logarithm(a);
    const Float high = math::upper(sum.high);
    const Float low = (sum.high - high + sum.low) * 0.693359375f + sum.high * -0x1.bd0106p-13f;
    return math::orLimit(a, high * 0.693359375f + low);
}
/// `a` to the power of `b`: at most 1.5 ULP off. Zeros, infinities, NaN and negative `a` as for `pow` of C: `a` to the
/// power of 0 and 1 to the power of `b` are 1 in any case, and a negative finite `a` needs an integer `b`.
ONDRIX_INLINE Float pow(Float a, Float b) {
    const Float magnitude = abs(a), exponent = clamp(b, -0x1p32f, 0x1p32f);  // gives 0, 1 or infinity like all beyond
    const math::Sum log = math::logarithm(magnitude);
    const Float high = math::upper(exponent), logHigh = math::upper(log.high);
    const Float low = (exponent - high) * log.high + high * (log.high - logHigh) + exponent * log.low;
    const Float power = math::powerOfTwo(high * logHigh, low);
    const Mask zero = a == 0, infinite = magnitude == math::infinity;
    const Float size =
        select((zero & (b < 0)) | (infinite & (b > 0)), math::infinity, select(zero | infinite, 0, power));
    const Mask even = abs(b) >= 0x1p24f, whole = even | (floor(b) == b);
    const Mask odd = whole & !(even | (floor(b * 0.5f) == b * 0.5f));
    const Float result = asFloat(asInt(size) | select(odd, asInt(a) & math::signBit, Int(0)));
    const Mask defined = (a == a) & (b == b) & (whole | infinite | (a >= 0));
    return select((b == 0) | (a == 1), 1, select(defined, result, math::nan()));
}

/// Sine, cosine and tangent of an angle in radians: at most 1.2, 1.2 and 3 ULP off up to magnitudes of 100000. Beyond,
/// the error grows as if the angle were a few ULP off; from 2^22 on every finite angle counts as 0. Infinities give
/// NaN.
ONDRIX_INLINE Float sin(Float a) {
    return math::sineAfter(a, 0);
}
ONDRIX_INLINE Float cos(Float a) {
    return math::sineAfter(a, 1);
}
ONDRIX_INLINE Float tan(Float a) {
    const math::Angle angle(a);
    const Mask even = (angle.quarters & 1) == 0;
    const Float result = select(even, angle.sine, -angle.cosine) / select(even, angle.cosine, angle.sine);
    return select(abs(a) < math::infinity, result, math::nan());
}
/// The angle in radians, from -pi to pi, of the direction (x, y) to the x axis: at most 2 ULP off. Zeros and infinities
/// as for `atan2` of C.
ONDRIX_INLINE Float atan2(Float y, Float x) {
    const Float absX = abs(x), absY = abs(y);
    const Float smaller = min(absX, absY), larger = max(absX, absY);
    const Float q = select(smaller == larger, select(larger == 0, 0, Float(1)), smaller / larger), z = q * q;
    const Float first = q + q * z *
                                math::polynomial(z, -0.333333313465118408203125f, 0.1999975144863128662109375f,
                                                 -0.1427907049655914306640625f, 0.110385827720165252685546875f,
                                                 -8.6774773895740509033203125e-2f, 6.296260654926300048828125e-2f,
                                                 -3.64330299198627471923828125e-2f, 1.3860541395843029022216796875e-2f,
                                                 -2.47651594690978527069091796875e-3f);
    const Float steep = select(absY > absX, Float(0x1.921fb6p0f) - (first + 0x1.777a5cp-25f), first);
    const Float angle = select(asInt(x) < 0, Float(0x1.921fb6p1f) - (steep + 0x1.777a5cp-24f), steep);
    return select((x == x) & (y == y), asFloat(asInt(angle) | (asInt(y) & math::signBit)), math::nan());
}

/// The nearest integer; halves away from zero.
ONDRIX_INLINE Float round(Float a) {
    const Float size = abs(a), below = floor(size), nearest = below + select(size - below >= 0.5f, Float(1), Float(0));
    return select(size < 0x1p23f, asFloat(asInt(nearest) | (asInt(a) & math::signBit)), select(a == a, a, math::nan()));
}
/// -1, 0 or 1; 0 for zeros and NaN.
ONDRIX_INLINE Float sign(Float a) {
    return select(a > 0, 1, select(a < 0, Float(-1), Float(0)));
}
ONDRIX_INLINE Float2 round(Float2 a) {
    return {round(a.x), round(a.y)};
}
ONDRIX_INLINE Float3 round(Float3 a) {
    return {round(a.x), round(a.y), round(a.z)};
}
ONDRIX_INLINE Float4 round(Float4 a) {
    return {round(a.x), round(a.y), round(a.z), round(a.w)};
}
ONDRIX_INLINE Float2 sign(Float2 a) {
    return {sign(a.x), sign(a.y)};
}
ONDRIX_INLINE Float3 sign(Float3 a) {
    return {sign(a.x), sign(a.y), sign(a.z)};
}
ONDRIX_INLINE Float4 sign(Float4 a) {
    return {sign(a.x), sign(a.y), sign(a.z), sign(a.w)};
}

ONDRIX_INLINE Float3 cross(Float3 a, Float3 b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
ONDRIX_INLINE Float length(Float4 a) {
    return sqrt(dot(a, a));
}
/// The vector of length 1 in the same direction, for lengths from 1e-19 to 1e19; a zero vector stays as it is.
template <class Vector>
requires std::same_as<Vector, Float2> || std::same_as<Vector, Float3> || std::same_as<Vector, Float4>
    ONDRIX_INLINE Vector normalize(Vector a) {
    const Float size = length(a);
    return a / select(size > 0, size, 1);
}
/// `a`, mirrored by the plane or line that is perpendicular to `normal`, a vector of length 1.
template <class Vector>
requires std::same_as<Vector, Float2> || std::same_as<Vector, Float3> || std::same_as<Vector, Float4>
    ONDRIX_INLINE Vector reflect(Vector a, Vector normal) {
    return a - 2 * dot(a, normal) * normal;
}

}  // namespace ondrix::shading
