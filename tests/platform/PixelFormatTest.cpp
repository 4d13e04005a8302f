#include <cstring>
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
        const std::string layout = std::string(info->name).substr(std::strlen("MTLPixelFormat"));
        const std::size_t components = layout.find_first_not_of("RGBA");
        const int bits = std::stoi(layout.substr(components));
        const std::string kind = bits == 8 ? "Unorm" : "Float";
        EXPECT_EQ(layout, layout.substr(0, components) + std::to_string(bits) + kind + (info->sRGB ? "_sRGB" : ""));
        EXPECT_EQ(info->components, static_cast<int>(components)) << layout;
        EXPECT_EQ(info->bytesPerPixel * 8, info->components * bits) << layout;
        EXPECT_EQ(info->blueFirst, layout[0] == 'B') << layout;
        EXPECT_EQ(info->componentType == MTLComponentType::float16, bits == 16) << layout;
        EXPECT_EQ(info->componentType == MTLComponentType::float32, bits == 32) << layout;
    }
    EXPECT_EQ(description(MTLPixelFormat::bgra8Unorm), "MTLPixelFormatBGRA8Unorm (80)");
    EXPECT_EQ(description(static_cast<MTLPixelFormat>(999)), "MTLPixelFormat (999)");
}

}  // namespace
}  // namespace ondrix
