#include "Gpu.h"

#include <gtest/gtest.h>

namespace ondrix::test {

Gpu::Gpu(int threadCount, const std::string& levelName) : device(software::Device::create(threadCount, levelName)) {
    NSError error;
    library = device->makeLibrary(URL(TEST_LIBRARY), &error);
    if (!library) throw std::runtime_error(error.localizedDescription());
    queue = device->makeCommandQueue();
}

std::shared_ptr<MTLTexture> Gpu::texture(std::uint64_t width, std::uint64_t height, MTLPixelFormat format,
                                         MTLTextureUsage usage) const {
    MTLTextureDescriptor descriptor = MTLTextureDescriptor::texture2DDescriptor(format, width, height, false);
    descriptor.usage = usage;
    return device->makeTexture(descriptor);
}

std::shared_ptr<MTLComputePipelineState> Gpu::compute(const std::string& name) const {
    NSError error;
    auto pipeline = device->makeComputePipelineState(library->makeFunction(name), &error);
    if (!pipeline) throw std::runtime_error(error.localizedDescription());
    return pipeline;
}

MTLVertexDescriptor vertexLayout() {
    MTLVertexDescriptor descriptor;
    descriptor.attributes[0] = {MTLVertexFormat::float4, offsetof(Vertex, x), 0};
    descriptor.attributes[1] = {MTLVertexFormat::float4, offsetof(Vertex, values), 0};
    descriptor.layouts[0].stride = sizeof(Vertex);
    return descriptor;
}

std::shared_ptr<MTLRenderPipelineState> Gpu::render(const std::string& vertex, const std::string& fragment,
                                                    MTLPixelFormat format) const {
    NSError error;
    auto pipeline =
        device->makeRenderPipelineState({library->makeFunction(vertex), library->makeFunction(fragment),
                                         std::make_shared<const MTLVertexDescriptor>(vertexLayout()), format},
                                        &error);
    if (!pipeline) throw std::runtime_error(error.localizedDescription());
    return pipeline;
}

void Gpu::fill(MTLCommandBuffer& commands, std::shared_ptr<MTLTexture> target, Color color) const {
    const MTLSize size{target->width(), target->height(), 1};
    auto encoder = commands.makeComputeCommandEncoder();
    encoder->setComputePipelineState(compute("fill"));
    encoder->setTexture(std::move(target), 0);
    encoder->setBytes(color.data(), sizeof(color), 0);
    encoder->dispatchThreadgroups(size, {1, 1, 1});
    encoder->endEncoding();
}

void Gpu::draw(std::shared_ptr<MTLTexture> target, const std::vector<Vertex>& vertices,
               const std::vector<std::uint32_t>& indices, MTLPrimitiveType type, MTLLoadAction loadAction) const {
    auto commands = queue->makeCommandBuffer();
    const auto format = target->pixelFormat();
    auto encoder = commands->makeRenderCommandEncoder({std::move(target), loadAction, MTLStoreAction::store, {}});
    encoder->setRenderPipelineState(render("vertexValue", "fragmentValue", format));
    encoder->setVertexBuffer(buffer(vertices), 0, 0);
    encoder->drawIndexedPrimitives(type, static_cast<std::int64_t>(indices.size()), MTLIndexType::uint32,
                                   buffer(indices), 0);
    encoder->endEncoding();
    commands->commit();
    commands->waitUntilCompleted();
    ASSERT_EQ(commands->status(), MTLCommandBufferStatus::completed);
}

std::vector<Color> colors(const MTLTexture& texture) {
    std::vector<Color> result(texture.width() * texture.height());
    texture.getBytes(result.data(), texture.width() * sizeof(Color),
                     MTLRegionMake2D(0, 0, texture.width(), texture.height()), 0);
    return result;
}

std::vector<std::uint8_t> bytes(const MTLTexture& texture) {
    const std::uint64_t row =
        texture.width() * static_cast<unsigned>(pixelFormatInfo(texture.pixelFormat())->bytesPerPixel);
    std::vector<std::uint8_t> result(row * texture.height());
    texture.getBytes(result.data(), row, MTLRegionMake2D(0, 0, texture.width(), texture.height()), 0);
    return result;
}

Vertex at(const MTLTexture& target, double x, double y, std::array<float, 4> values) {
    return {static_cast<float>(x / static_cast<double>(target.width()) * 2 - 1),
            static_cast<float>(1 - y / static_cast<double>(target.height()) * 2), 0, 1, values};
}

}  // namespace ondrix::test
