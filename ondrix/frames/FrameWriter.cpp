#include <cassert>
#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/core/Logger.h>
#include <ondrix/frames/FrameFunction.h>
#include <ondrix/frames/FrameLayout.h>
#include <ondrix/frames/FrameWriter.h>

namespace ondrix {

using Kind = FrameLayout::Kind;

FrameWriter::FrameWriter(std::shared_ptr<Device> device, OSType pixelFormat, const FrameColours& colours,
                         const FrameLayout& layout)
    : device_(std::move(device)),
      pixelFormat_(pixelFormat),
      colours_(colours),
      layout_(std::make_unique<FrameLayout>(layout)) {}

FrameWriter::~FrameWriter() = default;

std::shared_ptr<FrameWriter> FrameWriter::create(std::shared_ptr<Device> device, OSType pixelFormat,
                                                 const FrameColours& colours, NSError* error) {
    assert(device != nullptr);
    return Failure::toldTo(error, [&]() -> std::shared_ptr<FrameWriter> {
        const auto layout = FrameLayout::of(pixelFormat);
        if (!layout || (layout->kind == Kind::picture && pixelFormat != kCVPixelFormatType_32BGRA)) {
            Logger::gfx().error("Failed to make a writer of frames for a pixel format that can't be written.");
            return nullptr;
        }
        if (colours.isWide()) {
            Logger::gfx().error("Failed to make a writer of frames for colours other than SDR in BT.709.");
            return nullptr;
        }
        FrameColours stated = colours;
        stated.range = FrameColours::rangeOf(pixelFormat).value_or(colours.range);
        std::shared_ptr<FrameWriter> writer(new FrameWriter(std::move(device), pixelFormat, stated, *layout));
        return writer->start() ? writer : nullptr;
    });
}

bool FrameWriter::start() {
    const auto& mtlDevice = device_->mtlDevice();
    const bool isPicture = layout_->kind == Kind::picture;
    luma_ = FrameFunction::make(*mtlDevice, isPicture ? "Ondrix::Blit::CS_Main" : "Ondrix::Frames::WriteLuma");
    if (luma_ == nullptr || isPicture || layout_->kind == Kind::grey) return luma_ != nullptr;
    chroma_ = FrameFunction::make(*mtlDevice, layout_->kind == Kind::planar ? "Ondrix::Frames::WriteSeparateChroma"
                                                                            : "Ondrix::Frames::WriteChroma");
    return chroma_ != nullptr;
}

std::shared_ptr<CVPixelBuffer> FrameWriter::write(const Texture& picture, MTLCommandBuffer& commandBuffer,
                                                  NSError* error) {
    return Failure::toldTo(error, [&]() -> std::shared_ptr<CVPixelBuffer> {
        const auto image = picture.mtlTexture();
        if (image == nullptr) {
            Logger::gfx().error("Failed to write a frame of a texture that has no image.");
            return nullptr;
        }
        auto frame = makeFrame(static_cast<std::int64_t>(image->width()), static_cast<std::int64_t>(image->height()));
        return frame != nullptr && encode(image, frame, commandBuffer) ? frame : nullptr;
    });
}

bool FrameWriter::write(const Texture& picture, const std::shared_ptr<CVPixelBuffer>& frame,
                        MTLCommandBuffer& commandBuffer, NSError* error) {
    assert(frame != nullptr);
    return Failure::toldTo(error, [&] {
        const auto image = picture.mtlTexture();
        if (image == nullptr || static_cast<std::int64_t>(image->width()) != CVPixelBufferGetWidth(*frame) ||
            static_cast<std::int64_t>(image->height()) != CVPixelBufferGetHeight(*frame) ||
            CVPixelBufferGetPixelFormatType(*frame) != pixelFormat_) {
            Logger::gfx().error("Failed to write a frame of another size or format than the texture and the writer.");
            return false;
        }
        return encode(image, frame, commandBuffer);
    });
}

std::shared_ptr<CVPixelBuffer> FrameWriter::makeFrame(std::int64_t width, std::int64_t height) {
    if (pool_ == nullptr || width != poolWidth_ || height != poolHeight_) {
        const CVAttributes attributes = {{kCVPixelBufferPixelFormatTypeKey, std::int64_t{pixelFormat_}},
                                         {kCVPixelBufferWidthKey, width},
                                         {kCVPixelBufferHeightKey, height},
                                         {kCVPixelBufferIOSurfacePropertiesKey, CVEmptyDictionary{}}};
        if (CVPixelBufferPoolCreate(nullptr, &attributes, &pool_) != kCVReturnSuccess) {
            Logger::gfx().error("Failed to make a pool of frames.");
            return nullptr;
        }
        poolWidth_ = width;
        poolHeight_ = height;
    }
    std::shared_ptr<CVPixelBuffer> frame;
    if (CVPixelBufferPoolCreatePixelBuffer(*pool_, &frame) != kCVReturnSuccess) {
        Logger::gfx().error("Failed to take a frame from its pool.");
        return nullptr;
    }
    return frame;
}

bool FrameWriter::encode(const std::shared_ptr<MTLTexture>& picture, const std::shared_ptr<CVPixelBuffer>& frame,
                         MTLCommandBuffer& commandBuffer) {
    std::shared_ptr<MTLTexture> planes[3];
    for (int plane = 0; plane < layout_->planeCount(); ++plane) {
        planes[plane] = layout_->wrap(*device_->mtlDevice(), frame, plane);
        if (planes[plane] == nullptr) return false;
    }
    if (colours_.attachTo(*frame) != kCVReturnSuccess) {
        Logger::gfx().error("Failed to state the colours of a frame.");
        return false;
    }
    const FrameWriteConstants constants = layout_->writeConstants(colours_);
    const bool isPicture = layout_->kind == Kind::picture;
    const FrameFunction::Bytes bytes{isPicture ? nullptr : &constants, sizeof constants};
    if (!luma_->encode(commandBuffer, {picture, planes[0]}, *planes[0], bytes, {})) return false;
    return chroma_ == nullptr || chroma_->encode(commandBuffer, {picture, planes[1], planes[2]}, *planes[1], bytes, {});
}

}  // namespace ondrix
