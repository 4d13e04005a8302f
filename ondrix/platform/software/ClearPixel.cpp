#include <cstring>

#include <ondrix/platform/software/ClearPixel.h>
#include <ondrix/shading/Encoding.h>

namespace ondrix::software {

ClearPixel::ClearPixel(MTLPixelFormat format, const MTLClearColor& color) noexcept {
    const auto moduleFormat = static_cast<shading::Format>(format);
    const float components[4] = {static_cast<float>(color.red), static_cast<float>(color.green),
                                 static_cast<float>(color.blue), static_cast<float>(color.alpha)};
    bytesPerPixel_ = static_cast<std::size_t>(shading::bytesPerPixel(moduleFormat));
    for (std::size_t place = 0; place < patternSize; place += bytesPerPixel_) {
        shading::encodePixel(moduleFormat, components, &pattern_[place]);
    }
}

void ClearPixel::fill(const shading::TextureView& target, std::int32_t y, std::int32_t x0,
                      std::int32_t x1) const noexcept {
    if (x0 >= x1) return;
    std::uint8_t* place = target.bytes + target.bytesPerRow * y + static_cast<std::size_t>(x0) * bytesPerPixel_;
    std::size_t left = static_cast<std::size_t>(x1 - x0) * bytesPerPixel_;
    for (; left >= patternSize; left -= patternSize, place += patternSize) {
        std::memcpy(place, pattern_.data(), patternSize);
    }
    std::memcpy(place, pattern_.data(), left);
}

}  // namespace ondrix::software
