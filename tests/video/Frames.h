#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

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
inline std::shared_ptr<CMSampleBuffer> sample(const std::shared_ptr<CVPixelBuffer>& image,
                                              const CMSampleTimingInfo& timing = {}) {
    std::shared_ptr<CMFormatDescription> description;
    std::shared_ptr<CMSampleBuffer> buffer;
    EXPECT_EQ(CMVideoFormatDescriptionCreateForImageBuffer(image, &description), noErr);
    EXPECT_EQ(CMSampleBufferCreateReadyWithImageBuffer(image, description, timing, &buffer), noErr);
    return buffer;
}
inline std::shared_ptr<CMSampleBuffer> sound(Int count, const std::vector<CMSampleTimingInfo>& timing) {
    std::shared_ptr<CMSampleBuffer> buffer;
    EXPECT_EQ(CMSampleBufferCreateReady(nullptr, count, static_cast<Int>(timing.size()), timing.data(), &buffer), 0);
    return buffer;
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

/// Writes down the sizes that it is told of, and then does what it is told to.
struct SizeListener : TextureDelegate {
    explicit SizeListener(std::vector<std::string>& e) : events(e) {}
    void texture(Texture& texture, Size2<Int> size) override {
        events.push_back("size " + std::to_string(size.width()) + "x" + std::to_string(size.height()));
        if (onSize) onSize(texture);
    }
    std::vector<std::string>& events;
    std::function<void(Texture&)> onSize;
};

}  // namespace ondrix::test
