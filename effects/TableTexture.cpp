#include "TableTexture.h"

#include <algorithm>
#include <vector>

namespace ondrix::effects {

std::shared_ptr<TableTexture> TableTexture::create(const std::shared_ptr<Device>& device, const LookUpTable& table) {
    const auto size = static_cast<std::size_t>(table.size);
    const std::size_t across = 16, down = (size + across - 1) / across;
    const std::size_t width = across * size, height = down * size;
    auto pixels = device->mtlDevice()->makeTexture(
        {MTLPixelFormat::rgba32Float, width, height, false, MTLTextureUsage::shaderRead});
    if (pixels == nullptr) {
        Logger::gfx().error("Failed to make the texture of a look-up table of size %d.", table.size);
        return nullptr;
    }
    std::vector<float> texels(4 * width * height);
    const float* colour = table.colours.data();
    for (std::size_t blue = 0; blue < size; ++blue) {
        for (std::size_t green = 0; green < size; ++green) {
            const std::size_t row = (blue / across) * size + green, column = (blue % across) * size;
            for (std::size_t red = 0; red < size; ++red, colour += 3) {
                std::copy_n(colour, 3, &texels[4 * (row * width + column + red)]);
            }
        }
    }
    pixels->replace(MTLRegionMake2D(0, 0, width, height), 0, texels.data(), 4 * sizeof(float) * width);
    return std::shared_ptr<TableTexture>(new TableTexture(device, std::move(pixels)));
}

}  // namespace ondrix::effects
