#pragma once

#include <cmath>
#include <stdexcept>

#include <tests/support/Frames.h>
#include <tests/support/TemporaryFolder.h>

#include <ondrix/platform/ffmpeg/MovieReader.h>

#include "Clip.h"

namespace ondrix::test {

using Samples = std::vector<std::shared_ptr<CMSampleBuffer>>;
inline constexpr OSType bgra = kCVPixelFormatType_32BGRA;
inline constexpr OSType v420 = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
inline constexpr OSType f420 = kCVPixelFormatType_420YpCbCr8BiPlanarFullRange;

/// A folder for movies, and what is logged meanwhile.
class MediaTest : public testing::Test {
protected:
    [[nodiscard]] std::filesystem::path path(const char* name) const { return folder.path() / name; }
    LogCapture log;
    TemporaryFolder folder;
};

inline Samples readAll(MovieReader& reader) {
    Samples samples;
    while (auto sample = reader.copyNextSampleBuffer()) samples.push_back(std::move(sample));
    return samples;
}

/// Throws std::runtime_error with the reason.
inline std::shared_ptr<MovieReader> open(const std::filesystem::path& file,
                                         MovieFrameFormat format = MovieFrameFormat::BGRA) {
    NSError error;
    auto reader = MovieReader::open(URL(file), format, &error);
    if (!reader) throw std::runtime_error(error.localizedDescription());
    return reader;
}

inline CMTime timeOf(const std::shared_ptr<CMSampleBuffer>& sample) {
    return CMSampleBufferGetPresentationTimeStamp(*sample);
}
inline std::shared_ptr<CVPixelBuffer> imageOf(const std::shared_ptr<CMSampleBuffer>& sample) {
    return CMSampleBufferGetImageBuffer(*sample);
}

inline std::vector<std::int64_t> evenTimes(int count, std::int64_t first = 0, std::int64_t step = 1) {
    std::vector<std::int64_t> times;
    for (int index = 0; index < count; ++index) times.push_back(first + index * step);
    return times;
}

/// A clip of at most 50 frames with their numbers as luma, which can be seen whatever the encoder does to it.
inline Clip numbered(const char* encoder, AVRational timeBase, std::vector<std::int64_t> times, int bFrames = 0) {
    Clip clip{.encoder = encoder, .timeBase = timeBase, .times = std::move(times), .bFrames = bFrames};
    clip.value = [](int frame, int plane, int, int) { return plane == 0 ? 20 + frame * 4 : 128; };
    return clip;
}

/// The number of a frame, from the green of its grey in video range.
inline int numberIn(const std::shared_ptr<CVPixelBuffer>& pixels) {
    return static_cast<int>(std::lround((bytesOf(pixels, 0)[1] * 219 / 255.0 + 16 - 20) / 4));
}

}  // namespace ondrix::test
