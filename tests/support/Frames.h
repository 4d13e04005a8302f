#pragma once

#include <algorithm>
#include <random>

#include <gmock/gmock.h>
#include <tests/support/LogCapture.h>
#include <tests/support/Picture.h>

#include <ondrix/Ondrix.h>

namespace ondrix::test {

inline std::shared_ptr<CVPixelBuffer> frame(Int width, Int height, OSType format = kCVPixelFormatType_32BGRA) {
    std::shared_ptr<CVPixelBuffer> buffer;
    EXPECT_EQ(CVPixelBufferCreate(width, height, format, nullptr, &buffer), kCVReturnSuccess);
    return buffer;
}
inline std::shared_ptr<CMFormatDescription> description(const std::shared_ptr<CVPixelBuffer>& image) {
    std::shared_ptr<CMFormatDescription> result;
    EXPECT_EQ(CMVideoFormatDescriptionCreateForImageBuffer(image, &result), noErr);
    return result;
}
inline std::shared_ptr<CMSampleBuffer> sample(const std::shared_ptr<CVPixelBuffer>& image,
                                              const CMSampleTimingInfo& timing = {}) {
    std::shared_ptr<CMSampleBuffer> buffer;
    EXPECT_EQ(CMSampleBufferCreateReadyWithImageBuffer(image, description(image), timing, &buffer), noErr);
    return buffer;
}
inline Int bytesPerElement(const std::shared_ptr<CVPixelBuffer>& pixels, Int plane) {
    return static_cast<Int>(CVPixelBufferGetIOSurface(pixels)->bytesPerElementOfPlane(plane));
}
/// Bytes of a plane without gaps.
inline std::vector<int> bytesOf(const std::shared_ptr<CVPixelBuffer>& pixels, Int plane) {
    std::vector<int> bytes;
    const Int size = bytesPerElement(pixels, plane);
    forEachElement(*pixels, plane, size,
                   [&](const std::uint8_t* element, Int, Int) { bytes.insert(bytes.end(), element, element + size); });
    return bytes;
}
/// Random bytes in every plane.
inline std::shared_ptr<CVPixelBuffer> noise(Int width, Int height, OSType format, unsigned seed = 1) {
    const auto pixels = frame(width, height, format);
    std::mt19937 random(seed);
    for (Int plane = 0; plane < (CVPixelBufferIsPlanar(*pixels) ? 2 : 1); ++plane) {
        const Int size = bytesPerElement(pixels, plane);
        forEachElement(*pixels, plane, size, [&](std::uint8_t* element, Int, Int) {
            std::generate_n(element, size, [&random] { return static_cast<std::uint8_t>(random()); });
        });
    }
    return pixels;
}
/// What a display can show: alpha is 255.
inline Picture opaqueNoise(Int width, Int height, unsigned seed) {
    auto picture = Picture::noise(width, height, seed);
    for (std::size_t alpha = 3; alpha < picture.bytes.size(); alpha += 4) picture.bytes[alpha] = 255;
    return picture;
}

/// Keeps the frames that it is told of, and then does what it is told to.
struct FrameListener : VideoFrameSourceDelegate {
    void videoFrameSource(VideoFrameSource& source, const std::shared_ptr<CVPixelBuffer>& frame) override {
        frames.push_back(frame);
        if (onFrame) onFrame(source);
    }
    std::vector<std::shared_ptr<CVPixelBuffer>> frames;
    std::function<void(VideoFrameSource&)> onFrame;
};

/// Likewise for sizes.
struct SizeListener : TextureDelegate {
    void texture(Texture& texture, Size2<Int> size) override {
        events.push_back("size " + std::to_string(size.width()) + "x" + std::to_string(size.height()));
        if (onSize) onSize(texture);
    }
    std::vector<std::string> events;
    std::function<void(Texture&)> onSize;
};

}  // namespace ondrix::test
