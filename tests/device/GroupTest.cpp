// What runs together: dispatches of one command buffer strip by strip; and
// triangles that interpolate the same planes, as one span a row. The fast paths of shader modules depend on the latter,
// and no pixel shows it.
#include <algorithm>
#include <cmath>
#include <memory_resource>

#include <gtest/gtest.h>

#include <ondrix/platform/corevideo/CVPixelBuffer.h>
#include <ondrix/platform/software/BindingTable.h>
#include <ondrix/platform/software/DispatchGroup.h>
#include <ondrix/platform/software/Library.h>
#include <ondrix/platform/software/Pipeline.h>
#include <ondrix/platform/software/PrimitiveSetup.h>

#include "Gpu.h"

using namespace ondrix;
using namespace ondrix::test;
using software::PrimitiveGroup;

namespace {

constexpr std::uint64_t width = 331, height = 257, bytesPerRow = 1408;

struct Step {
    const char* function;
    std::size_t from, to;
};

/// Textures, of which the last two share memory: what is row y of one is row y + 17 of the other.
std::vector<TexturePointer> makeTextures(const Gpu& gpu) {
    const auto memory = std::make_shared<std::vector<std::uint8_t>>((height + 18) * bytesPerRow);
    const MTLTextureDescriptor descriptor{MTLPixelFormat::bgra8Unorm, width, height, false, MTLTextureUsage::unknown};
    const auto texture = [&](std::uint64_t w, std::uint64_t h) { return gpu.texture(w, h, descriptor.pixelFormat); };
    const auto sharing = [&](std::uint64_t firstRow) {
        std::shared_ptr<CVPixelBuffer> buffer;
        CVPixelBufferCreateWithBytes(
            width, height, kCVPixelFormatType_32BGRA, memory->data() + firstRow * bytesPerRow, bytesPerRow,
            [memory](auto&&...) {}, &buffer);
        return gpu.device->makeTexture(descriptor, CVPixelBufferGetIOSurface(buffer), 0);
    };
    return {texture(width, height),
            texture(width, height),
            texture(width, height),
            texture(97, 61),
            sharing(17),
            sharing(0)};
}

/// What a triangle strip of four vertices is turned into on a target of 1080 x 1921 pixels.
std::vector<PrimitiveGroup> groups(const std::array<Vertex, 4>& strip, software::ExecutionContext& context) {
    static const Gpu gpu(1);
    const auto pipeline =
        std::dynamic_pointer_cast<software::RenderPipeline>(gpu.render("vertexValue", "fragmentValue"));
    software::DrawCommand draw;
    draw.pipeline = pipeline.get();
    draw.fragment.entry = &pipeline->fragment();
    const shading::TextureView target{nullptr, 0, 1080, 1921, 125};
    software::PrimitiveSetup setup(draw, target, context);
    for (std::size_t first : {0u, 1u}) {
        const float* vertices[3] = {&strip[first].x, &strip[first + 1].x, &strip[first + 2].x};
        setup.add(vertices, 3);
    }
    return context.groups;
}

/// A quad with texture coordinates, scaled and turned in single precision; in the order of a strip.
std::array<Vertex, 4> turnedQuad(float angle, float scaleX, float scaleY) {
    const float c = std::cos(angle), s = std::sin(angle);
    std::array<Vertex, 4> strip{};
    for (std::size_t corner = 0; corner < 4; ++corner) {
        const float u = corner < 2 ? 0 : 1, v = corner % 2 == 0 ? 0 : 1;
        const float x = scaleX * (2 * u - 1), y = scaleY * (1 - 2 * v);
        strip[corner] = {c * x + s * y, -s * x + c * y, 0, 1, {u, v, 0, 0}};
    }
    return strip;
}

}  // namespace

TEST(DispatchGroups, AreAsLargeAsTheyMayBe) {
    const Gpu gpu(1);
    const auto textures = makeTextures(gpu);
    const auto sizeOfFirst = [&](const std::vector<Step>& steps) {
        std::pmr::monotonic_buffer_resource memory;
        std::vector<software::DispatchCommand> commands(steps.size());
        const std::array<float, 2> constants{};
        for (std::size_t index = 0; index < steps.size(); ++index) {
            const auto function =
                std::dynamic_pointer_cast<software::Function>(gpu.library->makeFunction(steps[index].function));
            software::BindingTable bindings;
            EXPECT_EQ(bindings.setTexture("", textures[steps[index].from].get(), 0), "");
            EXPECT_EQ(bindings.setTexture("", textures[steps[index].to].get(), 1), "");
            EXPECT_EQ(bindings.setBytes("", constants.data(), 8, 3, memory), "");
            EXPECT_EQ(bindings.resolve(function->entry(), memory, commands[index].function), "");
            commands[index].kind = software::Command::Kind::dispatch;
            commands[index].height = static_cast<std::int32_t>(textures[steps[index].to]->height());
            if (index > 0) commands[index - 1].next = &commands[index];
        }
        return software::DispatchGroup(commands[0]).count;
    };
    constexpr const char *own = "scaleAndAdd", *any = "neighbours";
    EXPECT_EQ(sizeOfFirst({{own, 0, 1}, {own, 1, 2}, {own, 2, 0}}), 3);  // also over the first one's input
    EXPECT_EQ(sizeOfFirst({{any, 0, 1}, {own, 1, 2}, {any, 0, 4}}), 3);  // neighbours of what nobody writes
    EXPECT_EQ(sizeOfFirst({{own, 0, 1}, {any, 1, 2}}), 1);
    EXPECT_EQ(sizeOfFirst({{any, 0, 1}, {own, 1, 0}}), 1);
    EXPECT_EQ(sizeOfFirst({{own, 0, 4}, {own, 5, 1}}), 1);
    EXPECT_EQ(sizeOfFirst({{own, 0, 3}, {own, 3, 1}}), 1);
    EXPECT_EQ(sizeOfFirst({{own, 0, 1}, {own, 2, 4}}), 1);  // nothing in common
}

TEST(Quads, ThatAreFoldedStayApart) {
    auto strip = turnedQuad(0, 1, 1);
    strip[3].values[0] = 1.0001F;
    software::ExecutionContext context(1);
    EXPECT_EQ(groups(strip, context).size(), 2u);
}
