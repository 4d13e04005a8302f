#include <ondrix/platform/metal/MTLPixelFormat.h>

namespace ondrix {

namespace {

using enum MTLComponentType;

constexpr MTLPixelFormatInfo table[] = {
    // format, name, components, bytes per pixel, component type, sRGB, blue first
    {MTLPixelFormat::r8Unorm, "MTLPixelFormatR8Unorm", 1, 1, unorm8, false, false},
    {MTLPixelFormat::r8Unorm_srgb, "MTLPixelFormatR8Unorm_sRGB", 1, 1, unorm8, true, false},
    {MTLPixelFormat::r16Unorm, "MTLPixelFormatR16Unorm", 1, 2, unorm16, false, false},
    {MTLPixelFormat::r16Float, "MTLPixelFormatR16Float", 1, 2, float16, false, false},
    {MTLPixelFormat::rg8Unorm, "MTLPixelFormatRG8Unorm", 2, 2, unorm8, false, false},
    {MTLPixelFormat::rg8Unorm_srgb, "MTLPixelFormatRG8Unorm_sRGB", 2, 2, unorm8, true, false},
    {MTLPixelFormat::r32Float, "MTLPixelFormatR32Float", 1, 4, float32, false, false},
    {MTLPixelFormat::rg16Unorm, "MTLPixelFormatRG16Unorm", 2, 4, unorm16, false, false},
    {MTLPixelFormat::rg16Float, "MTLPixelFormatRG16Float", 2, 4, float16, false, false},
    {MTLPixelFormat::rgba8Unorm, "MTLPixelFormatRGBA8Unorm", 4, 4, unorm8, false, false},
    {MTLPixelFormat::rgba8Unorm_srgb, "MTLPixelFormatRGBA8Unorm_sRGB", 4, 4, unorm8, true, false},
    {MTLPixelFormat::bgra8Unorm, "MTLPixelFormatBGRA8Unorm", 4, 4, unorm8, false, true},
    {MTLPixelFormat::bgra8Unorm_srgb, "MTLPixelFormatBGRA8Unorm_sRGB", 4, 4, unorm8, true, true},
    {MTLPixelFormat::rg32Float, "MTLPixelFormatRG32Float", 2, 8, float32, false, false},
    {MTLPixelFormat::rgba16Unorm, "MTLPixelFormatRGBA16Unorm", 4, 8, unorm16, false, false},
    {MTLPixelFormat::rgba16Float, "MTLPixelFormatRGBA16Float", 4, 8, float16, false, false},
    {MTLPixelFormat::rgba32Float, "MTLPixelFormatRGBA32Float", 4, 16, float32, false, false},
};

}  // namespace

std::optional<MTLPixelFormatInfo> pixelFormatInfo(MTLPixelFormat format) {
    for (const MTLPixelFormatInfo& entry : table) {
        if (entry.format == format) return entry;
    }
    return std::nullopt;
}

std::string description(MTLPixelFormat format) {
    const auto info = pixelFormatInfo(format);
    return std::string(info ? info->name : "MTLPixelFormat") + " (" +
           std::to_string(static_cast<std::uint64_t>(format)) + ")";
}

}  // namespace ondrix
