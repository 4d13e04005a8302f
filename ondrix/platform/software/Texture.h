#pragma once

#include <memory>

#include <ondrix/platform/corevideo/IOSurface.h>
#include <ondrix/platform/metal/MTLTexture.h>
#include <ondrix/platform/software/AlignedMemory.h>
#include <ondrix/platform/software/RecyclingMemory.h>
#include <ondrix/shading/Module.h>

namespace ondrix::software {

/// A texture in main memory: pixels of its own, or one plane of a surface that it keeps alive. Own rows start at
/// multiples of 64 bytes, follow each other without a gap where they can, so that many are copied at once, and never
/// lie a multiple of 4096 bytes apart, since the pixels of a column would then share a few cache lines. There are 64
/// bytes more after the last one.
class Texture final : public MTLTexture {
public:
    static constexpr std::uint64_t maximumSide = 16384;

    /// All pixels zero. Null for an unknown format, a side outside 1 to 16384, or without memory for it. The object
    /// itself lies in `memory`: textures of frames come and go.
    static std::shared_ptr<Texture> create(const std::shared_ptr<RecyclingMemory>& memory,
                                           const MTLTextureDescriptor& descriptor);
    /// Aliases plane `plane`. Null, besides the cases above, when the plane doesn't exist or is smaller than the
    /// texture in element size, width, height or bytes per row.
    static std::shared_ptr<Texture> create(const std::shared_ptr<RecyclingMemory>& memory,
                                           const MTLTextureDescriptor& descriptor, std::shared_ptr<IOSurface> surface,
                                           std::uint64_t plane);
    /// What `create` calls when everything has been checked.
    Texture(const MTLTextureDescriptor& descriptor, int bytesPerPixel, AlignedMemory pixels,
            std::shared_ptr<IOSurface> surface, std::uint8_t* bytes, std::uint64_t bytesPerRow);

    [[nodiscard]] std::uint64_t width() const override { return static_cast<std::uint64_t>(view_.width); }
    [[nodiscard]] std::uint64_t height() const override { return static_cast<std::uint64_t>(view_.height); }
    [[nodiscard]] MTLPixelFormat pixelFormat() const override { return format_; }
    [[nodiscard]] MTLTextureUsage usage() const override { return usage_; }

    void replace(const MTLRegion& region, std::uint64_t mipmapLevel, const void* withBytes,
                 std::uint64_t bytesPerRow) override;
    void getBytes(void* bytes, std::uint64_t bytesPerRow, const MTLRegion& fromRegion,
                  std::uint64_t mipmapLevel) const override;

    [[nodiscard]] const shading::TextureView& view() const noexcept { return view_; }
    /// True when the usage is unknown (0) or holds `bit`.
    [[nodiscard]] bool allows(MTLTextureUsage bit) const noexcept;

private:
    [[nodiscard]] bool holds(const MTLRegion& region) const noexcept;
    [[nodiscard]] std::uint8_t* pixel(const MTLOrigin& origin) const noexcept;

    MTLPixelFormat format_;
    MTLTextureUsage usage_;
    std::uint64_t bytesPerPixel_;
    AlignedMemory pixels_;  ///< empty for a plane of a surface
    std::shared_ptr<IOSurface> surface_;
    shading::TextureView view_;
};

/// True when the two textures share memory.
[[nodiscard]] bool overlap(const shading::TextureView& a, const shading::TextureView& b) noexcept;

}  // namespace ondrix::software
