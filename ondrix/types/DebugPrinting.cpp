#include <cstdio>
#include <initializer_list>
#include <new>
#include <string>

#include <ondrix/types/DebugPrinting.h>

namespace ondrix {

namespace {

void append(std::string& line, const char* format, double component) {
    const int length = std::snprintf(nullptr, 0, format, component);
    if (length <= 0) return;
    const std::size_t start = line.size();
    line.resize(start + static_cast<std::size_t>(length) + 1);  // one more for the null character
    std::snprintf(line.data() + start, static_cast<std::size_t>(length) + 1, format, component);
    line.pop_back();
}

void printLine(std::initializer_list<float> components, const char* format) try {
    std::string line;
    for (const float& component : components) {
        if (&component != components.begin()) line += ", ";
        append(line, format, static_cast<double>(component));
    }
    line += '\n';
    std::fwrite(line.data(), 1, line.size(), stdout);
} catch (const std::bad_alloc&) {
    std::puts("out of memory");
}

}  // namespace

void printVector(const simd_float2& vector, const char* format) {
    printLine({vector.x, vector.y}, format);
}

void printVector(const simd_float3& vector, const char* format) {
    printLine({vector.x, vector.y, vector.z}, format);
}

void printVector(const simd_float4& vector, const char* format) {
    printLine({vector.x, vector.y, vector.z, vector.w}, format);
}

void printMatrix(const simd_float2x2& matrix, const char* format) {
    for (const auto& column : matrix.columns) printVector(column, format);
}

void printMatrix(const simd_float3x3& matrix, const char* format) {
    for (const auto& column : matrix.columns) printVector(column, format);
}

void printMatrix(const simd_float4x4& matrix, const char* format) {
    for (const auto& column : matrix.columns) printVector(column, format);
}

}  // namespace ondrix
