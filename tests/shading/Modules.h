#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <tests/support/GuardedMemory.h>

#include <ondrix/conversion/YUVToRGBConstants.h>
#include <ondrix/shading/Encoding.h>
#include <ondrix/shading/Module.h>

namespace modules {

namespace shading = ondrix::shading;
using shading::Format;

/// The module of one level, opened straight from its file.
const shading::ModuleTable& open(const std::string& library, const std::string& level);

/// Pixels in guarded memory, between guard bytes that nobody may write. Strides are odd, but with a multiple of 16
/// pixels in a row multiples of 64 bytes.
class Image {
public:
    /// Where the guarded end of new images is.
    static inline ondrix::test::GuardedEnd guardedEnd = ondrix::test::GuardedEnd::first;

    Image(int width, int height, Format format, unsigned noise);

    shading::TextureView view() {
        return {memory_.bytes(), stride_, width, height, static_cast<std::uint32_t>(format)};
    }
    std::uint8_t* pixel(int x, int y) { return memory_.bytes() + stride_ * y + x * shading::bytesPerPixel(format); }
    /// Rows without padding; `guardsIntact` tells whether anything else was written.
    std::vector<std::uint8_t> bytes();
    bool guardsIntact() const;

    const int width, height;
    const Format format;

private:
    std::int64_t stride_;
    ondrix::test::GuardedMemory memory_;
};

/// A straight line of a coordinate over the target: value = base + x * dx + y * dy at pixel centres.
struct Mapping {
    shading::Plane u, v;
    bool perspective = false;
    shading::Plane inverseW{1, 0, 0};
};
/// The target shows the texture as a whole.
inline Mapping fill(int width, int height) {
    return {{0.5 / width, 1.0 / width, 0}, {0.5 / height, 0, 1.0 / height}};
}

struct Draw {
    Mapping mapping;
    std::vector<shading::TextureView> textures;
    std::vector<shading::SamplerView> samplers;
    const void* constants = nullptr;
    std::vector<shading::Plane> morePlanes{};
    int x0 = 0;  ///< first column that is drawn
    bool streaming = false;
};

/// Those of the framework, then ones with all chroma in all colours, and with what fixed-point numbers can't hold.
std::vector<ondrix::YUVToRGBConstants> conversions();

// Touching memory outside of every image is a failure of the running test.
void draw(const shading::ModuleTable& module, const std::string& name, const Draw& draw, Image& target);
void dispatch(const shading::ModuleTable& module, const std::string& name,
              const std::vector<shading::TextureView>& textures, int width, int height, const void* constants,
              bool streaming = false);

}  // namespace modules
