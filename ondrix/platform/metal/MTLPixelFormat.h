#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace ondrix {

/// The pixel formats that textures can have. Names give components in memory order, lowest address first.
enum class MTLPixelFormat : std::uint64_t {
    invalid = 0,
    r8Unorm = 10,
    r8Unorm_srgb = 11,
    r16Unorm = 20,
    r16Float = 25,
    rg8Unorm = 30,
    rg8Unorm_srgb = 31,
    r32Float = 55,
    rg16Unorm = 60,
    rg16Float = 65,
    rgba8Unorm = 70,
    rgba8Unorm_srgb = 71,
    bgra8Unorm = 80,
    bgra8Unorm_srgb = 81,
    rg32Float = 105,
    rgba16Unorm = 110,
    rgba16Float = 115,
    rgba32Float = 125,
};

enum class MTLComponentType { unorm8, float16, float32, unorm16 };

/// What a pixel format means in memory.
struct MTLPixelFormatInfo {
    MTLPixelFormat format;
    const char* name;
    int components;     ///< 1, 2 or 4; missing ones read as 0, a missing alpha as 1
    int bytesPerPixel;  ///< 1 to 16
    MTLComponentType componentType;
    bool sRGB;       ///< colour components are decoded on read and encoded on write; alpha never
    bool blueFirst;  ///< memory order blue, green, red, alpha
};

/// Absent for `invalid` and for values that aren't in the table.
[[nodiscard]] std::optional<MTLPixelFormatInfo> pixelFormatInfo(MTLPixelFormat format);

/// "MTLPixelFormatBGRA8Unorm (80)"; for a value that isn't in the table "MTLPixelFormat (raw value)".
[[nodiscard]] std::string description(MTLPixelFormat format);

}  // namespace ondrix
