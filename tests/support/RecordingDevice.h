#pragma once

#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <ondrix/platform/metal/MTLDevice.h>

namespace ondrix::test {

/// The calls made on one device and everything from it, one line each, in order.
using Calls = std::vector<std::string>;

struct RecordedTexture final : MTLTexture {
    explicit RecordedTexture(const MTLTextureDescriptor& d) : descriptor(d) {}
    [[nodiscard]] std::uint64_t width() const override { return descriptor.width; }
    [[nodiscard]] std::uint64_t height() const override { return descriptor.height; }
    [[nodiscard]] MTLPixelFormat pixelFormat() const override { return descriptor.pixelFormat; }
    [[nodiscard]] MTLTextureUsage usage() const override { return descriptor.usage; }
    void replace(const MTLRegion&, std::uint64_t, const void*, std::uint64_t) override {}
    void getBytes(void*, std::uint64_t, const MTLRegion&, std::uint64_t) const override {}

    MTLTextureDescriptor descriptor;
};

struct RecordedBuffer final : MTLBuffer {
    explicit RecordedBuffer(std::int64_t length) : words(static_cast<std::size_t>(length + 7) / 8), bytes(length) {}
    [[nodiscard]] std::uint64_t length() const override { return static_cast<std::uint64_t>(bytes); }
    [[nodiscard]] void* contents() const override { return const_cast<std::uint64_t*>(words.data()); }
    template <class Value>
    [[nodiscard]] Value at(std::size_t offset) const {
        Value value;
        std::memcpy(&value, static_cast<const char*>(contents()) + offset, sizeof(Value));
        return value;
    }

    std::vector<std::uint64_t> words;
    std::int64_t bytes;
};

struct RecordedSampler final : MTLSamplerState {
    explicit RecordedSampler(const MTLSamplerDescriptor& d) : descriptor(d) {}
    MTLSamplerDescriptor descriptor;
};

struct RecordedFunction final : MTLFunction {
    explicit RecordedFunction(std::string_view n) : text(n) {}
    [[nodiscard]] std::string name() const override { return text; }
    [[nodiscard]] MTLFunctionType functionType() const override { return MTLFunctionType::kernel; }
    std::string text;
};

struct RecordedPipeline final : MTLRenderPipelineState, MTLComputePipelineState {
    [[nodiscard]] std::uint64_t threadExecutionWidth() const override { return width; }
    [[nodiscard]] std::uint64_t maxTotalThreadsPerThreadgroup() const override { return threads; }
    std::uint64_t width = 32, threads = 1024;
};

/// How objects show in a line: textures by size, buffers by length, others by kind.
inline std::string shown(const std::shared_ptr<MTLTexture>& t) {
    return t ? std::to_string(t->width()) + "x" + std::to_string(t->height()) : "none";
}
inline std::string shown(const std::shared_ptr<MTLBuffer>& b) {
    return b ? std::to_string(b->length()) + " bytes" : "none";
}
inline std::string shown(const std::shared_ptr<MTLSamplerState>& s) {
    return s ? "sampler" : "none";
}
inline std::string shown(std::int64_t number) {
    return std::to_string(number);
}
inline std::string shown(MTLSize s) {
    return std::to_string(s.width) + "x" + std::to_string(s.height) + "x" + std::to_string(s.depth);
}

template <class... Arguments>
void record(Calls& calls, const std::string& name, const Arguments&... arguments) {
    std::string line;
    ((line += (line.empty() ? "" : ", ") + shown(arguments)), ...);
    calls.push_back(name + "(" + line + ")");
}

struct RecordedRenderEncoder final : MTLRenderCommandEncoder {
    using Int = std::int64_t;
    using Buffer = std::shared_ptr<MTLBuffer>;
    using Texture = std::shared_ptr<MTLTexture>;
    using Sampler = std::shared_ptr<MTLSamplerState>;

    explicit RecordedRenderEncoder(Calls& c) : calls(c) {}
    void setRenderPipelineState(std::shared_ptr<MTLRenderPipelineState>) override { record(calls, "setPipeline"); }
    void setVertexBuffer(Buffer b, Int at, Int i) override { record(calls, "setVertexBuffer", b, at, i); }
    void setVertexBytes(const void*, Int length, Int i) override { record(calls, "setVertexBytes", length, i); }
    void setVertexTexture(Texture t, Int i) override { record(calls, "setVertexTexture", t, i); }
    void setVertexSamplerState(Sampler s, Int i) override { record(calls, "setVertexSamplerState", s, i); }
    void setFragmentBuffer(Buffer b, Int at, Int i) override { record(calls, "setFragmentBuffer", b, at, i); }
    void setFragmentBytes(const void*, Int length, Int i) override { record(calls, "setFragmentBytes", length, i); }
    void setFragmentTexture(Texture t, Int i) override { record(calls, "setFragmentTexture", t, i); }
    void setFragmentSamplerState(Sampler s, Int i) override { record(calls, "setFragmentSamplerState", s, i); }
    void drawIndexedPrimitives(MTLPrimitiveType type, Int count, MTLIndexType index, Buffer b, Int at) override {
        record(calls, "draw", static_cast<Int>(type), count, static_cast<Int>(index), b, at);
    }
    void endEncoding() override { record(calls, "endEncoding"); }

    Calls& calls;
};

struct RecordedComputeEncoder final : MTLComputeCommandEncoder {
    using Int = std::int64_t;

    explicit RecordedComputeEncoder(Calls& c) : calls(c) {}
    void setComputePipelineState(std::shared_ptr<MTLComputePipelineState>) override { record(calls, "setPipeline"); }
    void setBuffer(std::shared_ptr<MTLBuffer> b, Int at, Int i) override { record(calls, "setBuffer", b, at, i); }
    void setBytes(const void*, Int length, Int i) override { record(calls, "setBytes", length, i); }
    void setTexture(std::shared_ptr<MTLTexture> t, Int i) override { record(calls, "setTexture", t, i); }
    void setSamplerState(std::shared_ptr<MTLSamplerState> s, Int i) override { record(calls, "setSamplerState", s, i); }
    void dispatchThreadgroups(MTLSize groups, MTLSize threads) override { record(calls, "dispatch", groups, threads); }
    void endEncoding() override { record(calls, "endEncoding"); }

    Calls& calls;
};

struct RecordingDevice;

/// Never runs anything; `RecordingDevice::complete` calls its handlers.
struct RecordedCommandBuffer final : MTLCommandBuffer, std::enable_shared_from_this<RecordedCommandBuffer> {
    explicit RecordedCommandBuffer(RecordingDevice& d) : device(d) {}
    [[nodiscard]] std::shared_ptr<MTLRenderCommandEncoder> makeRenderCommandEncoder(
        const MTLRenderPassDescriptor& descriptor) override;
    [[nodiscard]] std::shared_ptr<MTLComputeCommandEncoder> makeComputeCommandEncoder() override;
    void present(std::shared_ptr<MTLDrawable>) override;
    void addCompletedHandler(std::function<void(MTLCommandBuffer&)> handler) override;
    void commit() override;
    void waitUntilCompleted() override;
    [[nodiscard]] MTLCommandBufferStatus status() const override { return MTLCommandBufferStatus::completed; }
    [[nodiscard]] std::optional<NSError> error() const override { return std::nullopt; }

    RecordingDevice& device;
    std::vector<std::function<void(MTLCommandBuffer&)>> handlers;
};

/// A device that computes nothing: it records what is asked of it and refuses what it is told to.
struct RecordingDevice final : MTLDevice, std::enable_shared_from_this<RecordingDevice> {
    Calls calls;
    std::set<std::string> refused;       ///< names of operations, or of functions of a library
    MTLRenderPassDescriptor renderPass;  ///< the last one
    MTLRenderPipelineDescriptor renderPipeline;
    std::vector<std::shared_ptr<RecordedBuffer>> buffers;    ///< in the order in which they were made
    std::vector<std::shared_ptr<RecordedSampler>> samplers;  ///< likewise
    std::vector<std::shared_ptr<RecordedCommandBuffer>> committed;
    RecordedPipeline pipeline;  ///< what pipelines are made like

    void complete() {
        for (const auto& commandBuffer : std::exchange(committed, {})) {
            for (const auto& handler : commandBuffer->handlers) handler(*commandBuffer);
        }
    }
    [[nodiscard]] bool refuses(const std::string& operation, NSError* error = nullptr) const {
        if (error != nullptr && refused.contains(operation)) *error = NSError("refused");
        return refused.contains(operation);
    }

    [[nodiscard]] std::string name() const override { return "recording"; }
    [[nodiscard]] std::shared_ptr<MTLCommandQueue> makeCommandQueue() override;
    [[nodiscard]] std::shared_ptr<MTLTexture> makeTexture(const MTLTextureDescriptor& descriptor) override {
        record(calls, "makeTexture", static_cast<std::int64_t>(descriptor.width),
               static_cast<std::int64_t>(descriptor.height));
        return refuses("makeTexture") ? nullptr : std::make_shared<RecordedTexture>(descriptor);
    }
    [[nodiscard]] std::shared_ptr<MTLTexture> makeTexture(const MTLTextureDescriptor& descriptor,
                                                          std::shared_ptr<IOSurface>, std::uint64_t plane) override {
        record(calls, "wrapPlane", static_cast<std::int64_t>(plane), static_cast<std::int64_t>(descriptor.pixelFormat));
        const bool isRefused = refuses("wrapPlane") || refuses("wrapPlane " + std::to_string(plane));
        return isRefused ? nullptr : std::make_shared<RecordedTexture>(descriptor);
    }
    [[nodiscard]] std::shared_ptr<MTLBuffer> makeBuffer(std::int64_t length, MTLResourceOptions) override {
        record(calls, "makeBuffer", length);
        if (refuses("makeBuffer") || refuses("makeBuffer " + std::to_string(length)) || length < 1) return nullptr;
        return buffers.emplace_back(std::make_shared<RecordedBuffer>(length));
    }
    [[nodiscard]] std::shared_ptr<MTLBuffer> makeBuffer(const void* bytes, std::int64_t length,
                                                        MTLResourceOptions options) override {
        const auto buffer = makeBuffer(length, options);
        if (buffer != nullptr) std::memcpy(buffer->contents(), bytes, static_cast<std::size_t>(length));
        return buffer;
    }
    [[nodiscard]] std::shared_ptr<MTLSamplerState> makeSamplerState(const MTLSamplerDescriptor& descriptor) override {
        if (refuses("makeSamplerState")) return nullptr;
        return samplers.emplace_back(std::make_shared<RecordedSampler>(descriptor));
    }
    [[nodiscard]] std::shared_ptr<MTLLibrary> makeLibrary(const URL&, NSError* error) override {
        return makeLibraryOrNull("makeLibrary", error);
    }
    [[nodiscard]] std::shared_ptr<MTLLibrary> makeDefaultLibrary() override {
        return makeLibraryOrNull("makeDefaultLibrary", nullptr);
    }
    [[nodiscard]] std::shared_ptr<MTLLibrary> makeDefaultLibrary(const NSBundle&, NSError* error) override {
        return makeLibraryOrNull("makeDefaultLibrary", error);
    }
    [[nodiscard]] std::shared_ptr<MTLRenderPipelineState> makeRenderPipelineState(
        const MTLRenderPipelineDescriptor& descriptor, NSError* error) override {
        renderPipeline = descriptor;
        if (refuses("makeRenderPipelineState", error)) return nullptr;
        return std::make_shared<RecordedPipeline>(pipeline);
    }
    [[nodiscard]] std::shared_ptr<MTLComputePipelineState> makeComputePipelineState(std::shared_ptr<MTLFunction>,
                                                                                    NSError* error) override {
        if (refuses("makeComputePipelineState", error)) return nullptr;
        return std::make_shared<RecordedPipeline>(pipeline);
    }

private:
    struct Library final : MTLLibrary {
        explicit Library(RecordingDevice& d) : device(d) {}
        [[nodiscard]] std::shared_ptr<MTLFunction> makeFunction(std::string_view name) override {
            device.calls.push_back("makeFunction(" + std::string(name) + ")");
            return device.refuses(std::string(name)) ? nullptr : std::make_shared<RecordedFunction>(name);
        }
        [[nodiscard]] std::vector<std::string> functionNames() const override { return {}; }
        RecordingDevice& device;
    };
    struct Queue final : MTLCommandQueue {
        explicit Queue(RecordingDevice& d) : device(d) {}
        [[nodiscard]] std::shared_ptr<MTLCommandBuffer> makeCommandBuffer() override {
            return device.refuses("makeCommandBuffer") ? nullptr : std::make_shared<RecordedCommandBuffer>(device);
        }
        RecordingDevice& device;
    };

    [[nodiscard]] std::shared_ptr<MTLLibrary> makeLibraryOrNull(const std::string& operation, NSError* error) {
        return refuses(operation, error) ? nullptr : std::make_shared<Library>(*this);
    }
};

inline std::shared_ptr<MTLCommandQueue> RecordingDevice::makeCommandQueue() {
    record(calls, "makeCommandQueue");
    return refuses("makeCommandQueue") ? nullptr : std::make_shared<Queue>(*this);
}

inline std::shared_ptr<MTLRenderCommandEncoder> RecordedCommandBuffer::makeRenderCommandEncoder(
    const MTLRenderPassDescriptor& descriptor) {
    device.renderPass = descriptor;
    record(device.calls, "makeRenderCommandEncoder", descriptor.colorAttachment0Texture);
    if (device.refuses("makeRenderCommandEncoder")) return nullptr;
    return std::make_shared<RecordedRenderEncoder>(device.calls);
}
inline std::shared_ptr<MTLComputeCommandEncoder> RecordedCommandBuffer::makeComputeCommandEncoder() {
    record(device.calls, "makeComputeCommandEncoder");
    if (device.refuses("makeComputeCommandEncoder")) return nullptr;
    return std::make_shared<RecordedComputeEncoder>(device.calls);
}
inline void RecordedCommandBuffer::present(std::shared_ptr<MTLDrawable>) {
    record(device.calls, "present");
}
inline void RecordedCommandBuffer::addCompletedHandler(std::function<void(MTLCommandBuffer&)> handler) {
    record(device.calls, "addCompletedHandler");
    handlers.push_back(std::move(handler));
}
inline void RecordedCommandBuffer::commit() {
    record(device.calls, "commit");
    device.committed.push_back(shared_from_this());
}
inline void RecordedCommandBuffer::waitUntilCompleted() {
    record(device.calls, "waitUntilCompleted");
    device.complete();
}

}  // namespace ondrix::test
