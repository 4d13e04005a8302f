#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <utility>
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
    /// What is stored at an element of a plane, of which the lowest bits are taken; by default a pattern.
    std::function<int(int frame, int plane, int x, int y)> value = [](int, int plane, int x, int y) {
        return x * x * 31 + y * 57 + x * y * 5 + plane * 20;
    };
    /// Returns `path`; throws std::runtime_error.
    std::filesystem::path write(const std::filesystem::path& path) const;
};

/// Writes French sound alone: `count` packets of random bytes, each 1024/48000 s long.
void writeSound(const std::filesystem::path& path, int count);
using SoundPackets = std::vector<std::pair<std::int64_t, std::string>>;
/// Times in ticks and bytes of a file's first sound, which has to be French; none without sound.
[[nodiscard]] SoundPackets readSound(const std::filesystem::path& path);

}  // namespace ondrix::test
