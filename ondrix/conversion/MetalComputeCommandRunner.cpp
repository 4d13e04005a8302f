#include <cassert>
#include <utility>

#include <ondrix/conversion/MetalComputeCommandRunner.h>
#include <ondrix/core/Failure.h>
#include <ondrix/core/Logger.h>
#include <ondrix/core/ThreadGroupDispatchSize.h>
#include <ondrix/resources/ConstantBytes.h>

namespace ondrix {

MetalComputeCommandRunner::MetalComputeCommandRunner(std::shared_ptr<MTLDevice> device,
                                                     std::shared_ptr<MTLFunction> function,
                                                     std::shared_ptr<MTLComputePipelineState> pipelineState)
    : device_(std::move(device)), pipelineState_(std::move(pipelineState)), shader_(std::move(function)) {}

std::shared_ptr<MetalComputeCommandRunner> MetalComputeCommandRunner::create(std::shared_ptr<MTLDevice> device,
                                                                             std::shared_ptr<MTLFunction> function) {
    return Failure::orAbsent([&]() -> std::shared_ptr<MetalComputeCommandRunner> {
        assert(device != nullptr && function != nullptr);
        NSError reason;
        auto pipelineState = device->makeComputePipelineState(function, &reason);
        if (pipelineState == nullptr) {
            Failure::because(reason);
            Logger::gfx().error("Failed to create compute pipeline state for the MetalComputeCommandRunner.");
            return nullptr;
        }
        return std::shared_ptr<MetalComputeCommandRunner>(
            new MetalComputeCommandRunner(std::move(device), std::move(function), std::move(pipelineState)));
    });
}

std::shared_ptr<MetalComputeCommandRunner> MetalComputeCommandRunner::create(std::shared_ptr<MTLDevice> device,
                                                                             std::shared_ptr<MTLLibrary> shaderLib,
                                                                             const std::string& functionName) {
    return Failure::orAbsent([&]() -> std::shared_ptr<MetalComputeCommandRunner> {
        assert(shaderLib != nullptr);
        auto function = shaderLib->makeFunction(functionName);
        if (function == nullptr) {
            Logger::gfx().error("Failed to create compute shader function '%s'.", functionName.c_str());
            return nullptr;
        }
        return create(std::move(device), std::move(function));
    });
}

std::shared_ptr<MetalComputeCommandRunner> MetalComputeCommandRunner::create(std::shared_ptr<MTLDevice> device,
                                                                             const NSBundle& bundle,
                                                                             const std::string& functionName) {
    return Failure::orAbsent([&]() -> std::shared_ptr<MetalComputeCommandRunner> {
        assert(device != nullptr);
        NSError reason;
        auto shaderLib = device->makeDefaultLibrary(bundle, &reason);
        if (shaderLib == nullptr) {
            Failure::because(reason);
            Logger::gfx().error("Failed to create default library with the bundle '%s'.", bundle.bundlePath().c_str());
            return nullptr;
        }
        return create(std::move(device), std::move(shaderLib), functionName);
    });
}

bool MetalComputeCommandRunner::makeConstantBuffer(const void* withData, Int length, Int index) {
    return Failure::orAbsent([&] {
        auto buffer = device_->makeBuffer(withData, length, 0);
        if (buffer == nullptr) {
            Logger::gfx().error("Failed to make constant buffer with data of length %ld.", length);
            return false;
        }
        shaderBuffers_[index] = std::move(buffer);
        return true;
    });
}

bool MetalComputeCommandRunner::makeConstantBuffer(Int length, Int index) {
    return Failure::orAbsent([&] {
        auto buffer = device_->makeBuffer(length, 0);
        if (buffer == nullptr) {
            Logger::gfx().error("Failed to make constant buffer of length %ld.", length);
            return false;
        }
        shaderBuffers_[index] = std::move(buffer);
        return true;
    });
}

bool MetalComputeCommandRunner::updateConstantBuffer(const void* withData, Int length, Int index) {
    const auto found = shaderBuffers_.find(index);
    if (found == shaderBuffers_.end()) {
        Logger::gfx().error("Failed to find the constant buffer at index %ld.", index);
        return false;
    }
    MTLBuffer& buffer = *found->second;
    if (length < 0 || static_cast<std::uint64_t>(length) > buffer.length()) {
        Logger::gfx().error("Failed to update the constant buffer at index %ld with data of length %ld.", index,
                            length);
        return false;
    }
    writeConstants(buffer, withData, length);
    return true;
}

std::shared_ptr<MTLCommandBuffer> MetalComputeCommandRunner::commit(
    const std::map<Int, std::shared_ptr<MTLTexture>>& withTextures, Int outputTextureWidth, Int outputTextureHeight,
    const std::map<Int, std::shared_ptr<MTLSamplerState>>* samplers) const {
    if (outputTextureWidth < 0 || outputTextureHeight < 0) {
        Failure::because("The output has a negative side.");
        return nullptr;
    }
    const auto commandQueue = device_->makeCommandQueue();
    auto commandBuffer = commandQueue != nullptr ? commandQueue->makeCommandBuffer() : nullptr;
    const auto encoder = commandBuffer != nullptr ? commandBuffer->makeComputeCommandEncoder() : nullptr;
    if (encoder == nullptr) {
        Failure::because("The device makes no command queue, command buffer or encoder.");
        return nullptr;
    }
    encoder->setComputePipelineState(pipelineState_);
    for (const auto& [index, texture] : withTextures) encoder->setTexture(texture, index);
    if (samplers != nullptr) {
        for (const auto& [index, sampler] : *samplers) encoder->setSamplerState(sampler, index);
    }
    for (const auto& [index, buffer] : shaderBuffers_) encoder->setBuffer(buffer, 0, index);

    const auto [threadGroupSize, threadGroupsPerGrid] =
        threadGroupDispatchSize(*pipelineState_, static_cast<std::uint64_t>(outputTextureWidth),
                                static_cast<std::uint64_t>(outputTextureHeight));
    encoder->dispatchThreadgroups(threadGroupsPerGrid, threadGroupSize);
    encoder->endEncoding();
    commandBuffer->commit();
    return commandBuffer;
}

bool MetalComputeCommandRunner::run(const std::map<Int, std::shared_ptr<MTLTexture>>& withTextures,
                                    Int outputTextureWidth, Int outputTextureHeight,
                                    const std::map<Int, std::shared_ptr<MTLSamplerState>>* samplers,
                                    bool waitUntilCompleted) {
    return Failure::orAbsent([&] {
        const auto commandBuffer = commit(withTextures, outputTextureWidth, outputTextureHeight, samplers);
        if (commandBuffer == nullptr) return false;
        if (waitUntilCompleted) commandBuffer->waitUntilCompleted();
        return true;
    });
}

bool MetalComputeCommandRunner::run(const std::map<Int, std::shared_ptr<MTLTexture>>& withTextures,
                                    Int outputTextureWidth, Int outputTextureHeight,
                                    const std::map<Int, std::shared_ptr<MTLSamplerState>>* samplers,
                                    bool waitUntilCompleted, NSError* error) {
    return Failure::toldTo(error, [&] {
        const auto commandBuffer = commit(withTextures, outputTextureWidth, outputTextureHeight, samplers);
        if (commandBuffer == nullptr) return false;
        if (!waitUntilCompleted) return true;
        commandBuffer->waitUntilCompleted();
        if (commandBuffer->status() != MTLCommandBufferStatus::error) return true;
        Failure::because(commandBuffer->error().value_or(NSError()));
        return false;
    });
}

std::shared_ptr<MetalComputeCommandRunner> MetalComputeCommandRunner::create(std::shared_ptr<MTLDevice> device,
                                                                             std::shared_ptr<MTLFunction> function,
                                                                             NSError* error) {
    return Failure::toldTo(error, [&] { return create(std::move(device), std::move(function)); });
}

std::shared_ptr<MetalComputeCommandRunner> MetalComputeCommandRunner::create(std::shared_ptr<MTLDevice> device,
                                                                             std::shared_ptr<MTLLibrary> shaderLib,
                                                                             const std::string& functionName,
                                                                             NSError* error) {
    return Failure::toldTo(error, [&] { return create(std::move(device), std::move(shaderLib), functionName); });
}

std::shared_ptr<MetalComputeCommandRunner> MetalComputeCommandRunner::create(std::shared_ptr<MTLDevice> device,
                                                                             const NSBundle& bundle,
                                                                             const std::string& functionName,
                                                                             NSError* error) {
    return Failure::toldTo(error, [&] { return create(std::move(device), bundle, functionName); });
}

bool MetalComputeCommandRunner::makeConstantBuffer(const void* withData, Int length, Int index, NSError* error) {
    return Failure::toldTo(error, [&] { return makeConstantBuffer(withData, length, index); });
}

bool MetalComputeCommandRunner::makeConstantBuffer(Int length, Int index, NSError* error) {
    return Failure::toldTo(error, [&] { return makeConstantBuffer(length, index); });
}

bool MetalComputeCommandRunner::updateConstantBuffer(const void* withData, Int length, Int index, NSError* error) {
    return Failure::toldTo(error, [&] { return updateConstantBuffer(withData, length, index); });
}

}  // namespace ondrix
