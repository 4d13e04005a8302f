// What runs together: commands of one command buffer strip by strip; and triangles that interpolate the same planes, as
// one span a row. The fast paths of shader modules depend on the latter, and no pixel shows it.
#include <algorithm>
#include <cmath>
#include <list>
#include <memory_resource>
#include <random>

#include <gtest/gtest.h>

#include <ondrix/platform/corevideo/CVPixelBuffer.h>
#include <ondrix/platform/software/BindingTable.h>
#include <ondrix/platform/software/Library.h>
#include <ondrix/platform/software/Pipeline.h>
#include <ondrix/platform/software/PrimitiveSetup.h>
#include <ondrix/platform/software/StepChain.h>

#include "Gpu.h"

using namespace ondrix;
using namespace ondrix::test;
using software::PrimitiveGroup;

namespace {

constexpr std::uint64_t width = 331, height = 257, bytesPerRow = 1408;

struct Step {
    const char* function;  ///< "draw" shows one texture in the other
    std::size_t from, to;
    float angle = 0, scaleX = 1, scaleY = 1;  ///< of a draw
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

/// Commands as encoders record them.
class Recording {
public:
    explicit Recording(const Gpu& gpu, const std::vector<TexturePointer>& textures) : gpu_(gpu), textures_(textures) {}

    void record(const Step& step) {
        software::BindingTable bindings;
        EXPECT_EQ(bindings.setTexture("", textures_[step.from].get(), 0), "");
        EXPECT_EQ(bindings.setTexture("", textures_[step.to].get(), 1), "");
        EXPECT_EQ(bindings.setSampler("", sampler_.get(), 1), "");
        EXPECT_EQ(bindings.setBytes("", constants_.data(), 8, 3, memory_), "");
        software::Command* command = nullptr;
        if (std::string_view(step.function) == "draw") {
            auto& draw = draws_.emplace_back();
            draw.pipeline =
                std::dynamic_pointer_cast<software::RenderPipeline>(
                    pipelines_.emplace_back(gpu_.render("vertexTwoPairs", "fragmentShown", MTLPixelFormat::bgra8Unorm)))
                    .get();
            const auto& quad = quads_.emplace_back(turnedQuad(step.angle, step.scaleX, step.scaleY));
            auto& streams = streams_.emplace_back();
            for (auto& stream : streams) stream = {nullptr, sizeof(Vertex), 4, 4};
            streams[0].bytes = reinterpret_cast<const std::uint8_t*>(&quad[0].x);
            streams[1].bytes = reinterpret_cast<const std::uint8_t*>(&quad[0].values);
            draw.streams = streams.data();
            draw.primitiveType = MTLPrimitiveType::triangleStrip;
            draw.indices = reinterpret_cast<const std::byte*>(indices_.data());
            draw.indexCount = 4;
            EXPECT_EQ(bindings.resolve(draw.pipeline->vertex(), memory_, draw.vertex), "");
            EXPECT_EQ(bindings.resolve(draw.pipeline->fragment(), memory_, draw.fragment), "");
            auto& pass = passes_.emplace_back();
            pass.kind = software::Command::Kind::renderPass;
            pass.target = bindings.texture(1)->view();
            pass.firstDraw = pass.lastDraw = &draw;
            command = &pass;
        } else {
            auto& dispatch = dispatches_.emplace_back();
            const auto function =
                std::dynamic_pointer_cast<software::Function>(gpu_.library->makeFunction(step.function));
            EXPECT_EQ(bindings.resolve(function->entry(), memory_, dispatch.function), "");
            dispatch.kind = software::Command::Kind::dispatch;
            dispatch.height = static_cast<std::int32_t>(textures_[step.to]->height());
            command = &dispatch;
        }
        (first == nullptr ? first : last_->next) = command;
        last_ = command;
    }

    software::Command* first = nullptr;

private:
    const Gpu& gpu_;
    const std::vector<TexturePointer>& textures_;
    const std::shared_ptr<MTLSamplerState> sampler_ = gpu_.device->makeSamplerState({});
    const std::array<float, 2> constants_{};
    const std::array<std::uint16_t, 4> indices_{0, 1, 2, 3};
    std::pmr::monotonic_buffer_resource memory_;
    std::list<software::DispatchCommand> dispatches_;
    std::list<software::RenderPassCommand> passes_;
    std::list<software::DrawCommand> draws_;
    std::list<std::array<Vertex, 4>> quads_;
    std::list<std::array<shading::VertexStream, shading::maximumVertexInputs>> streams_;
    std::vector<std::shared_ptr<MTLRenderPipelineState>> pipelines_;
    software::Command* last_ = nullptr;
};

constexpr const char *own = "scaleAndAdd", *any = "neighbours", *near = "nearRows", *draw = "draw";
constexpr float quarter = 1.5707964F;

/// Runs steps as one command buffer. The constants, samplers and load actions follow from the steps' numbers.
void runSteps(const Gpu& gpu, const std::vector<TexturePointer>& textures, const std::vector<Step>& steps) {
    const auto commands = gpu.queue->makeCommandBuffer();
    for (std::size_t index = 0; index < steps.size(); ++index) {
        const auto& [function, from, to, angle, scaleX, scaleY] = steps[index];
        if (function != draw) {
            const MTLSize groups{(textures[to]->width() + 15) / 16, (textures[to]->height() + 15) / 16, 1};
            gpu.dispatch(*commands, function, {textures[from], textures[to]},
                         gpu.buffer(std::vector{index % 2 == 0 ? 1.5F : -0.75F, 0.25F}), groups);
            continue;
        }
        const auto encoder =
            commands->makeRenderCommandEncoder({textures[to],
                                                index % 3 == 0 ? MTLLoadAction::load : MTLLoadAction::clear,
                                                MTLStoreAction::store,
                                                {0.1, 0.2, 0.3, 0.4}});
        encoder->setRenderPipelineState(gpu.render("vertexTwoPairs", "fragmentShown", textures[to]->pixelFormat()));
        const auto quad = turnedQuad(angle, scaleX, scaleY);
        encoder->setVertexBuffer(gpu.buffer(std::vector(quad.begin(), quad.end())), 0, 0);
        encoder->setFragmentTexture(textures[from], 0);
        MTLSamplerDescriptor sampler;
        sampler.minFilter = sampler.magFilter = static_cast<MTLSamplerMinMagFilter>(index % 5 != 0);
        sampler.tAddressMode = static_cast<MTLSamplerAddressMode>(index % 7 == 6 ? 2 : 0);
        encoder->setFragmentSamplerState(gpu.device->makeSamplerState(sampler), 1);
        encoder->drawIndexedPrimitives(MTLPrimitiveType::triangleStrip, 4, MTLIndexType::uint16,
                                       gpu.buffer(std::vector<std::uint16_t>{0, 1, 2, 3}), 0);
        encoder->endEncoding();
    }
    run(*commands);
}

}  // namespace

TEST(DispatchGroups, AreAsLargeAsTheyMayBe) {
    const Gpu gpu(1);
    const auto textures = makeTextures(gpu);
    const auto sizeOfFirst = [&](const std::vector<Step>& steps) {
        Recording recording(gpu, textures);
        for (const Step& step : steps) recording.record(step);
        return software::DispatchGroup(static_cast<software::DispatchCommand&>(*recording.first)).count;
    };
    EXPECT_EQ(sizeOfFirst({{own, 0, 1}, {own, 1, 2}, {own, 2, 0}}), 3);  // also over the first one's input
    EXPECT_EQ(sizeOfFirst({{any, 0, 1}, {own, 1, 2}, {any, 0, 4}}), 3);  // neighbours of what nobody writes
    EXPECT_EQ(sizeOfFirst({{own, 0, 1}, {any, 1, 2}}), 1);
    EXPECT_EQ(sizeOfFirst({{any, 0, 1}, {own, 1, 0}}), 1);
    EXPECT_EQ(sizeOfFirst({{own, 0, 4}, {own, 5, 1}}), 1);
    EXPECT_EQ(sizeOfFirst({{own, 0, 3}, {own, 3, 1}}), 1);
    EXPECT_EQ(sizeOfFirst({{own, 0, 1}, {own, 2, 4}}), 1);  // nothing in common
}

TEST(StepChains, AreAsLongAsTheyMayBe) {
    const Gpu gpu(1);
    auto textures = makeTextures(gpu);
    textures.push_back(gpu.texture(width / 2, height / 2, MTLPixelFormat::bgra8Unorm));
    software::ExecutionContext context(7);  // low strips
    const auto lengthOfFirst = [&](const std::vector<Step>& steps) {
        Recording recording(gpu, textures);
        for (const Step& step : steps) recording.record(step);
        return software::StepChain(*recording.first, context).count();
    };
    EXPECT_EQ(lengthOfFirst({{own, 0, 1}, {near, 1, 2}, {"halfRows", 2, 6}, {draw, 6, 0}}), 4u);
    EXPECT_EQ(lengthOfFirst({{draw, 0, 6}, {own, 6, 1}, {near, 6, 2}}), 2u);  // dispatches of one group
    EXPECT_EQ(lengthOfFirst({{own, 0, 1}, {draw, 1, 6, 0, -1, -1}, {near, 6, 2}, {draw, 2, 0, 0, 1, -1}}), 4u);
    EXPECT_EQ(lengthOfFirst({{own, 0, 1}, {draw, 1, 6, quarter}}), 1u);  // the first row needs all
    EXPECT_EQ(lengthOfFirst({{own, 0, 1}, {any, 1, 2}}), 1u);
    EXPECT_EQ(lengthOfFirst({{own, 0, 1}, {near, 1, 2}, {own, 2, 1}}), 2u);  // over what may still be read
    EXPECT_EQ(lengthOfFirst({{own, 0, 4}, {near, 5, 1}}), 1u);               // other rows of the same memory
    EXPECT_EQ(lengthOfFirst({{own, 0, 1}, {near, 2, 4}}), 1u);               // nothing in common
    EXPECT_EQ(lengthOfFirst({{own, 0, 1}, {draw, 1, 2}, {draw, 2, 6, 0, 1, -1}, {near, 6, 1}}), 3u);
    EXPECT_EQ(lengthOfFirst({{own, 0, 1}, {draw, 1, 2}, {draw, 2, 0, 0, 1, -1}}), 2u);  // both ways over 0
}

// Random steps, each mostly over the result of the one before.
TEST(StepChains, GiveTheBytesOfCommandsOneByOne) {
    setenv("ONDRIX_FUSION", "0", 1);
    const Gpu plain(1);
    unsetenv("ONDRIX_FUSION");
    for (const int threads : {1, 2, 3, 7}) {
        const Gpu gpu(threads);
        std::mt19937 random(static_cast<unsigned>(threads));
        const auto number = [&](unsigned end) { return random() % end; };
        for (int round = 0; round < 20; ++round) {
            std::vector<Step> steps;
            for (std::size_t to = number(8); steps.size() < 6;) {
                const std::size_t from = number(4) == 0 ? number(8) : to;
                while (to == from || (std::max(from, to) == 5 && std::min(from, to) == 4)) to = number(8);
                constexpr const char* functions[] = {own, own, near, near, any, "halfRows", draw, draw, draw, draw};
                constexpr float scales[] = {1, 1, -1, 0.5F, -0.7F, 1.3F, 2};
                steps.push_back({functions[number(10)], from, to, number(6) == 0 ? quarter : 0, scales[number(7)],
                                 scales[number(7)]});
            }
            std::vector<std::vector<std::uint8_t>> results;
            for (const Gpu* each : {&plain, &gpu}) {
                auto textures = makeTextures(*each);
                textures.push_back(each->texture(width / 2, height / 2, MTLPixelFormat::bgra8Unorm));
                textures.push_back(each->texture(211, 500, MTLPixelFormat::rgba16Float));
                std::mt19937 noise(static_cast<unsigned>(round));
                for (const auto& texture : textures) {
                    std::vector<std::uint8_t> pixels(8 * texture->width() * texture->height());
                    for (auto& byte : pixels) byte = static_cast<std::uint8_t>(noise() % 60);
                    texture->replace(MTLRegionMake2D(0, 0, texture->width(), texture->height()), 0, pixels.data(),
                                     8 * texture->width());
                }
                runSteps(*each, textures, steps);
                for (const auto& texture : textures) results.push_back(bytes(*texture));
            }
            for (std::size_t texture = 0; texture < 8; ++texture) {
                ASSERT_EQ(results[texture], results[8 + texture])
                    << "texture " << texture << " in round " << round << " with " << threads << " threads";
            }
        }
    }
}

TEST(Quads, ThatAreFoldedStayApart) {
    auto strip = turnedQuad(0, 1, 1);
    strip[3].values[0] = 1.0001F;
    software::ExecutionContext context(1);
    EXPECT_EQ(groups(strip, context).size(), 2u);
}
