#include <cassert>
#include <cstring>
#include <functional>

#include <ondrix/platform/os/OutOfMemory.h>
#include <ondrix/platform/software/Texture.h>

namespace ondrix::software {

namespace {

std::optional<MTLPixelFormatInfo> acceptedFormat(const MTLTextureDescriptor& descriptor) {
    const bool fits = descriptor.width >= 1 && descriptor.width <= Texture::maximumSide && descriptor.height >= 1 &&
                      descriptor.height <= Texture::maximumSide;
    return fits ? pixelFormatInfo(descriptor.pixelFormat) : std::nullopt;
}

std::uint64_t ownBytesPerRow(std::uint64_t pixelBytes) {
    constexpr std::uint64_t unit = AlignedMemory::alignment;
    const std::uint64_t bytesPerRow = (pixelBytes + unit - 1) / unit * unit;
    return bytesPerRow % 4096 == 0 ? bytesPerRow + unit : bytesPerRow;
}

}  // namespace

std::shared_ptr<Texture> Texture::create(const std::shared_ptr<RecyclingMemory>& memory,
                                         const MTLTextureDescriptor& descriptor) {
    const auto format = acceptedFormat(descriptor);
    if (!format) return nullptr;
    const std::uint64_t bytesPerRow = ownBytesPerRow(descriptor.width * static_cast<unsigned>(format->bytesPerPixel));
    return os::orAbsent([&]() -> std::shared_ptr<Texture> {
        AlignedMemory pixels = AlignedMemory::allocate(bytesPerRow * descriptor.height + AlignedMemory::alignment);
        if (pixels.bytes() == nullptr) return nullptr;
        auto* bytes = reinterpret_cast<std::uint8_t*>(pixels.bytes());
        return std::allocate_shared<Texture>(RecyclingAllocator<Texture>(memory), descriptor, format->bytesPerPixel,
                                             std::move(pixels), nullptr, bytes, bytesPerRow);
    });
}

std::shared_ptr<Texture> Texture::create(const std::shared_ptr<RecyclingMemory>& memory,
                                         const MTLTextureDescriptor& descriptor, std::shared_ptr<IOSurface> surface,
                                         std::uint64_t plane) {
    assert(surface);
    const auto format = acceptedFormat(descriptor);
    if (!format || plane >= surface->planeCount()) return nullptr;
    const auto bytesPerPixel = static_cast<std::uint64_t>(format->bytesPerPixel);
    const std::uint64_t bytesPerRow = surface->bytesPerRowOfPlane(plane);
    std::uint8_t* bytes = surface->baseAddressOfPlane(plane);
    const bool fits = surface->bytesPerElementOfPlane(plane) >= bytesPerPixel &&
                      surface->widthOfPlane(plane) >= descriptor.width &&
                      surface->heightOfPlane(plane) >= descriptor.height &&
                      bytesPerRow >= descriptor.width * bytesPerPixel && bytes != nullptr;
    if (!fits) return nullptr;
    return os::orAbsent([&] {
        return std::allocate_shared<Texture>(RecyclingAllocator<Texture>(memory), descriptor, format->bytesPerPixel,
                                             AlignedMemory(), std::move(surface), bytes, bytesPerRow);
    });
}

Texture::Texture(const MTLTextureDescriptor& descriptor, int bytesPerPixel, AlignedMemory pixels,
                 std::shared_ptr<IOSurface> surface, std::uint8_t* bytes, std::uint64_t bytesPerRow)
    : format_(descriptor.pixelFormat),
      usage_(descriptor.usage),
      bytesPerPixel_(static_cast<std::uint64_t>(bytesPerPixel)),
      pixels_(std::move(pixels)),
      surface_(std::move(surface)),
      view_{bytes, static_cast<std::int64_t>(bytesPerRow), static_cast<std::int32_t>(descriptor.width),
            static_cast<std::int32_t>(descriptor.height), static_cast<std::uint32_t>(descriptor.pixelFormat)} {}

void Texture::replace(const MTLRegion& region, [[maybe_unused]] std::uint64_t mipmapLevel, const void* withBytes,
                      std::uint64_t bytesPerRow) {
    assert(holds(region) && mipmapLevel == 0 && withBytes);
    const auto* source = static_cast<const std::uint8_t*>(withBytes);
    std::uint8_t* target = pixel(region.origin);
    for (std::uint64_t y = 0; y < region.size.height; ++y) {
        std::memcpy(target + y * static_cast<std::uint64_t>(view_.bytesPerRow), source + y * bytesPerRow,
                    region.size.width * bytesPerPixel_);
    }
}

void Texture::getBytes(void* bytes, std::uint64_t bytesPerRow, const MTLRegion& fromRegion,
                       [[maybe_unused]] std::uint64_t mipmapLevel) const {
    assert(holds(fromRegion) && mipmapLevel == 0 && bytes);
    auto* target = static_cast<std::uint8_t*>(bytes);
    const std::uint8_t* source = pixel(fromRegion.origin);
    for (std::uint64_t y = 0; y < fromRegion.size.height; ++y) {
        std::memcpy(target + y * bytesPerRow, source + y * static_cast<std::uint64_t>(view_.bytesPerRow),
                    fromRegion.size.width * bytesPerPixel_);
    }
}

bool Texture::allows(MTLTextureUsage bit) const noexcept {
    return usage_ == MTLTextureUsage::unknown || contains(usage_, bit);
}

bool Texture::holds(const MTLRegion& region) const noexcept {
    return region.origin.x <= width() && region.size.width <= width() - region.origin.x &&
           region.origin.y <= height() && region.size.height <= height() - region.origin.y && region.origin.z == 0 &&
           region.size.depth == 1;
}

std::uint8_t* Texture::pixel(const MTLOrigin& origin) const noexcept {
    return view_.bytes + origin.y * static_cast<std::uint64_t>(view_.bytesPerRow) + origin.x * bytesPerPixel_;
}

bool overlap(const shading::TextureView& a, const shading::TextureView& b) noexcept {
    const std::less<const std::uint8_t*> before;
    const std::uint8_t* aEnd = a.bytes + a.bytesPerRow * a.height;
    const std::uint8_t* bEnd = b.bytes + b.bytesPerRow * b.height;
    return before(a.bytes, bEnd) && before(b.bytes, aEnd);
}

}  // namespace ondrix::software
