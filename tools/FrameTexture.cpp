#include "FrameTexture.h"

#include <utility>

namespace ondrix::tools {

FrameTexture::FrameTexture(Session& session, const std::shared_ptr<Device>& device, std::string file)
    : session_(session),
      file_(std::move(file)),
      source_(CMSampleBufferFrameSource::create()),
      texture_(device->makeVideoTexture([this](VideoTexture&) { converted_ = true; })) {
    texture_->set(source_);
}

FrameTexture::~FrameTexture() {
    texture_->prepareForRelease();
}

void FrameTexture::show(const std::shared_ptr<CMSampleBuffer>& frame) {
    converted_ = false;
    source_->processFrame(frame);
    if (!converted_) session_.fail(file_, "a frame can't be converted");
}

}  // namespace ondrix::tools
