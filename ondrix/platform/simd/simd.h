#pragma once

namespace ondrix {

/// Short float vectors and column-major matrices in the memory layout that GPU functions read: three-float vectors take
/// 16 bytes, and so does each column of a 3x3 matrix.
struct alignas(8) simd_float2 {
    float x = 0, y = 0;
    friend bool operator==(const simd_float2&, const simd_float2&) = default;
};

struct alignas(16) simd_float3 {
    float x = 0, y = 0, z = 0;
    friend bool operator==(const simd_float3&, const simd_float3&) = default;
};

struct alignas(16) simd_float4 {
    float x = 0, y = 0, z = 0, w = 0;
    friend bool operator==(const simd_float4&, const simd_float4&) = default;
};

struct simd_float2x2 {
    simd_float2 columns[2];
};

struct simd_float3x3 {
    simd_float3 columns[3];
};

struct simd_float4x4 {
    simd_float4 columns[4];
};

}  // namespace ondrix
