#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <ondrix/platform/software/Device.h>

namespace ondrix::test {

/// What the tests' vertex functions read: a position in clip space and four free values.
struct Vertex {
    float x, y, z, w;
    std::array<float, 4> values{};
};

using Color = std::array<float, 4>;
using TexturePointer = std::shared_ptr<MTLTexture>;

/// Commits and waits for work that must succeed.
void run(MTLCommandBuffer& commands);

/// The CPU device with the functions of TestFunctions.cpp, and short ways to use them.
class Gpu {
public:
    explicit Gpu(int threadCount = 2, const std::string& levelName = {}, bool validates = false);

    std::shared_ptr<software::Device> device;
    std::shared_ptr<MTLLibrary> library;
    std::shared_ptr<MTLCommandQueue> queue;

    TexturePointer texture(std::uint64_t width, std::uint64_t height,
                           MTLPixelFormat format = MTLPixelFormat::rgba32Float,
                           MTLTextureUsage usage = MTLTextureUsage::unknown) const {
        return device->makeTexture({format, width, height, false, usage});
    }
    template <typename T>
    std::shared_ptr<MTLBuffer> buffer(const std::vector<T>& values) const {
        return device->makeBuffer(values.data(), static_cast<std::int64_t>(values.size() * sizeof(T)), 0);
    }
    std::shared_ptr<MTLComputePipelineState> compute(const std::string& name) const {
        return device->makeComputePipelineState(library->makeFunction(name), nullptr);
    }
    /// Attribute 0 is `Vertex`'s position and attribute 1 its values, both in buffer slot 0.
    std::shared_ptr<MTLRenderPipelineState> render(const std::string& vertex, const std::string& fragment,
                                                   MTLPixelFormat format = MTLPixelFormat::rgba32Float) const;

    /// Encodes a compute pass with the constants in slot 3; unless given, the threads reach over the last texture.
    void dispatch(MTLCommandBuffer& commands, const std::string& name, const std::vector<TexturePointer>& textures,
                  const std::shared_ptr<MTLBuffer>& constants, MTLSize groups = {32, 32, 1},
                  MTLSize threads = {16, 16, 1}) const;
    void fill(MTLCommandBuffer& commands, const TexturePointer& target, const Color& color) const {
        dispatch(commands, "fill", {target}, buffer(std::vector(color.begin(), color.end())));
    }
    /// Draws interpolated values over a cleared or kept target, with all indices after the first ones, and waits.
    template <typename Index = std::uint32_t>
    void draw(const TexturePointer& target, const std::vector<Vertex>& vertices, const std::vector<Index>& indices,
              MTLPrimitiveType type, MTLLoadAction loadAction = MTLLoadAction::clear, std::size_t first = 0) const {
        auto commands = queue->makeCommandBuffer();
        auto encoder = commands->makeRenderCommandEncoder({target, loadAction, MTLStoreAction::store, {}});
        encoder->setRenderPipelineState(render("vertexValue", "fragmentValue", target->pixelFormat()));
        encoder->setVertexBuffer(buffer(vertices), 0, 0);
        encoder->drawIndexedPrimitives(type, static_cast<std::int64_t>(indices.size() - first),
                                       sizeof(Index) == 2 ? MTLIndexType::uint16 : MTLIndexType::uint32,
                                       buffer(indices), static_cast<std::int64_t>(first * sizeof(Index)));
        encoder->endEncoding();
        run(*commands);
    }
};

/// The colours of a rgba32Float texture, row by row.
std::vector<Color> colors(const MTLTexture& texture);
/// The bytes of any texture, row by row without padding.
std::vector<std::uint8_t> bytes(const MTLTexture& texture);

/// The vertex at a position in pixels of a target, from its top-left corner.
Vertex at(const MTLTexture& target, double x, double y, const Color& values = {});

MTLVertexDescriptor vertexLayout();

}  // namespace ondrix::test
