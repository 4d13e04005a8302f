#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <ondrix/platform/foundation/NSBundle.h>
#include <ondrix/platform/foundation/NSError.h>
#include <ondrix/platform/foundation/URL.h>
#include <ondrix/platform/metal/MTLBuffer.h>
#include <ondrix/platform/metal/MTLCommandQueue.h>
#include <ondrix/platform/metal/MTLLibrary.h>
#include <ondrix/platform/metal/MTLPipelineState.h>
#include <ondrix/platform/metal/MTLSampler.h>
#include <ondrix/platform/metal/MTLTexture.h>

namespace ondrix {

class IOSurface;

/// A GPU, or what stands in for one. Makes every other object of this layer. Safe to use from any thread; every request
/// that can't be met yields null, never an exception.
class MTLDevice {
public:
    virtual ~MTLDevice() = default;

    [[nodiscard]] virtual std::string name() const = 0;

    [[nodiscard]] virtual std::shared_ptr<MTLCommandQueue> makeCommandQueue() = 0;
    /// All bytes are zero at first.
    [[nodiscard]] virtual std::shared_ptr<MTLTexture> makeTexture(const MTLTextureDescriptor& descriptor) = 0;
    /// A texture over the bytes of one plane, which it keeps alive. Null unless the plane is at least as wide, as high
    /// and as large in element size and bytes per row as the descriptor asks.
    [[nodiscard]] virtual std::shared_ptr<MTLTexture> makeTexture(const MTLTextureDescriptor& descriptor,
                                                                  std::shared_ptr<IOSurface> iosurface,
                                                                  std::uint64_t plane) = 0;
    /// `length` bytes, all zero; null for a length below 1.
    [[nodiscard]] virtual std::shared_ptr<MTLBuffer> makeBuffer(std::int64_t length, MTLResourceOptions options) = 0;
    /// A copy of `length` bytes; null for a length below 1.
    [[nodiscard]] virtual std::shared_ptr<MTLBuffer> makeBuffer(const void* bytes, std::int64_t length,
                                                                MTLResourceOptions options) = 0;
    [[nodiscard]] virtual std::shared_ptr<MTLSamplerState> makeSamplerState(const MTLSamplerDescriptor& descriptor) = 0;

    /// Opens a shader library, a folder whose name ends in ".oxlib".
    [[nodiscard]] virtual std::shared_ptr<MTLLibrary> makeLibrary(const URL& URL, NSError* error) = 0;
    /// The library "default.oxlib" of the main bundle.
    [[nodiscard]] virtual std::shared_ptr<MTLLibrary> makeDefaultLibrary() = 0;
    /// The library "default.oxlib" of `bundle`.
    [[nodiscard]] virtual std::shared_ptr<MTLLibrary> makeDefaultLibrary(const NSBundle& bundle, NSError* error) = 0;

    [[nodiscard]] virtual std::shared_ptr<MTLRenderPipelineState> makeRenderPipelineState(
        const MTLRenderPipelineDescriptor& descriptor, NSError* error) = 0;
    [[nodiscard]] virtual std::shared_ptr<MTLComputePipelineState> makeComputePipelineState(
        std::shared_ptr<MTLFunction> function, NSError* error) = 0;
};

/// The system's default GPU, the same object as long as anything holds it; null when there is none.
/// `ONDRIX_DEVICE=none` in the environment stands for a machine without one, `ONDRIX_DEVICE=cpu` and an unset variable
/// for the CPU device.
[[nodiscard]] std::shared_ptr<MTLDevice> MTLCreateSystemDefaultDevice();

}  // namespace ondrix
