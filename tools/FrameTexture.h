#pragma once

#include <memory>
#include <string>

#include <ondrix/video/CMSampleBufferFrameSource.h>
#include <ondrix/video/VideoTexture.h>

#include "Session.h"

namespace ondrix::tools {

/// A texture that shows one frame after the other. Failures are put down to `file`.
class FrameTexture {
public:
    FrameTexture(Session& session, const std::shared_ptr<Device>& device, std::string file);
    ~FrameTexture();
    FrameTexture(const FrameTexture&) = delete;
    FrameTexture& operator=(const FrameTexture&) = delete;

    /// Without an image before the first frame.
    [[nodiscard]] const std::shared_ptr<VideoTexture>& texture() const noexcept { return texture_; }
    void show(const std::shared_ptr<CMSampleBuffer>& frame);

private:
    Session& session_;
    const std::string file_;
    bool converted_ = false;
    std::shared_ptr<CMSampleBufferFrameSource> source_;
    std::shared_ptr<VideoTexture> texture_;
};

}  // namespace ondrix::tools
