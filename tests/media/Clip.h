#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace ondrix::test {

/// A movie to be made; the file's ending names the container.
struct Clip {
    std::string encoder = "ffv1";
    AVPixelFormat format = AV_PIX_FMT_YUV420P;
    int width = 64, height = 48;
    AVRational timeBase = {1, 1000};
    std::vector<std::int64_t> times = {0};  ///< one for each frame
    int bFrames = 0;
    int framesPerKey = 12;
    AVColorSpace matrix = AVCOL_SPC_UNSPECIFIED;
    AVColorRange range = AVCOL_RANGE_UNSPECIFIED;
    std::optional<std::array<int, 4>> displayMatrix = {};  ///< a b c d: (x, y) is shown at (a x + c y, b x + d y)
    int damagedPacket = -1;                                ///< packet whose second half is written as noise
    /// What is stored at an element of a plane, of which the lowest bits are taken.
    std::function<int(int frame, int plane, int x, int y)> value = [](int, int, int, int) { return 128; };

    /// Throws std::runtime_error.
    void write(const std::filesystem::path& file) const;
};

}  // namespace ondrix::test
