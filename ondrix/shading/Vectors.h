#pragma once

#include <ondrix/shading/Float.h>

/// Short vectors of packs, added and multiplied component by component, and a matrix of plain floats.
namespace ondrix::shading {

struct Float2 {
    Float x, y;

    friend ONDRIX_INLINE Float2 operator+(Float2 a, Float2 b) { return {a.x + b.x, a.y + b.y}; }
    friend ONDRIX_INLINE Float2 operator-(Float2 a, Float2 b) { return {a.x - b.x, a.y - b.y}; }
    friend ONDRIX_INLINE Float2 operator*(Float2 a, Float2 b) { return {a.x * b.x, a.y * b.y}; }
    friend ONDRIX_INLINE Float2 operator*(Float2 a, Float b) { return {a.x * b, a.y * b}; }
    friend ONDRIX_INLINE Float2 operator*(Float a, Float2 b) { return b * a; }
    friend ONDRIX_INLINE Float2 operator/(Float2 a, Float b) { return {a.x / b, a.y / b}; }
    ONDRIX_INLINE Float2& operator+=(Float2 b) { return *this = *this + b; }
};

struct Float3 {
    Float x, y, z;

    friend ONDRIX_INLINE Float3 operator+(Float3 a, Float3 b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
    friend ONDRIX_INLINE Float3 operator-(Float3 a, Float3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
    friend ONDRIX_INLINE Float3 operator*(Float3 a, Float3 b) { return {a.x * b.x, a.y * b.y, a.z * b.z}; }
    friend ONDRIX_INLINE Float3 operator*(Float3 a, Float b) { return {a.x * b, a.y * b, a.z * b}; }
    friend ONDRIX_INLINE Float3 operator*(Float a, Float3 b) { return b * a; }
    friend ONDRIX_INLINE Float3 operator/(Float3 a, Float b) { return {a.x / b, a.y / b, a.z / b}; }
    ONDRIX_INLINE Float3& operator+=(Float3 b) { return *this = *this + b; }
};

/// Also a colour: red, green, blue, alpha.
struct Float4 {
    Float x, y, z, w;

    friend ONDRIX_INLINE Float4 operator+(Float4 a, Float4 b) { return {a.x + b.x, a.y + b.y, a.z + b.z, a.w + b.w}; }
    friend ONDRIX_INLINE Float4 operator-(Float4 a, Float4 b) { return {a.x - b.x, a.y - b.y, a.z - b.z, a.w - b.w}; }
    friend ONDRIX_INLINE Float4 operator*(Float4 a, Float4 b) { return {a.x * b.x, a.y * b.y, a.z * b.z, a.w * b.w}; }
    friend ONDRIX_INLINE Float4 operator*(Float4 a, Float b) { return {a.x * b, a.y * b, a.z * b, a.w * b}; }
    friend ONDRIX_INLINE Float4 operator*(Float a, Float4 b) { return b * a; }
    friend ONDRIX_INLINE Float4 operator/(Float4 a, Float b) { return {a.x / b, a.y / b, a.z / b, a.w / b}; }
    ONDRIX_INLINE Float4& operator+=(Float4 b) { return *this = *this + b; }
    ONDRIX_INLINE Float3 xyz() const { return {x, y, z}; }
};

struct Int2 {
    Int x, y;

    friend ONDRIX_INLINE Int2 operator+(Int2 a, Int2 b) { return {a.x + b.x, a.y + b.y}; }
    friend ONDRIX_INLINE Int2 operator-(Int2 a, Int2 b) { return {a.x - b.x, a.y - b.y}; }
};

ONDRIX_INLINE Float dot(Float2 a, Float2 b) {
    return a.x * b.x + a.y * b.y;
}
ONDRIX_INLINE Float dot(Float3 a, Float3 b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
ONDRIX_INLINE Float dot(Float4 a, Float4 b) {
    return a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
}
ONDRIX_INLINE Float length(Float2 a) {
    return sqrt(dot(a, a));
}
ONDRIX_INLINE Float length(Float3 a) {
    return sqrt(dot(a, a));
}
ONDRIX_INLINE Float4 select(Mask mask, Float4 a, Float4 b) {
    return {select(mask, a.x, b.x), select(mask, a.y, b.y), select(mask, a.z, b.z), select(mask, a.w, b.w)};
}
ONDRIX_INLINE Float3 mix(Float3 a, Float3 b, Float weight) {
    return {mix(a.x, b.x, weight), mix(a.y, b.y, weight), mix(a.z, b.z, weight)};
}
ONDRIX_INLINE Float4 mix(Float4 a, Float4 b, Float weight) {
    return {mix(a.x, b.x, weight), mix(a.y, b.y, weight), mix(a.z, b.z, weight), mix(a.w, b.w, weight)};
}
ONDRIX_INLINE Float4 saturate(Float4 a) {
    return {saturate(a.x), saturate(a.y), saturate(a.z), saturate(a.w)};
}

/// Column-major matrix of plain floats: 64 bytes, as it lies in a constant buffer.
struct Float4x4 {
    float columns[4][4];

    friend ONDRIX_INLINE Float4 operator*(const Float4x4& m, Float4 v) {
        const auto row = [&](int i) __attribute__((always_inline)) {
            return m.columns[0][i] * v.x + m.columns[1][i] * v.y + m.columns[2][i] * v.z + m.columns[3][i] * v.w;
        };
        return {row(0), row(1), row(2), row(3)};
    }
};

}  // namespace ondrix::shading
