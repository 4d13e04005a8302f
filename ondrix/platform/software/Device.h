#pragma once

#include <memory>
#include <string>

#include <ondrix/platform/metal/MTLDevice.h>

namespace ondrix::software {

class Executor;

/// The CPU as a device: GPU functions are the vector code of shader libraries' modules, run by a pool of threads on
/// textures in main memory. Its objects don't hold it; work that is committed is done even when the device goes first.
class Device final : public MTLDevice {
public:
    /// With the settings of the environment: `ONDRIX_THREADS`, the number of threads that share work (1 to 256; one per
    /// processor when unset), `ONDRIX_SIMD`, the SIMD level of shader modules (the best when unset), and
    /// `ONDRIX_VALIDATE`, 1 for a device that validates. Values that can't be read are reported and ignored. Null
    /// without memory.
    static std::shared_ptr<Device> create();
    /// `threadCount` is 1 to 256; an empty `levelName` stands for the best level. A device that `validates` looks
    /// closer at what functions do and what is bound to them, and logs what it finds under the category "validation";
    /// results are the same, at the speed of one pixel at a time.
    static std::shared_ptr<Device> create(int threadCount, std::string levelName, bool validates = false);

    [[nodiscard]] std::string name() const override;

    [[nodiscard]] std::shared_ptr<MTLCommandQueue> makeCommandQueue() override;
    [[nodiscard]] std::shared_ptr<MTLTexture> makeTexture(const MTLTextureDescriptor& descriptor) override;
    [[nodiscard]] std::shared_ptr<MTLTexture> makeTexture(const MTLTextureDescriptor& descriptor,
                                                          std::shared_ptr<IOSurface> iosurface,
                                                          std::uint64_t plane) override;
    [[nodiscard]] std::shared_ptr<MTLBuffer> makeBuffer(std::int64_t length, MTLResourceOptions options) override;
    [[nodiscard]] std::shared_ptr<MTLBuffer> makeBuffer(const void* bytes, std::int64_t length,
                                                        MTLResourceOptions options) override;
    [[nodiscard]] std::shared_ptr<MTLSamplerState> makeSamplerState(const MTLSamplerDescriptor& descriptor) override;
    [[nodiscard]] std::shared_ptr<MTLLibrary> makeLibrary(const URL& URL, NSError* error) override;
    [[nodiscard]] std::shared_ptr<MTLLibrary> makeDefaultLibrary() override;
    [[nodiscard]] std::shared_ptr<MTLLibrary> makeDefaultLibrary(const NSBundle& bundle, NSError* error) override;
    [[nodiscard]] std::shared_ptr<MTLRenderPipelineState> makeRenderPipelineState(
        const MTLRenderPipelineDescriptor& descriptor, NSError* error) override;
    [[nodiscard]] std::shared_ptr<MTLComputePipelineState> makeComputePipelineState(
        std::shared_ptr<MTLFunction> function, NSError* error) override;

private:
    Device(std::shared_ptr<Executor> executor, int threadCount, std::string levelName);

    std::shared_ptr<Executor> executor_;
    int threadCount_;
    std::string levelName_;
};

}  // namespace ondrix::software
