#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

/// How colours lie in memory, one pixel at a time: the definition that every faster path must agree with, also used by
/// the host for single colours. Colours are four floats: red, green, blue, alpha.
namespace ondrix::shading {

/// Raw values of MTLPixelFormat.
enum class Format : std::uint32_t {
    r8 = 10,
    r8_srgb = 11,
    r16 = 20,
    r16f = 25,
    rg8 = 30,
    rg8_srgb = 31,
    r32f = 55,
    rg16 = 60,
    rg16f = 65,
    rgba8 = 70,
    rgba8_srgb = 71,
    bgra8 = 80,
    bgra8_srgb = 81,
    rg32f = 105,
    rgba16 = 110,
    rgba16f = 115,
    rgba32f = 125,
};

constexpr bool isSRGB(Format f) {
    return f == Format::r8_srgb || f == Format::rg8_srgb || f == Format::rgba8_srgb || f == Format::bgra8_srgb;
}
/// Four bytes a pixel.
constexpr bool isFourBytes(Format f) {
    return f == Format::rgba8 || f == Format::rgba8_srgb || f == Format::bgra8 || f == Format::bgra8_srgb;
}
/// Four plain bytes a pixel: the formats whose filtered values are exact integers before they are stored.
constexpr bool isFourPlainBytes(Format f) {
    return f == Format::rgba8 || f == Format::bgra8;
}
constexpr bool isBlueFirst(Format f) {
    return f == Format::bgra8 || f == Format::bgra8_srgb;
}
constexpr bool isBytes(Format f) {
    return isFourBytes(f) || f == Format::r8 || f == Format::r8_srgb || f == Format::rg8 || f == Format::rg8_srgb;
}
constexpr bool isHalf(Format f) {
    return f == Format::r16f || f == Format::rg16f || f == Format::rgba16f;
}
/// Two plain bytes a component.
constexpr bool isWords(Format f) {
    return f == Format::r16 || f == Format::rg16 || f == Format::rgba16;
}
constexpr int componentsOf(Format f) {
    switch (f) {
        case Format::r8:
        case Format::r8_srgb:
        case Format::r16:
        case Format::r16f:
        case Format::r32f:
            return 1;
        case Format::rg8:
        case Format::rg8_srgb:
        case Format::rg16:
        case Format::rg16f:
        case Format::rg32f:
            return 2;
        default:
            return 4;
    }
}
constexpr int bytesPerPixel(Format f) {
    return componentsOf(f) * (isBytes(f) ? 1 : isHalf(f) || isWords(f) ? 2 : 4);
}

/// Conversion between sRGB bytes and linear light. A byte is encoded as the number of thresholds that the value
/// reaches, each the linear value half-way between two bytes.
struct SRGBTables {
    float decoded[256];
    float thresholds[256];  ///< the last one is never reached

    SRGBTables() {
        for (int i = 0; i < 256; i++) {
            decoded[i] = static_cast<float>(linear(i / 255.0));
            thresholds[i] = i < 255 ? static_cast<float>(linear((i + 0.5) / 255.0)) : HUGE_VALF;
        }
    }

private:
    static double linear(double encoded) {
        return encoded <= 0.04045 ? encoded / 12.92 : std::pow((encoded + 0.055) / 1.055, 2.4);
    }
};

inline const SRGBTables srgbTables;

/// Rounds half up, limits to 0...255; NaN becomes 0.
inline std::uint8_t encodeUnorm8(float value) {
    const float scaled = 255.0f * value + 0.5f;
    if (!(scaled > 0)) return 0;
    return static_cast<std::uint8_t>(std::min(255.5f, scaled));
}

/// Likewise to 0...65535.
inline std::uint16_t encodeUnorm16(float value) {
    const float scaled = 65535.0f * value + 0.5f;
    if (!(scaled > 0)) return 0;
    return static_cast<std::uint16_t>(std::min(65535.5f, scaled));
}

inline std::uint8_t encodeSRGB8(float value) {
    if (!(value > 0)) return 0;
    return static_cast<std::uint8_t>(std::upper_bound(srgbTables.thresholds, srgbTables.thresholds + 255, value) -
                                     srgbTables.thresholds);
}

inline float decodeHalf(std::uint16_t half) {
    const std::uint32_t sign = static_cast<std::uint32_t>(half & 0x8000) << 16;
    const std::uint32_t exponent = half >> 10 & 31;
    const std::uint32_t fraction = half & 1023;
    std::uint32_t bits;
    if (exponent == 31) {
        bits = sign | 0x7f800000 | fraction << 13;
    } else if (exponent == 0) {
        const float subnormal = static_cast<float>(fraction) * 0x1p-24f;
        std::memcpy(&bits, &subnormal, 4);
        bits |= sign;
    } else {
        bits = sign | (exponent + 112) << 23 | fraction << 13;
    }
    float value;
    std::memcpy(&value, &bits, 4);
    return value;
}

/// Rounds to nearest, ties to even; too large values become infinite, every NaN the same one.
inline std::uint16_t encodeHalf(float value) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, 4);
    const auto sign = static_cast<std::uint16_t>(bits >> 16 & 0x8000);
    const std::uint32_t magnitude = bits & 0x7fffffff;
    if (magnitude > 0x7f800000) return sign | 0x7e00;
    if (magnitude >= 0x47800000) return sign | 0x7c00;  // 65536 and more
    if (magnitude < 0x38800000) {                       // below 2^-14: a multiple of 2^-24
        float absolute;
        std::memcpy(&absolute, &magnitude, 4);
        const float shifted = absolute + 0.5f;  // the sum's last place is 2^-24
        std::uint32_t rounded;
        std::memcpy(&rounded, &shifted, 4);
        return static_cast<std::uint16_t>(sign | (rounded - 0x3f000000));
    }
    const std::uint32_t rounded = magnitude + 0xfff + (magnitude >> 13 & 1);
    return static_cast<std::uint16_t>(sign | ((rounded >> 13) - (112u << 10)));
}

/// Missing components read as 0, a missing alpha as 1.
inline void decodePixel(Format format, const std::uint8_t* pixel, float colour[4]) {
    const int components = componentsOf(format);
    colour[1] = colour[2] = 0;
    colour[3] = 1;
    for (int i = 0; i < components; i++) {
        if (isBytes(format)) {
            colour[i] =
                isSRGB(format) && i < 3 ? srgbTables.decoded[pixel[i]] : static_cast<float>(pixel[i]) * (1.0f / 255.0f);
        } else if (isHalf(format) || isWords(format)) {
            std::uint16_t word;
            std::memcpy(&word, pixel + 2 * i, 2);
            colour[i] = isHalf(format) ? decodeHalf(word) : static_cast<float>(word) * (1.0f / 65535.0f);
        } else {
            std::memcpy(&colour[i], pixel + 4 * i, 4);
        }
    }
    if (isBlueFirst(format)) std::swap(colour[0], colour[2]);
}

inline void encodePixel(Format format, const float colour[4], std::uint8_t* pixel) {
    const int components = componentsOf(format);
    for (int i = 0; i < components; i++) {
        const float value = isBlueFirst(format) && i != 1 && i != 3 ? colour[2 - i] : colour[i];
        if (isBytes(format)) {
            pixel[i] = isSRGB(format) && i < 3 ? encodeSRGB8(value) : encodeUnorm8(value);
        } else if (isHalf(format) || isWords(format)) {
            const std::uint16_t word = isHalf(format) ? encodeHalf(value) : encodeUnorm16(value);
            std::memcpy(pixel + 2 * i, &word, 2);
        } else {
            std::memcpy(pixel + 4 * i, &value, 4);
        }
    }
}

}  // namespace ondrix::shading
