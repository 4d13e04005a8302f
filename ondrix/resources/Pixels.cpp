#include <cassert>
#include <string>

#include <ondrix/platform/os/OutOfMemory.h>
#include <ondrix/resources/Pixels.h>
#include <ondrix/resources/Texture.h>

namespace ondrix {

namespace {

void tell(NSError* error, std::string reason) {
    if (error != nullptr) *error = NSError(std::move(reason));
}

/// Command buffers of a device run in the order of their commit.
bool waitForDevice(const Texture& texture, NSError* error) {
    const auto queue = texture.device()->mtlDevice()->makeCommandQueue();
    const auto commandBuffer = queue != nullptr ? queue->makeCommandBuffer() : nullptr;
    if (commandBuffer == nullptr) {
        tell(error, "the device makes no command buffer to wait for");
        return false;
    }
    commandBuffer->commit();
    commandBuffer->waitUntilCompleted();
    return true;
}

Int bytesOfRow(const MTLTexture& texture) {
    const auto info = pixelFormatInfo(texture.pixelFormat());
    return info ? static_cast<Int>(texture.width()) * info->bytesPerPixel : 0;
}

MTLRegion wholeOf(const MTLTexture& texture) {
    return MTLRegionMake2D(0, 0, texture.width(), texture.height());
}

constexpr const char* noImage = "the texture has no image";

}  // namespace

std::optional<Pixels> readPixels(const Texture& texture, NSError* error) {
    return os::orAbsent(error, [&]() -> std::optional<Pixels> {
        const auto mtlTexture = texture.mtlTexture();
        if (mtlTexture == nullptr) {
            tell(error, noImage);
            return std::nullopt;
        }
        const Int bytesPerRow = bytesOfRow(*mtlTexture);
        const auto height = static_cast<Int>(mtlTexture->height());
        Pixels pixels{mtlTexture->pixelFormat(), static_cast<Int>(mtlTexture->width()), height, bytesPerRow,
                      std::vector<std::byte>(static_cast<std::size_t>(bytesPerRow * height))};
        if (!waitForDevice(texture, error)) return std::nullopt;
        mtlTexture->getBytes(pixels.bytes.data(), static_cast<std::uint64_t>(bytesPerRow), wholeOf(*mtlTexture), 0);
        return pixels;
    });
}

bool writePixels(Texture& texture, const void* bytes, Int bytesPerRow, NSError* error) {
    return os::orAbsent(error, [&]() -> bool {
        assert(bytes != nullptr);
        const auto mtlTexture = texture.mtlTexture();
        if (mtlTexture == nullptr) {
            tell(error, noImage);
            return false;
        }
        const Int needed = bytesOfRow(*mtlTexture);
        if (bytesPerRow < needed) {
            tell(error, "rows of " + std::to_string(bytesPerRow) + " bytes are too short for a texture with rows of " +
                            std::to_string(needed));
            return false;
        }
        if (!waitForDevice(texture, error)) return false;
        mtlTexture->replace(wholeOf(*mtlTexture), 0, bytes, static_cast<std::uint64_t>(bytesPerRow));
        return true;
    });
}

}  // namespace ondrix
