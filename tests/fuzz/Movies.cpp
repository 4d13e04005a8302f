// Movie files: what is read of the first frames, after a search too, is what the reader promises.
#include <chrono>

#include <ondrix/platform/corevideo/PixelBufferLock.h>
#include <ondrix/platform/ffmpeg/MovieReader.h>

#include "FuzzTarget.h"

using namespace ondrix;
using namespace ondrix::test;

namespace {

constexpr int mostFrames = 6;
constexpr std::chrono::seconds longest{4};

/// Reads some frames, each with its pixels.
void readFrames(MovieReader& reader, std::chrono::steady_clock::time_point end) {
    std::uint8_t sum = 0;
    CMTime last = kCMTimeNegativeInfinity;
    for (int count = 0; count < mostFrames && std::chrono::steady_clock::now() < end; ++count) {
        const auto sample = reader.copyNextSampleBuffer();
        if (sample == nullptr) return;
        const CMTime time = CMSampleBufferGetPresentationTimeStamp(*sample);
        require(CMTimeCompare(time, last) > 0, "times that rise");
        last = time;
        const auto frame = CMSampleBufferGetImageBuffer(*sample);
        require(frame != nullptr, "a picture in each sample");
        const std::int64_t width = CVPixelBufferGetWidth(*frame), height = CVPixelBufferGetHeight(*frame);
        require(width >= 1 && width <= 16384 && height >= 1 && height <= 16384, "sides that a texture can have");
        const PixelBufferLock lock(frame, kCVPixelBufferLock_ReadOnly);
        for (std::int64_t plane = 0; plane < std::max<std::int64_t>(CVPixelBufferGetPlaneCount(*frame), 1); ++plane) {
            for (std::int64_t y = 0; y < lock.height(plane); ++y) sum ^= lock.row(y, plane)[lock.width(plane) - 1];
        }
    }
    [[maybe_unused]] static volatile std::uint8_t used;
    used = sum;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const auto end = std::chrono::steady_clock::now() + longest;
    const MemoryFile file(bytes, size);
    NSError error;
    constexpr MovieFrameFormat formats[] = {MovieFrameFormat::BGRA, MovieFrameFormat::native,
                                            MovieFrameFormat::decoded};
    const auto format = formats[size % 3];
    const auto reader = MovieReader::open(URL(file.path()), format, &error);
    require((reader == nullptr) == !error.localizedDescription().empty(), "a reader, or else a reason");
    if (reader == nullptr) return 0;
    readFrames(*reader, end);
    if (size > 0 && reader->seek(CMTimeMake(bytes[size / 2], 10))) readFrames(*reader, end);
    return 0;
}
