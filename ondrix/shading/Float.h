#pragma once

#include <concepts>
#include <type_traits>

#include <ondrix/shading/Lanes.h>

/// The numbers that GPU functions compute with. Each is a pack, one value for every pixel that is worked on at once;
/// how many these are depends on the machine and never changes a result. Plain numbers convert to packs by themselves.
namespace ondrix::shading {

/// A truth value a pixel. It doesn't convert to `bool`: choose with `select`, and use `any` only to save work.
struct Mask {
    lanes::Ints v;  // all bits set where true

    explicit operator bool() const = delete;  // pixels may differ: choose by select(mask, a, b)

    friend ONDRIX_INLINE Mask operator&(Mask a, Mask b) { return {a.v & b.v}; }
    friend ONDRIX_INLINE Mask operator|(Mask a, Mask b) { return {a.v | b.v}; }
    friend ONDRIX_INLINE Mask operator!(Mask a) { return {~a.v}; }
};

/// True when at least one pixel's value is true.
ONDRIX_INLINE bool any(Mask mask) {
    std::int32_t combined = 0;
    for (int i = 0; i < lanes::count; i++) combined |= mask.v[i];
    return combined != 0;
}

/// 32-bit signed integer a pixel; arithmetic wraps.
struct Int {
    lanes::Ints v;

    Int() = default;
    ONDRIX_INLINE explicit Int(lanes::Ints lanes) : v(lanes) {}
    template <std::integral T>
    ONDRIX_INLINE Int(T i) : v(lanes::broadcast(static_cast<std::int32_t>(i))) {}

    friend ONDRIX_INLINE Int operator+(Int a, Int b) { return Int(wrapped(unsignedOf(a) + unsignedOf(b))); }
    friend ONDRIX_INLINE Int operator-(Int a, Int b) { return Int(wrapped(unsignedOf(a) - unsignedOf(b))); }
    friend ONDRIX_INLINE Int operator*(Int a, Int b) { return Int(wrapped(unsignedOf(a) * unsignedOf(b))); }
    friend ONDRIX_INLINE Int operator&(Int a, Int b) { return Int(a.v & b.v); }
    friend ONDRIX_INLINE Int operator|(Int a, Int b) { return Int(a.v | b.v); }
    friend ONDRIX_INLINE Int operator^(Int a, Int b) { return Int(a.v ^ b.v); }
    /// `bits` from 0 to 31; the right shift keeps the sign.
    friend ONDRIX_INLINE Int operator<<(Int a, int bits) { return Int(wrapped(unsignedOf(a) << bits)); }
    friend ONDRIX_INLINE Int operator>>(Int a, int bits) { return Int(a.v >> bits); }
    friend ONDRIX_INLINE Int operator-(Int a) { return Int(0) - a; }
    friend ONDRIX_INLINE Mask operator==(Int a, Int b) { return {a.v == b.v}; }
    friend ONDRIX_INLINE Mask operator!=(Int a, Int b) { return {a.v != b.v}; }
    friend ONDRIX_INLINE Mask operator<(Int a, Int b) { return {a.v < b.v}; }
    friend ONDRIX_INLINE Mask operator<=(Int a, Int b) { return {a.v <= b.v}; }
    friend ONDRIX_INLINE Mask operator>(Int a, Int b) { return {a.v > b.v}; }
    friend ONDRIX_INLINE Mask operator>=(Int a, Int b) { return {a.v >= b.v}; }
    ONDRIX_INLINE Int& operator+=(Int b) { return *this = *this + b; }
    ONDRIX_INLINE Int& operator-=(Int b) { return *this = *this - b; }
    ONDRIX_INLINE Int& operator*=(Int b) { return *this = *this * b; }

private:
    static ONDRIX_INLINE lanes::UInts unsignedOf(Int a) { return reinterpret_cast<lanes::UInts>(a.v); }
    static ONDRIX_INLINE lanes::Ints wrapped(lanes::UInts u) { return reinterpret_cast<lanes::Ints>(u); }
};

/// Number of a vertex; an integer that is never negative.
using UInt = Int;

/// 32-bit float a pixel. Every operation rounds once; nothing is fused or reordered.
struct Float {
    lanes::Floats v;

    Float() = default;
    ONDRIX_INLINE explicit Float(lanes::Floats lanes) : v(lanes) {}
    template <class T>
    requires std::is_arithmetic_v<T> ONDRIX_INLINE Float(T f) : v(lanes::broadcast(static_cast<float>(f))) {}
    /// Exact up to magnitudes of 2^24, beyond that the nearest float.
    ONDRIX_INLINE explicit Float(Int i) : v(__builtin_convertvector(i.v, lanes::Floats)) {}

    friend ONDRIX_INLINE Float operator+(Float a, Float b) { return Float(a.v + b.v); }
    friend ONDRIX_INLINE Float operator-(Float a, Float b) { return Float(a.v - b.v); }
    friend ONDRIX_INLINE Float operator*(Float a, Float b) { return Float(a.v * b.v); }
    friend ONDRIX_INLINE Float operator/(Float a, Float b) { return Float(a.v / b.v); }
    friend ONDRIX_INLINE Float operator-(Float a) { return Float(-a.v); }
    friend ONDRIX_INLINE Mask operator==(Float a, Float b) { return {a.v == b.v}; }
    friend ONDRIX_INLINE Mask operator!=(Float a, Float b) { return {a.v != b.v}; }
    friend ONDRIX_INLINE Mask operator<(Float a, Float b) { return {a.v < b.v}; }
    friend ONDRIX_INLINE Mask operator<=(Float a, Float b) { return {a.v <= b.v}; }
    friend ONDRIX_INLINE Mask operator>(Float a, Float b) { return {a.v > b.v}; }
    friend ONDRIX_INLINE Mask operator>=(Float a, Float b) { return {a.v >= b.v}; }
    ONDRIX_INLINE Float& operator+=(Float b) { return *this = *this + b; }
    ONDRIX_INLINE Float& operator-=(Float b) { return *this = *this - b; }
    ONDRIX_INLINE Float& operator*=(Float b) { return *this = *this * b; }
    ONDRIX_INLINE Float& operator/=(Float b) { return *this = *this / b; }
};

/// `whenTrue` where the mask holds, `whenFalse` elsewhere.
ONDRIX_INLINE Float select(Mask mask, Float whenTrue, Float whenFalse) {
    return Float(mask.v ? whenTrue.v : whenFalse.v);
}
ONDRIX_INLINE Int select(Mask mask, Int whenTrue, Int whenFalse) {
    return Int(mask.v ? whenTrue.v : whenFalse.v);
}

/// a < b ? a : b, so `b` where either is NaN.
ONDRIX_INLINE Float min(Float a, Float b) {
    return Float(a.v < b.v ? a.v : b.v);
}
/// a > b ? a : b, so `b` where either is NaN.
ONDRIX_INLINE Float max(Float a, Float b) {
    return Float(a.v > b.v ? a.v : b.v);
}
ONDRIX_INLINE Int min(Int a, Int b) {
    return Int(lanes::smaller(a.v, b.v));
}
ONDRIX_INLINE Int max(Int a, Int b) {
    return Int(lanes::larger(a.v, b.v));
}
/// `low` for NaN.
ONDRIX_INLINE Float clamp(Float a, Float low, Float high) {
    return min(max(a, low), high);
}
ONDRIX_INLINE Int clamp(Int a, Int low, Int high) {
    return min(max(a, low), high);
}
/// Limits to 0...1; 0 for NaN.
ONDRIX_INLINE Float saturate(Float a) {
    return clamp(a, 0, 1);
}
/// The 32 bits of each float as an integer, and back: sign, 8 bits of exponent, 23 of the significand.
ONDRIX_INLINE Int asInt(Float a) {
    return Int(reinterpret_cast<lanes::Ints>(a.v));
}
ONDRIX_INLINE Float asFloat(Int bits) {
    return Float(reinterpret_cast<lanes::Floats>(bits.v));
}
ONDRIX_INLINE Float abs(Float a) {
    return asFloat(asInt(a) & 0x7fffffff);
}
/// Magnitudes below 2^31.
ONDRIX_INLINE Float floor(Float a) {
    return Float(lanes::floor(a.v));
}
ONDRIX_INLINE Float fract(Float a) {
    return a - floor(a);
}
/// Correctly rounded.
ONDRIX_INLINE Float sqrt(Float a) {
    return Float(lanes::squareRoot(a.v));
}
/// a * b + c, rounded after each step.
ONDRIX_INLINE Float mad(Float a, Float b, Float c) {
    return a * b + c;
}
/// a + (b - a) * weight: exactly `a` where both are equal.
ONDRIX_INLINE Float mix(Float a, Float b, Float weight) {
    return a + (b - a) * weight;
}
ONDRIX_INLINE Float step(Float edge, Float a) {
    return select(a < edge, Float(0), Float(1));
}
ONDRIX_INLINE Float smoothstep(Float low, Float high, Float a) {
    const Float t = saturate((a - low) / (high - low));
    return t * t * (Float(3) - 2 * t);
}
/// Rounds towards zero; limited to -2147483520...2147483520, 0 for NaN.
ONDRIX_INLINE Int toInt(Float a) {
    constexpr float limit = 2147483520.0f;
    const Float number = select(a == a, a, Float(0));
    return Int(lanes::truncate(clamp(number, -limit, limit).v));
}

}  // namespace ondrix::shading
