#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include <ondrix/platform/foundation/NSError.h>
#include <ondrix/platform/foundation/URL.h>
#include <ondrix/platform/metal/MTLDevice.h>

namespace ondrix {

/// What reading a picture file may take. The defaults are for files from strangers. What goes beyond is refused before
/// its memory is taken, with a reason.
struct MTKTextureLoaderLimits {
    std::uint64_t maximumPixels = std::uint64_t{1} << 27;  ///< 134 megapixels; the sides are 16384 at most, too
    std::uint64_t maximumMemory = std::uint64_t{768}
                                  << 20;  ///< bytes: four a pixel, and what decoding takes beside them
};

/// Reads picture files into textures: PNG of every colour type and depth, JPEG in grey and YCbCr. The result is
/// bgra8Unorm, or bgra8Unorm_srgb with the option `SRGB`; usage shaderRead; first row at the top; colour not
/// premultiplied; 16-bit samples rounded to 8. Size and memory are checked before anything is decoded.
class MTKTextureLoader {
public:
    enum class Option {
        SRGB,  ///< true: the pixels are sRGB-encoded, and reading the texture decodes them
    };
    using Options = std::map<Option, bool>;

    explicit MTKTextureLoader(std::shared_ptr<MTLDevice> device);
    /// With limits of one's own.
    MTKTextureLoader(std::shared_ptr<MTLDevice> device, const MTKTextureLoaderLimits& limits);

    /// Null on failure, with the reason in `error` (may be null).
    [[nodiscard]] std::shared_ptr<MTLTexture> newTexture(const URL& withContentsOfURL, const Options& options,
                                                         NSError* error) const;
    /// The same for a picture file of `length` bytes in memory, which are not needed afterwards.
    [[nodiscard]] std::shared_ptr<MTLTexture> newTexture(const void* bytes, std::uint64_t length,
                                                         const Options& options, NSError* error) const;

private:
    std::shared_ptr<MTLDevice> device_;
    MTKTextureLoaderLimits limits_;
};

}  // namespace ondrix
