#pragma once

#include <ondrix/platform/simd/simd.h>

namespace ondrix {

/// Write a vector as one line to standard output, its components separated by ", ". `format` is a printf format with
/// exactly one conversion, for a double, such as "%.3f"; it is applied to one component at a time.
void printVector(const simd_float2& vector, const char* format);
void printVector(const simd_float3& vector, const char* format);
void printVector(const simd_float4& vector, const char* format);

/// Write a matrix as one line per column, each like a vector.
void printMatrix(const simd_float2x2& matrix, const char* format);
void printMatrix(const simd_float3x3& matrix, const char* format);
void printMatrix(const simd_float4x4& matrix, const char* format);

}  // namespace ondrix
