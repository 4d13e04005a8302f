#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <tests/support/FailureSites.h>

#include <ondrix/platform/metal/MTLDevice.h>

namespace ondrix::test {

/// The calls made on one device and everything from it, one line each, in order.
using Calls = std::vector<std::string>;

/// How an argument shows in a line: textures by size, buffers by length.
template <class Argument>
std::string shown(const Argument& argument) {
    if constexpr (std::is_integral_v<Argument>) return std::to_string(argument);
    if constexpr (std::is_same_v<Argument, MTLSize>) {
        return shown(argument.width) + "x" + shown(argument.height) + "x" + shown(argument.depth);
    }
    if constexpr (std::is_same_v<Argument, std::shared_ptr<MTLTexture>>) {
        return argument ? shown(argument->width()) + "x" + shown(argument->height()) : "none";
    }
    if constexpr (std::is_same_v<Argument, std::shared_ptr<MTLBuffer>>) return shown(argument->length()) + " bytes";
    return "sampler";
}

template <class... Values>
void record(Calls& calls, const std::string& name, const Values&... values) {
    std::string line;
    ((line += (line.empty() ? "" : ", ") + shown(values)), ...);
    calls.push_back(name + "(" + line + ")");
}

struct RecordedFunction final : MTLFunction {
    explicit RecordedFunction(std::string_view n) : text(n) {}
    std::string name() const override { return text; }
    MTLFunctionType functionType() const override { return MTLFunctionType::kernel; }
    std::string text;
};

struct RecordedPipeline final : MTLRenderPipelineState, MTLComputePipelineState {
    std::uint64_t threadExecutionWidth() const override { return 32; }
    std::uint64_t maxTotalThreadsPerThreadgroup() const override { return threads; }
    std::uint64_t threads = 1024;
};

struct RecordedEncoder final : MTLRenderCommandEncoder, MTLComputeCommandEncoder {
    using Int = std::int64_t;
    using Buffer = std::shared_ptr<MTLBuffer>;
    using Texture = std::shared_ptr<MTLTexture>;
    using Sampler = std::shared_ptr<MTLSamplerState>;

    explicit RecordedEncoder(Calls& c) : calls(c) {}
    void setRenderPipelineState(std::shared_ptr<MTLRenderPipelineState>) override { record(calls, "setPipeline"); }
    void setVertexBuffer(Buffer b, Int at, Int i) override { record(calls, "setVertexBuffer", b, at, i); }
    void setVertexBytes(const void*, Int length, Int i) override { record(calls, "setVertexBytes", length, i); }
    void setVertexTexture(Texture t, Int i) override { record(calls, "setVertexTexture", t, i); }
    void setVertexSamplerState(Sampler s, Int i) override { record(calls, "setVertexSamplerState", s, i); }
    void setFragmentBuffer(Buffer b, Int at, Int i) override { record(calls, "setFragmentBuffer", b, at, i); }
    void setFragmentBytes(const void*, Int size, Int i) override { record(calls, "setFragmentBytes", size, i); }
    void setFragmentTexture(Texture t, Int i) override { record(calls, "setFragmentTexture", t, i); }
    void setFragmentSamplerState(Sampler s, Int i) override { record(calls, "setFragmentSamplerState", s, i); }
    void drawIndexedPrimitives(MTLPrimitiveType type, Int count, MTLIndexType index, Buffer b, Int at) override {
        record(calls, "draw", static_cast<Int>(type), count, static_cast<Int>(index), b, at);
    }
    void setComputePipelineState(std::shared_ptr<MTLComputePipelineState>) override { record(calls, "setPipeline"); }
    void setBuffer(Buffer b, Int at, Int i) override { record(calls, "setBuffer", b, at, i); }
    void setBytes(const void*, Int length, Int i) override { record(calls, "setBytes", length, i); }
    void setTexture(Texture t, Int i) override { record(calls, "setTexture", t, i); }
    void setSamplerState(Sampler s, Int i) override { record(calls, "setSamplerState", s, i); }
    void dispatchThreadgroups(MTLSize groups, MTLSize threads) override { record(calls, "dispatch", groups, threads); }
    void endEncoding() override { record(calls, "endEncoding"); }

    Calls& calls;
};

/// A device that runs nothing: it records what is asked of it, refuses and fails what it is told to, and takes
/// textures, buffers and samplers from the system's device.
struct RecordingDevice final : MTLDevice {
    Calls calls;
    std::set<std::string> refused;       ///< names of operations, or of functions of a library
    std::optional<NSError> nextError;    ///< of the next command buffer that is committed
    MTLRenderPassDescriptor renderPass;  ///< the last one
    MTLRenderPipelineDescriptor renderPipeline;
    std::vector<std::shared_ptr<MTLBuffer>> buffers;  ///< in the order in which they were made
    std::vector<MTLSamplerDescriptor> samplers;       ///< likewise
    std::vector<std::function<void()>> handlers;      ///< of all command buffers

    void complete() {
        for (const auto& handler : std::exchange(handlers, {})) handler();
    }

    std::string name() const override { return "recording"; }
    std::shared_ptr<MTLCommandQueue> makeCommandQueue() override {
        record(calls, "makeCommandQueue");
        return unlessRefused<QueueAndLibrary>("makeCommandQueue", *this);
    }
    std::shared_ptr<MTLTexture> makeTexture(const MTLTextureDescriptor& d) override {
        record(calls, "makeTexture", static_cast<std::int64_t>(d.width), static_cast<std::int64_t>(d.height));
        return refuses("makeTexture") ? nullptr : system->makeTexture(d);
    }
    std::shared_ptr<MTLTexture> makeTexture(const MTLTextureDescriptor& d, std::shared_ptr<IOSurface> surface,
                                            std::uint64_t plane) override {
        record(calls, "wrapPlane", static_cast<std::int64_t>(plane), static_cast<std::int64_t>(d.pixelFormat));
        const bool isRefused = refuses("wrapPlane", "wrapPlane " + std::to_string(plane));
        return isRefused ? nullptr : system->makeTexture(d, std::move(surface), plane);
    }
    std::shared_ptr<MTLBuffer> makeBuffer(std::int64_t length, MTLResourceOptions options) override {
        return made(length, system->makeBuffer(length, options));
    }
    std::shared_ptr<MTLBuffer> makeBuffer(const void* bytes, std::int64_t length, MTLResourceOptions options) override {
        return made(length, system->makeBuffer(bytes, length, options));
    }
    std::shared_ptr<MTLSamplerState> makeSamplerState(const MTLSamplerDescriptor& descriptor) override {
        samplers.push_back(descriptor);
        return refuses("makeSamplerState") ? nullptr : system->makeSamplerState(descriptor);
    }
    std::shared_ptr<MTLLibrary> makeLibrary(const URL&, NSError* error) override {
        return unlessRefused<QueueAndLibrary>("makeLibrary", *this, error);
    }
    std::shared_ptr<MTLLibrary> makeDefaultLibrary() override {
        return unlessRefused<QueueAndLibrary>("makeDefaultLibrary", *this);
    }
    std::shared_ptr<MTLLibrary> makeDefaultLibrary(const NSBundle&, NSError* error) override {
        return unlessRefused<QueueAndLibrary>("makeDefaultLibrary", *this, error);
    }
    std::shared_ptr<MTLRenderPipelineState> makeRenderPipelineState(const MTLRenderPipelineDescriptor& descriptor,
                                                                    NSError* error) override {
        renderPipeline = descriptor;
        return unlessRefused<RecordedPipeline>("makeRenderPipelineState", RecordedPipeline(), error);
    }
    std::shared_ptr<MTLComputePipelineState> makeComputePipelineState(std::shared_ptr<MTLFunction>,
                                                                      NSError* error) override {
        return unlessRefused<RecordedPipeline>("makeComputePipelineState", RecordedPipeline(), error);
    }

private:
    struct CommandBuffer final : MTLCommandBuffer, std::enable_shared_from_this<CommandBuffer> {
        explicit CommandBuffer(RecordingDevice& d) : device(d) {}
        std::shared_ptr<MTLRenderCommandEncoder> makeRenderCommandEncoder(const MTLRenderPassDescriptor& d) override {
            device.renderPass = d;
            record(device.calls, "makeRenderCommandEncoder", d.colorAttachment0Texture);
            return device.unlessRefused<RecordedEncoder>("makeRenderCommandEncoder", device.calls);
        }
        std::shared_ptr<MTLComputeCommandEncoder> makeComputeCommandEncoder() override {
            record(device.calls, "makeComputeCommandEncoder");
            return device.unlessRefused<RecordedEncoder>("makeComputeCommandEncoder", device.calls);
        }
        void present(std::shared_ptr<MTLDrawable>) override { record(device.calls, "present"); }
        void addCompletedHandler(MTLCommandBufferHandler handler) override {
            record(device.calls, "addCompletedHandler");
            device.handlers.push_back([handler = std::make_shared<MTLCommandBufferHandler>(std::move(handler)),
                                       self = shared_from_this()] { (*handler)(*self); });
        }
        void commit() override {
            record(device.calls, "commit");
            failure = std::exchange(device.nextError, std::nullopt);
        }
        void waitUntilCompleted() override {
            record(device.calls, "waitUntilCompleted");
            device.complete();
        }
        MTLCommandBufferStatus status() const override {
            return failure ? MTLCommandBufferStatus::error : MTLCommandBufferStatus::completed;
        }
        std::optional<NSError> error() const override { return failure; }

        RecordingDevice& device;
        std::optional<NSError> failure;
    };
    struct QueueAndLibrary final : MTLCommandQueue, MTLLibrary {
        explicit QueueAndLibrary(RecordingDevice& d) : device(d) {}
        std::shared_ptr<MTLCommandBuffer> makeCommandBuffer() override {
            return device.unlessRefused<CommandBuffer>("makeCommandBuffer", device);
        }
        std::shared_ptr<MTLFunction> makeFunction(std::string_view name) override {
            device.calls.push_back("makeFunction(" + std::string(name) + ")");
            return device.unlessRefused<RecordedFunction>(std::string(name), name);
        }
        std::vector<std::string> functionNames() const override { return {}; }
        RecordingDevice& device;
    };

    bool refuses(const std::string& operation, const std::string& moreExactly = {}) {
        if (!refused.contains(operation) && !refused.contains(moreExactly)) return false;
        recordFailureSite();
        return true;
    }
    template <class Object, class Argument>
    std::shared_ptr<Object> unlessRefused(const std::string& operation, Argument&& argument, NSError* error = nullptr) {
        if (!refuses(operation)) return std::make_shared<Object>(std::forward<Argument>(argument));
        if (error != nullptr) *error = NSError("refused");
        return nullptr;
    }
    std::shared_ptr<MTLBuffer> made(std::int64_t length, std::shared_ptr<MTLBuffer> buffer) {
        record(calls, "makeBuffer", length);
        if (refuses("makeBuffer", "makeBuffer " + std::to_string(length))) return nullptr;
        return buffers.emplace_back(std::move(buffer));
    }

    std::shared_ptr<MTLDevice> system = MTLCreateSystemDefaultDevice();
};

}  // namespace ondrix::test
