#include <cassert>
#include <utility>

#include <ondrix/platform/corevideo/CVMetalTextureCache.h>
#include <ondrix/platform/os/OutOfMemory.h>

namespace ondrix {

class CVMetalTextureCache {
public:
    explicit CVMetalTextureCache(std::shared_ptr<MTLDevice> device) : device_(std::move(device)) {}
    [[nodiscard]] MTLDevice& device() const { return *device_; }

private:
    std::shared_ptr<MTLDevice> device_;
};

class CVMetalTexture {
public:
    explicit CVMetalTexture(std::shared_ptr<MTLTexture> texture) : texture_(std::move(texture)) {}
    [[nodiscard]] const std::shared_ptr<MTLTexture>& texture() const { return texture_; }

private:
    std::shared_ptr<MTLTexture> texture_;
};

namespace {

bool holds(const IOSurface& surface, std::int64_t plane, std::uint64_t width, std::uint64_t height,
           std::uint64_t bytesPerPixel) {
    if (plane < 0 || static_cast<std::uint64_t>(plane) >= surface.planeCount()) return false;
    return surface.bytesPerElementOfPlane(plane) >= bytesPerPixel && surface.widthOfPlane(plane) >= width &&
           surface.heightOfPlane(plane) >= height && surface.bytesPerRowOfPlane(plane) >= width * bytesPerPixel;
}

}  // namespace

CVReturn CVMetalTextureCacheCreate(std::shared_ptr<MTLDevice> device, std::shared_ptr<CVMetalTextureCache>* cache) {
    assert(cache != nullptr);
    cache->reset();
    if (!device) return kCVReturnInvalidArgument;
    return os::orStatus(kCVReturnAllocationFailed, [&] {
        *cache = std::make_shared<CVMetalTextureCache>(std::move(device));
        return kCVReturnSuccess;
    });
}

CVReturn CVMetalTextureCacheCreateTextureFromImage(CVMetalTextureCache& cache,
                                                   const std::shared_ptr<CVPixelBuffer>& buffer,
                                                   MTLPixelFormat pixelFormat, std::int64_t width, std::int64_t height,
                                                   std::int64_t planeIndex, std::shared_ptr<CVMetalTexture>* texture) {
    assert(texture != nullptr && buffer != nullptr);
    texture->reset();
    if (width < 1 || height < 1) return kCVReturnInvalidSize;
    const auto format = pixelFormatInfo(pixelFormat);
    if (!format) return kCVReturnInvalidPixelFormat;
    std::shared_ptr<IOSurface> surface = CVPixelBufferGetIOSurface(buffer);
    if (!holds(*surface, planeIndex, width, height, format->bytesPerPixel)) {
        return kCVReturnPixelBufferNotMetalCompatible;
    }
    auto descriptor = MTLTextureDescriptor::texture2DDescriptor(pixelFormat, width, height, false);
    descriptor.usage = MTLTextureUsage::unknown;
    return os::orStatus(kCVReturnAllocationFailed, [&] {
        auto made = cache.device().makeTexture(descriptor, std::move(surface), planeIndex);
        if (!made) return kCVReturnAllocationFailed;
        *texture = std::make_shared<CVMetalTexture>(std::move(made));
        return kCVReturnSuccess;
    });
}

std::shared_ptr<MTLTexture> CVMetalTextureGetTexture(const CVMetalTexture& texture) {
    return texture.texture();
}

}  // namespace ondrix
