// Command buffers that can't run: they end with a status and a text that names function, slot and expectation; what was
// recorded before has run, what comes after has not.
#include <functional>
#include <future>
#include <stdexcept>
#include <variant>

#include <gmock/gmock.h>
#include <tests/support/LogCapture.h>
#include <tests/support/RecordingDevice.h>

#include "Gpu.h"

using namespace ondrix;
using namespace ondrix::test;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

using Compute = MTLComputeCommandEncoder;
using Render = MTLRenderCommandEncoder;
using Pass = MTLRenderPassDescriptor;
using Usage = MTLTextureUsage;

/// Objects that work together; each case spoils one thing.
struct Scene {
    Gpu gpu;
    TexturePointer target = gpu.texture(4, 4), image = gpu.texture(4, 4);
    std::shared_ptr<MTLSamplerState> sampler = gpu.device->makeSamplerState({});
    std::shared_ptr<MTLBuffer> vertices = gpu.device->makeBuffer(4 * sizeof(Vertex), 0);
    std::shared_ptr<MTLBuffer> indices = gpu.buffer(std::vector<std::uint16_t>{0, 1, 2, 3});
    std::shared_ptr<MTLBuffer> shortBuffer = gpu.device->makeBuffer(12, 0);

    TexturePointer textureFor(Usage usage) const { return gpu.texture(4, 4, MTLPixelFormat::rgba32Float, usage); }
};

template <class Object>
using Change = std::function<void(Scene&, Object&)>;

struct Case {
    const char* reason;  ///< a part of it
    std::variant<Change<Compute>, Change<Render>, Change<Pass>> change;

    template <class Object>
    void apply(Scene& scene, Object& object) const {
        if (const auto* spoil = std::get_if<Change<Object>>(&change)) (*spoil)(scene, object);
    }
};

/// Draws with "vertexTwoPairs" and "fragmentSample", then dispatches "scaleAndAdd".
void encode(const Case& c, Scene& scene, MTLCommandBuffer& commands) {
    Pass pass{scene.target, MTLLoadAction::load, MTLStoreAction::store, {}};
    c.apply(scene, pass);
    auto render = commands.makeRenderCommandEncoder(pass);
    render->setRenderPipelineState(scene.gpu.render("vertexTwoPairs", "fragmentSample"));
    render->setVertexBuffer(scene.vertices, 0, 0);
    render->setFragmentTexture(scene.image, 0);
    render->setFragmentSamplerState(scene.sampler, 1);
    c.apply(scene, *render);
    render->drawIndexedPrimitives(MTLPrimitiveType::triangleStrip, 4, MTLIndexType::uint16, scene.indices, 0);
    render->endEncoding();

    auto compute = commands.makeComputeCommandEncoder();
    compute->setComputePipelineState(scene.gpu.compute("scaleAndAdd"));
    compute->setTexture(scene.image, 0);
    compute->setTexture(scene.target, 1);
    compute->setBuffer(scene.shortBuffer, 0, 3);
    c.apply(scene, *compute);
    compute->dispatchThreadgroups({4, 4, 1}, {1, 1, 1});
    compute->endEncoding();
}

Change<Render> draw(std::int64_t count, MTLIndexType type, std::int64_t offset) {
    return [=](Scene& s, Render& e) {
        e.drawIndexedPrimitives(MTLPrimitiveType::triangle, count, type, s.indices, offset);
    };
}

struct ForeignSampler : MTLSamplerState {};

const Case cases[] = {
    {"no compute pipeline state", [](Scene&, Compute& e) { e.setComputePipelineState(nullptr); }},
    {"slot 0 is empty, but the function reads a texture there; bound texture slots: 1",
     [](Scene&, Compute& e) { e.setTexture(nullptr, 0); }},
    {"scaleAndAdd: buffer slot 3 is empty", [](Scene&, Compute& e) { e.setBuffer(nullptr, 0, 3); }},
    {"buffer slot 3 provides 4 bytes, but the function reads 8 bytes",
     [](Scene& s, Compute& e) { e.setBuffer(s.shortBuffer, 8, 3); }},
    {"setBuffer: offset 13 for slot 3 is outside the buffer of 12 bytes",
     [](Scene& s, Compute& e) { e.setBuffer(s.shortBuffer, 13, 3); }},
    {"scaleAndAdd: texture slot 0 holds a texture without the usage shaderRead",
     [](Scene& s, Compute& e) { e.setTexture(s.textureFor(Usage::shaderWrite), 0); }},
    {"texture slot 0 shares its memory with texture slot 1", [](Scene& s, Compute& e) { e.setTexture(s.target, 0); }},
    {"scaleAndAdd: setTexture: slot 31 is out of range; the slots are 0 to 30",
     [](Scene& s, Compute& e) { e.setTexture(s.image, 31); }},
    {"setBuffer: slot -1 is out of range; the slots are 0 to 30",
     [](Scene& s, Compute& e) { e.setBuffer(s.vertices, 0, -1); }},
    {"no render pipeline state", [](Scene&, Render& e) { e.setRenderPipelineState(nullptr); }},
    {"fragmentSample: texture slot 0 is empty", [](Scene&, Render& e) { e.setFragmentTexture(nullptr, 0); }},
    {"fragmentSample: sampler slot 1 is empty", [](Scene&, Render& e) { e.setFragmentSamplerState(nullptr, 1); }},
    {"vertexTwoPairs: buffer slot 0 is empty, but the function reads vertex attribute 0",
     [](Scene&, Render& e) { e.setVertexBuffer(nullptr, 0, 0); }},
    {"vertexBare: buffer slot 2 is empty, but the function reads 16 bytes",
     [](Scene& s, Render& e) { e.setRenderPipelineState(s.gpu.render("vertexBare", "fragmentConstant")); }},
    {"fragmentSample: texture slot 0 shares its memory with the colour attachment",
     [](Scene& s, Render& e) { e.setFragmentTexture(s.target, 0); }},
    {"RGBA32Float (125), but the pipeline was made for MTLPixelFormatRGBA8Unorm (70)",
     [](Scene& s, Render& e) {
         e.setRenderPipelineState(s.gpu.render("vertexTwoPairs", "fragmentSample", MTLPixelFormat::rgba8Unorm));
     }},
    {"provides 4 indices, but 5 are drawn", draw(5, MTLIndexType::uint16, 0)},
    {"offset 2 is not a multiple of 4", draw(1, MTLIndexType::uint32, 2)},
    {"provides 0 indices", draw(1, MTLIndexType::uint32, std::int64_t{1} << 62)},
    {"setFragmentBytes: no bytes are given for slot 4", [](Scene&, Render& e) { e.setFragmentBytes(nullptr, 16, 4); }},
    {"vertexTwoPairs: setVertexBytes: slot 31", [](Scene&, Render& e) { e.setVertexBytes("", 1, 31); }},
    {"setSamplerState: the object for slot 2 was made by another device",
     [](Scene&, Compute& e) { e.setSamplerState(std::make_shared<ForeignSampler>(), 2); }},
    {"setComputePipelineState: the pipeline state was made by another device",
     [](Scene&, Compute& e) { e.setComputePipelineState(std::make_shared<RecordedPipeline>()); }},
    {"no colour attachment", [](Scene&, Pass& pass) { pass.colorAttachment0Texture = nullptr; }},
    {"the colour attachment holds a texture without the usage renderTarget",
     [](Scene& s, Pass& pass) { pass.colorAttachment0Texture = s.textureFor(Usage::shaderRead); }},
};

}  // namespace

TEST(CommandErrors, AreDescribedAndEndTheWorkThere) {
    for (const Case& each : cases) {
        SCOPED_TRACE(each.reason);
        const LogCapture log;
        Scene scene;
        std::promise<MTLCommandBufferStatus> status;
        const auto before = scene.gpu.texture(4, 4), after = scene.gpu.texture(4, 4);
        auto commands = scene.gpu.queue->makeCommandBuffer();
        scene.gpu.fill(*commands, before, {1, 1, 1, 1});
        encode(each, scene, *commands);
        scene.gpu.fill(*commands, after, {1, 1, 1, 1});
        commands->addCompletedHandler([&](MTLCommandBuffer& buffer) { status.set_value(buffer.status()); });
        EXPECT_FALSE(commands->error());
        commands->commit();
        EXPECT_EQ(status.get_future().get(), MTLCommandBufferStatus::error);
        ASSERT_TRUE(commands->error());
        EXPECT_THAT(commands->error()->localizedDescription(), HasSubstr(each.reason));
        EXPECT_THAT(log.messages(), ElementsAre(commands->error()->localizedDescription()));
        EXPECT_EQ(colors(*before)[15], (Color{1, 1, 1, 1}));
        EXPECT_EQ(colors(*after)[15], (Color{0, 0, 0, 0}));
    }
}

// A pass that fails sixty times a second says so once, each command buffer has its error, and another cause is told
// again.
TEST(LoggedErrors, AreLoggedOnceForAPipelineAndCause) {
    const LogCapture log;
    const Gpu gpu;
    const auto pipeline = gpu.compute("scaleAndAdd");
    const auto image = gpu.texture(4, 4);
    for (int frame = 0; frame < 6; ++frame) {
        auto commands = gpu.queue->makeCommandBuffer();
        auto encoder = commands->makeComputeCommandEncoder();
        encoder->setComputePipelineState(pipeline);
        if (frame % 2 != 0) encoder->setTexture(image, 0);
        encoder->dispatchThreadgroups({1, 1, 1}, {1, 1, 1});
        encoder->endEncoding();
        commands->commit();
        commands->waitUntilCompleted();
        EXPECT_TRUE(commands->error());
    }
    EXPECT_THAT(log.messages(),
                ElementsAre(HasSubstr("texture slot 0 is empty"), HasSubstr("texture slot 1 is empty")));
}

TEST(CommandBuffers, RefuseASecondOpenEncoderAndCommitWithOne) {
    const Gpu gpu;
    auto commands = gpu.queue->makeCommandBuffer();
    auto encoder = commands->makeComputeCommandEncoder();
    EXPECT_EQ(commands->makeComputeCommandEncoder(), nullptr);
    EXPECT_EQ(commands->makeRenderCommandEncoder({}), nullptr);
    commands->commit();
    commands->waitUntilCompleted();
    ASSERT_TRUE(commands->error());
    EXPECT_THAT(commands->error()->localizedDescription(), HasSubstr("encoder had not ended"));
    encoder->dispatchThreadgroups({1, 1, 1}, {1, 1, 1});  // too late, and harmless
    encoder->endEncoding();
    EXPECT_EQ(commands->makeComputeCommandEncoder(), nullptr);
}

TEST(CommandBuffers, OutliveWhatTheirHandlersThrow) {
    const LogCapture log;
    const Gpu gpu;
    auto commands = gpu.queue->makeCommandBuffer();
    std::promise<void> called;
    commands->addCompletedHandler([](MTLCommandBuffer&) { throw std::runtime_error("broken"); });
    commands->addCompletedHandler([](MTLCommandBuffer&) { throw 1; });
    commands->addCompletedHandler([&](MTLCommandBuffer&) { called.set_value(); });
    commands->commit();
    called.get_future().get();
    EXPECT_THAT(log.messages(), ElementsAre("A completion handler or drawable threw an exception: broken",
                                            "A completion handler or drawable threw an exception."));
}

// Grids of no size, or far too large, are no error: they cover nothing, or the whole target.
TEST(CommandBuffers, ClampGridsToTheTarget) {
    const Gpu gpu;
    const std::uint64_t huge = std::uint64_t{1} << 63;
    const std::tuple<MTLSize, MTLSize, int> grids[] = {{{2, 1, 1}, {2, 2, 1}, 8},
                                                       {{1, 3, 7}, {2, 1, 1}, 6},
                                                       {{huge, huge, 1}, {huge, 4, 1}, 15},
                                                       {{0, 3, 1}, {8, 8, 1}, 0},
                                                       {{3, 3, 1}, {8, 8, 0}, 0}};
    for (const auto& [groups, threads, written] : grids) {
        const auto target = gpu.texture(5, 3);
        auto commands = gpu.queue->makeCommandBuffer();
        gpu.dispatch(*commands, "fill", {target}, gpu.buffer(std::vector<float>{1, 2, 3, 4}), groups, threads);
        run(*commands);
        const auto drawn = colors(*target);
        EXPECT_EQ(std::count(drawn.begin(), drawn.end(), Color{1, 2, 3, 4}), written);
    }
}
