#pragma once

#include <cstdint>
#include <memory>

#include <ondrix/platform/corevideo/CVPixelBuffer.h>
#include <ondrix/platform/metal/MTLDevice.h>

namespace ondrix {

/// Wraps the planes of pixel buffers as textures of one device, without copying.
class CVMetalTextureCache;
/// A wrapped plane; the texture in it outlives it.
class CVMetalTexture;

/// `device` must not be null, else the status is invalid argument and `cache` is set to null.
CVReturn CVMetalTextureCacheCreate(std::shared_ptr<MTLDevice> device, std::shared_ptr<CVMetalTextureCache>* cache);

/// A texture of usage 0 that aliases the plane's bytes and keeps the pixel buffer. Refused, with `texture` set to null,
/// when the plane doesn't exist or is smaller than the texture asked for in element size, width, height or bytes per
/// row (kCVReturnPixelBufferNotMetalCompatible), a side is below 1 (kCVReturnInvalidSize), or the device makes none
/// (kCVReturnAllocationFailed).
CVReturn CVMetalTextureCacheCreateTextureFromImage(CVMetalTextureCache& cache,
                                                   const std::shared_ptr<CVPixelBuffer>& buffer,
                                                   MTLPixelFormat pixelFormat, std::int64_t width, std::int64_t height,
                                                   std::int64_t planeIndex, std::shared_ptr<CVMetalTexture>* texture);

[[nodiscard]] std::shared_ptr<MTLTexture> CVMetalTextureGetTexture(const CVMetalTexture& texture);

}  // namespace ondrix
