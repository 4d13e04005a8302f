#include <ondrix/passes/BlitEffect.h>
#include <ondrix/passes/PresentTextureEffect.h>

#include "Pixels.h"
#include "Reference.h"
#include "Rows.h"

namespace ondrix::benchmarks {

namespace {

constexpr auto format = MTLPixelFormat::bgra8Unorm;

Contender contender(std::string name, std::shared_ptr<Effect> effect, std::shared_ptr<Texture> output) {
    effect->setShouldWaitForCompletion(true);
    return {std::move(name), true, [effect] { return effect->apply(nullptr); }, [output] { return read(*output); }};
}

Contender blit(Bench& bench, std::string name, std::shared_ptr<Texture> input, const Frame& like, PassType passType) {
    auto output = makeTexture(*bench.device, like.width(), like.height());
    return contender(std::move(name), BlitEffect::create(bench.device, std::move(input), output, passType, format),
                     output);
}

}  // namespace

Row makeCopyRow(Bench& bench) {
    const auto input = std::make_shared<const Frame>(Frame::noisy(1920, 1080, 4, 3));
    Row row;
    row.output = std::make_shared<Frame>(input->width(), input->height(), 4);
    row.reference = input;

    const auto texture = makeTexture(*bench.device, *input);
    row.contenders.push_back(blit(bench, "ondrix-render", texture, *row.output, PassType::renderPass));
    row.contenders.push_back(blit(bench, "ondrix-compute", texture, *row.output, PassType::computePass));
    for (const auto& peer : bench.peers) addPeer(row, *peer, peer->copy(input, row.output), true);
    return row;
}

Row makeScaleRow(Bench& bench, int width, int height) {
    const auto input = std::make_shared<const Frame>(Frame::noisy(width, height, 4, 4));
    Row row;
    row.output = std::make_shared<Frame>(1920, 1080, 4);
    const Placement whole{0.0, 1080.0};
    row.reference = std::make_shared<const Frame>(scaled(*input, 1920, 1080, whole));

    const auto texture = makeTexture(*bench.device, *input);
    row.contenders.push_back(blit(bench, "ondrix", texture, *row.output, PassType::renderPass));
    for (const auto& peer : bench.peers) addPeer(row, *peer, peer->scale(input, row.output, whole), true);
    return row;
}

Row makePresentRow(Bench& bench) {
    const auto input = std::make_shared<const Frame>(Frame::noisy(1920, 1080, 4, 5));
    Row row;
    row.output = std::make_shared<Frame>(1080, 1920, 4);
    const Placement middle{(1920.0 - 607.5) / 2.0, 607.5};
    row.reference = std::make_shared<const Frame>(scaled(*input, 1080, 1920, middle));

    const auto output = makeTexture(*bench.device, 1080, 1920);
    const auto effect = PresentTextureEffect::create(bench.device, makeTexture(*bench.device, *input), output, format,
                                                     ContentMode::scaleAspectFit, ImageRotation::degrees0, false);
    row.contenders.push_back(contender("ondrix", effect, output));
    for (const auto& peer : bench.peers) addPeer(row, *peer, peer->scale(input, row.output, middle), true);
    return row;
}

Row makeEmptyRow(Bench& bench, std::chrono::milliseconds idle) {
    Row row;
    row.idle = idle;
    const auto effect = Effect::create(bench.device);
    effect->setShouldWaitForCompletion(true);
    row.contenders.push_back({"ondrix", true, [effect] { return effect->apply(nullptr); }, {}});
    return row;
}

}  // namespace ondrix::benchmarks
