#include <ondrix/conversion/MetalTextureConverter.h>

#include "Pixels.h"
#include "Reference.h"
#include "Rows.h"

namespace ondrix::benchmarks {

Row makeConversionRow(Bench& bench) {
    constexpr int width = 1920;
    constexpr int height = 1080;
    const auto luma = std::make_shared<const Frame>(Frame::noisy(width, height, 1, 1));
    const auto chroma = std::make_shared<const Frame>(Frame::noisy(width / 2, height / 2, 2, 2));

    Row row;
    row.output = std::make_shared<Frame>(width, height, 4);
    row.reference = std::make_shared<const Frame>(convertedNV12(*luma, *chroma));

    auto converted = std::make_shared<std::shared_ptr<MTLTexture>>();
    auto run = [device = bench.device, buffer = makeNV12Buffer(*luma, *chroma), converted] {
        *converted = device->textureConverter()->texture(buffer);
        return *converted != nullptr;
    };
    row.contenders.push_back({"ondrix", true, run, [converted] { return read(**converted); }});
    for (const auto& peer : bench.peers) {
        addPeer(row, *peer, peer->convertNV12(luma, chroma, row.output), peer->convertsBT709());
    }
    return row;
}

}  // namespace ondrix::benchmarks
