#include <algorithm>
#include <cassert>
#include <new>
#include <utility>
#include <vector>

#include <ondrix/platform/image/Picture.h>
#include <ondrix/platform/metalkit/MTKTextureLoader.h>

namespace ondrix {

namespace {

/// Bytes of decoded rows that are handed to the texture at once.
constexpr std::uint64_t batchBytes = 256 * 1024;

std::shared_ptr<MTLTexture> decode(image::Picture& picture, MTLDevice& device, bool sRGB, std::string& reason) {
    auto texture = device.makeTexture(MTLTextureDescriptor::texture2DDescriptor(
        sRGB ? MTLPixelFormat::bgra8Unorm_srgb : MTLPixelFormat::bgra8Unorm, picture.width(), picture.height(), false));
    if (!texture) {
        reason = "the device makes no texture of " + std::to_string(picture.width()) + "x" +
                 std::to_string(picture.height()) + " pixels";
        return nullptr;
    }
    const std::uint64_t rowBytes = 4 * picture.width();
    const std::uint64_t batch = std::clamp<std::uint64_t>(batchBytes / rowBytes, 1, picture.height());
    std::vector<std::uint8_t> rows(rowBytes * batch);
    for (std::uint64_t row = 0; row < picture.height(); row += batch) {
        const std::uint64_t count = std::min(batch, picture.height() - row);
        if (!picture.readRows(rows.data(), count, reason)) return nullptr;
        texture->replace(MTLRegionMake2D(0, row, picture.width(), count), 0, rows.data(), rowBytes);
    }
    return texture;
}

/// The texture of the picture that `open(reason)` gives.
template <class Open>
std::shared_ptr<MTLTexture> load(MTLDevice& device, const MTKTextureLoader::Options& options, NSError* error,
                                 const Open& open) {
    const auto option = options.find(MTKTextureLoader::Option::SRGB);
    const bool sRGB = option != options.end() && option->second;
    std::string reason;
    std::shared_ptr<MTLTexture> texture;
    try {
        const auto picture = open(reason);
        if (picture) texture = decode(*picture, device, sRGB, reason);
    } catch (const std::bad_alloc&) {
        reason = "out of memory";
    }
    if (!texture && error != nullptr) *error = NSError(std::move(reason));
    return texture;
}

}  // namespace

MTKTextureLoader::MTKTextureLoader(std::shared_ptr<MTLDevice> device) : MTKTextureLoader(std::move(device), {}) {}

MTKTextureLoader::MTKTextureLoader(std::shared_ptr<MTLDevice> device, const MTKTextureLoaderLimits& limits)
    : device_(std::move(device)), limits_(limits) {
    assert(device_ != nullptr);
}

std::shared_ptr<MTLTexture> MTKTextureLoader::newTexture(const URL& withContentsOfURL, const Options& options,
                                                         NSError* error) const {
    return load(*device_, options, error,
                [&](std::string& reason) { return image::Picture::open(withContentsOfURL, limits_, reason); });
}

std::shared_ptr<MTLTexture> MTKTextureLoader::newTexture(const void* bytes, std::uint64_t length,
                                                         const Options& options, NSError* error) const {
    return load(*device_, options, error,
                [&](std::string& reason) { return image::Picture::open(bytes, length, limits_, reason); });
}

}  // namespace ondrix
