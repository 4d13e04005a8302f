#include <string>

#include <gtest/gtest.h>

#include <ondrix/platform/metal/MTLPixelFormat.h>

namespace ondrix {
namespace {

/// A format's name states its layout, which the rest of its row in the table must match.
TEST(PixelFormat, HasTheLayoutThatItsNameStates) {
    for (std::uint64_t raw = 0; raw < 300; ++raw) {
        const auto info = pixelFormatInfo(static_cast<MTLPixelFormat>(raw));
        if (!info) continue;
        const std::string components = info->blueFirst ? "BGRA" : std::string("RGBA").substr(0, info->components);
        const int bits = info->bytesPerPixel * 8 / info->components;
        const bool isUnorm = info->componentType == MTLComponentType::unorm8;
        const auto type = isUnorm ? 8 : info->componentType == MTLComponentType::float16 ? 16 : 32;
        EXPECT_EQ(info->name, "MTLPixelFormat" + components + std::to_string(bits) + (isUnorm ? "Unorm" : "Float") +
                                  (info->sRGB ? "_sRGB" : ""));
        EXPECT_EQ(bits, type) << info->name;
    }
    EXPECT_EQ(description(MTLPixelFormat::bgra8Unorm), "MTLPixelFormatBGRA8Unorm (80)");
    EXPECT_EQ(description(static_cast<MTLPixelFormat>(999)), "MTLPixelFormat (999)");
}

}  // namespace
}  // namespace ondrix
