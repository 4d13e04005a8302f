#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <ondrix/platform/metal/MTLPixelFormat.h>
#include <ondrix/platform/metal/MTLTypes.h>
#include <ondrix/shading/Module.h>

namespace ondrix::software {

/// One colour in the memory layout of a texture's format, ready to be written over stretches of pixels. Components of
/// 8-bit formats are clamped and rounded to nearest, those of sRGB formats are encoded; not-a-number becomes 0 there.
class ClearPixel {
public:
    ClearPixel() = default;
    /// `format` must be in the table of formats.
    ClearPixel(MTLPixelFormat format, const MTLClearColor& color) noexcept;

    /// Writes the pixels x0 <= x < x1 of row `y`, which must lie in the target.
    void fill(const shading::TextureView& target, std::int32_t y, std::int32_t x0, std::int32_t x1) const noexcept;

private:
    static constexpr std::size_t patternSize = 256;  ///< a multiple of every pixel size

    alignas(64) std::array<std::uint8_t, patternSize> pattern_{};
    std::size_t bytesPerPixel_ = 1;
};

}  // namespace ondrix::software
