#pragma once

#include <map>
#include <memory>
#include <string>

#include <ondrix/platform/foundation/NSBundle.h>
#include <ondrix/platform/metal/MTLDevice.h>
#include <ondrix/types/Int.h>

namespace ondrix {

/// Runs one compute function on platform objects, without a `Device` or an effect. It keeps the pipeline and the
/// constant buffers; textures and samplers are given to each run. Runs may go on in several threads at once;
/// buffers are made and updated while nobody else runs or updates. A buffer that an unfinished run reads may be
/// updated, but which of the run's threads then see which 32-bit words is not defined.
class MetalComputeCommandRunner {
public:
    /// Null, with a message, when the library, the function or the pipeline can't be had.
    [[nodiscard]] static std::shared_ptr<MetalComputeCommandRunner> create(std::shared_ptr<MTLDevice> device,
                                                                           std::shared_ptr<MTLFunction> function);
    [[nodiscard]] static std::shared_ptr<MetalComputeCommandRunner> create(std::shared_ptr<MTLDevice> device,
                                                                           std::shared_ptr<MTLLibrary> shaderLib,
                                                                           const std::string& functionName);
    /// From the default library of `bundle`.
    [[nodiscard]] static std::shared_ptr<MetalComputeCommandRunner> create(std::shared_ptr<MTLDevice> device,
                                                                           const NSBundle& bundle,
                                                                           const std::string& functionName);
    /// With the reason of a failure for the caller, in which case nothing is logged; `error` may be null.
    [[nodiscard]] static std::shared_ptr<MetalComputeCommandRunner> create(std::shared_ptr<MTLDevice> device,
                                                                           std::shared_ptr<MTLFunction> function,
                                                                           NSError* error);
    [[nodiscard]] static std::shared_ptr<MetalComputeCommandRunner> create(std::shared_ptr<MTLDevice> device,
                                                                           std::shared_ptr<MTLLibrary> shaderLib,
                                                                           const std::string& functionName,
                                                                           NSError* error);
    [[nodiscard]] static std::shared_ptr<MetalComputeCommandRunner> create(std::shared_ptr<MTLDevice> device,
                                                                           const NSBundle& bundle,
                                                                           const std::string& functionName,
                                                                           NSError* error);
    virtual ~MetalComputeCommandRunner() = default;
    MetalComputeCommandRunner(const MetalComputeCommandRunner&) = delete;
    MetalComputeCommandRunner& operator=(const MetalComputeCommandRunner&) = delete;

    /// Makes the buffer that every later run finds in slot `index`, in place of one that was there; the first copies
    /// `length` bytes, the second leaves the content undefined. False, with a message, when the device makes none.
    [[nodiscard]] virtual bool makeConstantBuffer(const void* withData, Int length, Int index);
    [[nodiscard]] virtual bool makeConstantBuffer(Int length, Int index);
    /// Overwrites the first `length` bytes of the buffer in slot `index`. False, with a message, when there is none or
    /// `length` is negative or larger than the buffer.
    [[nodiscard]] virtual bool updateConstantBuffer(const void* withData, Int length, Int index);

    /// Runs the function once for each position of the output, in whole thread groups: it must leave out positions
    /// beyond the output itself. Textures and samplers are keyed by slot; `samplers` may be null. True when the work
    /// was committed, whether or not it then succeeds; false without a message when the device gives no queue, command
    /// buffer or encoder, or a side is negative.
    virtual bool run(const std::map<Int, std::shared_ptr<MTLTexture>>& withTextures, Int outputTextureWidth,
                     Int outputTextureHeight, const std::map<Int, std::shared_ptr<MTLSamplerState>>* samplers,
                     bool waitUntilCompleted);

    /// With the reason of a failure for the caller; `error` may be null. This `run` is false also when it waits and the
    /// GPU ends the work with an error.
    [[nodiscard]] bool makeConstantBuffer(const void* withData, Int length, Int index, NSError* error);
    [[nodiscard]] bool makeConstantBuffer(Int length, Int index, NSError* error);
    [[nodiscard]] bool updateConstantBuffer(const void* withData, Int length, Int index, NSError* error);
    [[nodiscard]] bool run(const std::map<Int, std::shared_ptr<MTLTexture>>& withTextures, Int outputTextureWidth,
                           Int outputTextureHeight, const std::map<Int, std::shared_ptr<MTLSamplerState>>* samplers,
                           bool waitUntilCompleted, NSError* error);

protected:
    MetalComputeCommandRunner(std::shared_ptr<MTLDevice> device, std::shared_ptr<MTLFunction> function,
                              std::shared_ptr<MTLComputePipelineState> pipelineState);

private:
    /// Null when nothing was committed.
    [[nodiscard]] std::shared_ptr<MTLCommandBuffer> commit(
        const std::map<Int, std::shared_ptr<MTLTexture>>& withTextures, Int outputTextureWidth, Int outputTextureHeight,
        const std::map<Int, std::shared_ptr<MTLSamplerState>>* samplers) const;

    std::shared_ptr<MTLDevice> device_;
    std::shared_ptr<MTLComputePipelineState> pipelineState_;
    std::shared_ptr<MTLFunction> shader_;
    std::map<Int, std::shared_ptr<MTLBuffer>> shaderBuffers_;
};

}  // namespace ondrix
