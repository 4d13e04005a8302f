#include <cassert>

#include <ondrix/conversion/YUVToRGBConstants.h>

namespace ondrix {

namespace {

constexpr YUVToRGBConstants fullRange = {
    {{{1.0f, 1.0f, 1.0f}, {0.0f, -0.187f, 1.856f}, {1.575f, -0.468f, 0.0f}}},
    {0.5f, 0.5f, 0.0f, 0.0f},
    {0.0f, 0.0f, 0.0f, 0.0f},
};

constexpr YUVToRGBConstants videoRange = {
    {{{1.164f, 1.164f, 1.164f}, {0.0f, -0.213f, 2.112f}, {1.793f, -0.533f, 0.0f}}},
    {0.5f, 0.5f, 0.0f, 0.0f},
    {-0.07275f, 0.0f, 0.0f, 0.0f},
};

}  // namespace

const YUVToRGBConstants& yuvToRGBConstants(YUVFormats format) {
    assert(format != YUVFormats::Unknown);
    return format == YUVFormats::NV12FullRange ? fullRange : videoRange;
}

}  // namespace ondrix
