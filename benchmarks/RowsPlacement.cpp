// Rows that copy, scale, turn and place a picture.

#include <stdexcept>

#include <ondrix/passes/BlitEffect.h>
#include <ondrix/passes/PresentTextureEffect.h>
#include <ondrix/passes/RenderPass.h>
#include <ondrix/passes/ResizeTextureEffect.h>
#include <ondrix/resources/ConstantBuffer.h>
#include <ondrix/resources/Sampler.h>
#include <ondrix/shaders/Shader.h>

#include "FunctionLibrary.h"
#include "Pixels.h"
#include "Reference.h"
#include "Rows.h"

namespace ondrix::benchmarks {

namespace {

constexpr auto format = MTLPixelFormat::bgra8Unorm;

/// A row with an input of noise and an output, and the memory's limit for reading one and writing the other.
struct Parts {
    Row row;
    std::shared_ptr<const Frame> input;
};

Parts makeParts(Bench& bench, Sides input, Sides output, std::uint32_t seed) {
    Parts parts{{}, std::make_shared<const Frame>(Frame::noisy(input.width, input.height, 4, seed))};
    parts.row.output = std::make_shared<Frame>(output.width, output.height, 4);
    addMemory(parts.row, bench.workers, "memory", {{bytesOf(input), bytesOf(output)}});
    return parts;
}

Contender blit(Bench& bench, std::string name, std::shared_ptr<Texture> input, const Frame& like, PassType passType) {
    auto output = makeTexture(*bench.device, like.width(), like.height());
    return contender(std::move(name), BlitEffect::create(bench.device, std::move(input), output, passType, format),
                     output);
}

Contender present(Bench& bench, const Frame& input, const Frame& like, ContentMode mode, ImageRotation rotation) {
    const auto output = makeTexture(*bench.device, like.width(), like.height());
    const auto effect = PresentTextureEffect::create(bench.device, makeTexture(*bench.device, input), output, format,
                                                     mode, rotation, false);
    return contender("ondrix", effect, output);
}

/// The quad's transform in clip space, column by column.
std::array<float, 16> clipTransform(const Turn& turn, Sides sides) {
    const PixelTransform t = fromOutput(turn, sides.width, sides.height);
    const double aspect = static_cast<double>(sides.width) / sides.height;
    // Back from the input to the output: the inverse of a turn that also shrinks. Upwards is up in clip space.
    const double square = turn.enlargement * turn.enlargement;
    const auto along = static_cast<float>(t.xx * square);
    const auto across = static_cast<float>(t.xy * square / aspect);
    const auto down = static_cast<float>(-t.xy * square * aspect);
    return {along, down, 0, 0, across, along, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
}

}  // namespace

Row makeCopyRow(Bench& bench, Sides sides) {
    auto [row, input] = makeParts(bench, sides, sides, 3);
    row.reference = input;
    const auto texture = makeTexture(*bench.device, *input);
    row.contenders.push_back(blit(bench, "ondrix-render", texture, *row.output, PassType::renderPass));
    row.contenders.push_back(blit(bench, "ondrix-compute", texture, *row.output, PassType::computePass));
    for (const auto& peer : bench.peers) addPeer(row, peer->name(), peer->copy(input, row.output));
    return std::move(row);
}

Row makeScaleRow(Bench& bench, Sides sides) {
    auto [row, input] = makeParts(bench, sides, hd1080, 4);
    const Placement whole{0.0, static_cast<double>(hd1080.height)};
    row.reference = std::make_shared<const Frame>(scaled(*input, hd1080.width, hd1080.height, whole));
    const auto texture = makeTexture(*bench.device, *input);
    row.contenders.push_back(blit(bench, "ondrix", texture, *row.output, PassType::renderPass));
    for (const auto& peer : bench.peers) addPeer(row, peer->name(), peer->scale(input, row.output, whole));
    return std::move(row);
}

Row makeShrinkRow(Bench& bench) {
    auto [row, input] = makeParts(bench, {6000, 4000}, {640, 427}, 8);
    row.reference = std::make_shared<const Frame>(shrunk(*input, 640, 427));
    const auto output = makeTexture(*bench.device, 640, 427);
    const auto effect = ResizeTextureEffect::create(bench.device, makeTexture(*bench.device, *input), output,
                                                    ResizeFilter::area, nullptr);
    row.contenders.push_back(contender("ondrix", effect, output));
    for (const auto& peer : bench.peers) addPeer(row, peer->name(), peer->shrink(input, row.output));
    return std::move(row);
}

Row makeFitRow(Bench& bench) {
    auto [row, input] = makeParts(bench, hd1080, {1080, 1920}, 5);
    const Placement middle{(1920.0 - 607.5) / 2.0, 607.5};
    row.reference = std::make_shared<const Frame>(scaled(*input, 1080, 1920, middle));
    row.contenders.push_back(present(bench, *input, *row.output, ContentMode::scaleAspectFit, ImageRotation::degrees0));
    for (const auto& peer : bench.peers) addPeer(row, peer->name(), peer->scale(input, row.output, middle));
    return std::move(row);
}

Row makeQuarterTurnRow(Bench& bench) {
    auto [row, input] = makeParts(bench, hd1080, {1080, 1920}, 6);
    row.reference = std::make_shared<const Frame>(turnedQuarter(*input));
    row.contenders.push_back(present(bench, *input, *row.output, ContentMode::scaleToFill, ImageRotation::degrees90));
    for (const auto& peer : bench.peers) {
        addPeer(row, peer->name(), peer->turnQuarter(input, row.output));
        addPeer(row, peer->name() + "-drawn", peer->drawQuarter(input, row.output));
    }
    return std::move(row);
}

Row makeTurnRow(Bench& bench) {
    auto [row, input] = makeParts(bench, hd1080, hd1080, 7);
    const PixelTransform transform = fromOutput(sevenDegrees, hd1080.width, hd1080.height);
    row.reference = std::make_shared<const Frame>(turned(*input, transform));

    const auto library = makeFunctionLibrary(*bench.device);
    const auto shaders = library->makeShaders("Bench::PlaceQuad", "Bench::ShowImage");
    if (!shaders.vertex || !shaders.fragment) throw std::runtime_error("no functions for turning");
    const auto clip = clipTransform(sevenDegrees, hd1080);
    shaders.vertex->setShaderResource(bench.device->makeConstantBuffer(clip.data(), sizeof clip), 1);
    shaders.fragment->setShaderResource(makeTexture(*bench.device, *input), 0);
    shaders.fragment->setShaderResource(
        bench.device->makeSampler(MTLSamplerMinMagFilter::linear, MTLSamplerMinMagFilter::linear,
                                  MTLSamplerAddressMode::clampToEdge, MTLSamplerAddressMode::clampToEdge, 1,
                                  MTLSamplerBorderColor::transparentBlack),
        0);
    const auto output = makeTexture(*bench.device, hd1080.width, hd1080.height);
    const auto effect = Effect::create(bench.device);
    effect->add(RenderPass::create(bench.device, shaders.vertex, shaders.fragment, bench.device->defaultQuadMesh(),
                                   output, format),
                "turn");
    row.contenders.push_back(contender("ondrix", effect, output));
    for (const auto& peer : bench.peers) addPeer(row, peer->name(), peer->turn(input, row.output, transform));
    return std::move(row);
}

}  // namespace ondrix::benchmarks
