#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

extern "C" {
#include <libavutil/avutil.h>
}

#include <ondrix/platform/coremedia/CMSampleBuffer.h>
#include <ondrix/platform/foundation/URL.h>

namespace ondrix::test {

/// A sample buffer of one picture.
[[nodiscard]] std::shared_ptr<CMSampleBuffer> frame(std::shared_ptr<CVPixelBuffer> pixels, CMTime time,
                                                    CMTime duration);
/// Random bytes in every plane.
[[nodiscard]] std::shared_ptr<CVPixelBuffer> noise(std::int64_t width, std::int64_t height, OSType format,
                                                   unsigned seed);
/// `x` counts bytes of the row.
[[nodiscard]] int byte(CVPixelBuffer& pixels, std::int64_t plane, std::int64_t x, std::int64_t y);

/// One packet as a file holds it.
struct FilePacket {
    std::int64_t presentationTime, decodeTime;  ///< ticks of its stream
    std::string bytes;

    friend bool operator==(const FilePacket&, const FilePacket&) = default;
};

/// The first stream of a kind, read by the library alone, without the code under test.
struct FileStream {
    std::vector<FilePacket> packets;  ///< empty without such a stream
    std::string language;
};
[[nodiscard]] FileStream readStream(const URL& file, AVMediaType type);

/// Makes a file of French sound alone, of `count` packets of random bytes, each 1024/48000 s long.
void writeSound(const URL& file, int count);

}  // namespace ondrix::test
