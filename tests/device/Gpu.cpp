#include "Gpu.h"

#include <gtest/gtest.h>

namespace ondrix::test {

Gpu::Gpu(int threadCount, const std::string& levelName, bool validates)
    : device(software::Device::create(threadCount, levelName, validates)) {
    NSError error;
    library = device->makeLibrary(URL(TEST_LIBRARY), &error);
    if (!library) throw std::runtime_error(error.localizedDescription());
    queue = device->makeCommandQueue();
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
    const auto layout = std::make_shared<const MTLVertexDescriptor>(vertexLayout());
    return device->makeRenderPipelineState(
        {library->makeFunction(vertex), library->makeFunction(fragment), layout, format}, nullptr);
}

void Gpu::dispatch(MTLCommandBuffer& commands, const std::string& name, const std::vector<TexturePointer>& textures,
                   const std::shared_ptr<MTLBuffer>& constants, MTLSize groups, MTLSize threads) const {
    auto encoder = commands.makeComputeCommandEncoder();
    encoder->setComputePipelineState(compute(name));
    for (std::size_t slot = 0; slot < textures.size(); ++slot) encoder->setTexture(textures[slot], slot);
    encoder->setBuffer(constants, 0, 3);
    encoder->dispatchThreadgroups(groups, threads);
    encoder->endEncoding();
}

void run(MTLCommandBuffer& commands) {
    commands.commit();
    commands.waitUntilCompleted();
    EXPECT_EQ(commands.status(), MTLCommandBufferStatus::completed);
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

Vertex at(const MTLTexture& target, double x, double y, const Color& values) {
    return {static_cast<float>(x / static_cast<double>(target.width()) * 2 - 1),
            static_cast<float>(1 - y / static_cast<double>(target.height()) * 2), 0, 1, values};
}

}  // namespace ondrix::test
