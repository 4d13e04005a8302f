#include <cstring>
#include <new>
#include <utility>

#include <ondrix/platform/ffmpeg/read/SampleMaker.h>

namespace ondrix::ffmpeg {

namespace {

bool isPlanar420(int format) {
    return format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_YUVJ420P;
}

void interleave(const std::uint8_t* first, const std::uint8_t* second, std::uint8_t* target, std::int64_t count) {
    for (std::int64_t index = 0; index < count; ++index) {
        target[2 * index] = first[index];
        target[2 * index + 1] = second[index];
    }
}

}  // namespace

SampleMaker::SampleMaker(const MovieInput& input, MovieFrameFormat format, std::string name)
    : timeBase_(input.stream().time_base),
      format_(format),
      streamOrientation_(PictureOrientation::of(input.stream())),
      peakLuminance_(peakLuminanceOf(input.stream())),
      maximumPixels_(input.options().maximumPixels),
      name_(std::move(name)) {}

std::shared_ptr<CMSampleBuffer> SampleMaker::make(const DecodedPicture& picture, std::string& reason) {
    const PictureColours colours = PictureColours::of(*picture.frame);
    if (colours.isGuessed && !std::exchange(hasToldGuess_, true)) {
        logger().info("%s doesn't say its colours, which are taken for %s, as is usual for %dx%d pixels", name_.c_str(),
                      colours.matrix == AVCOL_SPC_BT709 ? "BT.709" : "BT.601", picture.frame->width,
                      picture.frame->height);
    }
    auto buffer = convert(*picture.frame, colours, reason);
    if (!buffer) return nullptr;
    if (!description_ || !CMVideoFormatDescriptionMatchesImageBuffer(*description_, *buffer)) {
        if (CMVideoFormatDescriptionCreateForImageBuffer(buffer, &description_) != noErr) throw std::bad_alloc();
    }
    CMSampleTimingInfo timing;
    timing.presentationTimeStamp = timeOf(picture.time, timeBase_);
    timing.decodeTimeStamp = timeOf(picture.decodeTime, timeBase_);
    if (picture.duration > 0) timing.duration = timeOf(picture.duration, timeBase_);
    std::shared_ptr<CMSampleBuffer> sample;
    if (CMSampleBufferCreateReadyWithImageBuffer(std::move(buffer), description_, timing, &sample) != noErr) {
        throw std::bad_alloc();
    }
    return sample;
}

std::shared_ptr<CVPixelBuffer> SampleMaker::convert(const AVFrame& frame, const PictureColours& colours,
                                                    std::string& reason) {
    if (!isWithinLimits(frame.width, frame.height, maximumPixels_, reason)) return nullptr;
    const PictureOrientation orientation = PictureOrientation::of(frame, streamOrientation_);
    if (format_ == MovieFrameFormat::decoded) {
        auto buffer = DecoderPlanes::canHold(frame, colours) ? planes_.make(frame, colours, orientation, reason)
                                                             : convertToBGRA(frame, colours, orientation, reason);
        if (buffer) attachColours(*buffer, frame, colours, orientation, peakLuminance_);
        return buffer;
    }
    const std::int64_t width = orientation.swapsSides() ? frame.height : frame.width;
    const std::int64_t height = orientation.swapsSides() ? frame.width : frame.height;
    // An element of chroma belongs to two columns and two rows. Where a side is odd, the last has only one, and would
    // be the first after a turn: chroma then has to be computed anew.
    const bool keepsChromaPairs = orientation.isUpright() || (frame.width % 2 == 0 && frame.height % 2 == 0);
    const bool isNative = format_ == MovieFrameFormat::native && colours.matrix == AVCOL_SPC_BT709 &&
                          (isPlanar420(frame.format) || frame.format == AV_PIX_FMT_NV12) && keepsChromaPairs;
    const OSType nativeFormat = colours.isFullRange ? kCVPixelFormatType_420YpCbCr8BiPlanarFullRange
                                                    : kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
    if (!isNative) return convertToBGRA(frame, colours, orientation, reason);
    auto buffer = buffers_.make(width, height, nativeFormat);
    copyNative(frame, orientation, PixelBufferLock(*buffer));
    return buffer;
}

std::shared_ptr<CVPixelBuffer> SampleMaker::convertToBGRA(const AVFrame& frame, const PictureColours& colours,
                                                          PictureOrientation orientation, std::string& reason) {
    const std::int64_t width = orientation.swapsSides() ? frame.height : frame.width;
    const std::int64_t height = orientation.swapsSides() ? frame.width : frame.height;
    auto buffer = buffers_.make(width, height, kCVPixelFormatType_32BGRA);
    const PixelBufferLock pixels(*buffer);
    const FramePointer target = pictureIn(pixels, AV_PIX_FMT_BGRA);
    if (orientation.isUpright()) return bgra_.convert(frame, colours, *target, reason) ? buffer : nullptr;
    preparePicture(scratch_, AV_PIX_FMT_BGRA, frame.width, frame.height);
    if (!bgra_.convert(frame, colours, *scratch_, reason)) return nullptr;
    copyUpright({scratch_->data[0], scratch_->linesize[0], frame.width, frame.height}, orientation, 4, target->data[0],
                target->linesize[0]);
    return buffer;
}

void SampleMaker::copyNative(const AVFrame& frame, PictureOrientation orientation, const PixelBufferLock& pixels) {
    const int chromaWidth = (frame.width + 1) / 2;
    const int chromaHeight = (frame.height + 1) / 2;
    if (!orientation.isUpright()) {
        copyUpright({frame.data[0], frame.linesize[0], frame.width, frame.height}, orientation, 1, pixels.bytes(0),
                    pixels.bytesPerRow(0));
        StoredPlane stored{frame.data[1], frame.linesize[1], chromaWidth, chromaHeight};
        if (isPlanar420(frame.format)) {
            preparePicture(scratch_, AV_PIX_FMT_YA8, chromaWidth, chromaHeight);
            for (std::int64_t y = 0; y < chromaHeight; ++y) {
                interleave(frame.data[1] + y * frame.linesize[1], frame.data[2] + y * frame.linesize[2],
                           scratch_->data[0] + y * scratch_->linesize[0], chromaWidth);
            }
            stored.bytes = scratch_->data[0];
            stored.bytesPerRow = scratch_->linesize[0];
        }
        copyUpright(stored, orientation, 2, pixels.bytes(1), pixels.bytesPerRow(1));
        return;
    }
    for (std::int64_t y = 0; y < frame.height; ++y) {
        std::memcpy(pixels.row(y, 0), frame.data[0] + y * frame.linesize[0], static_cast<std::size_t>(frame.width));
    }
    for (std::int64_t y = 0; y < chromaHeight; ++y) {
        std::uint8_t* const chroma = pixels.row(y, 1);
        const std::uint8_t* const first = frame.data[1] + y * frame.linesize[1];
        if (isPlanar420(frame.format)) {
            interleave(first, frame.data[2] + y * frame.linesize[2], chroma, chromaWidth);
        } else {
            std::memcpy(chroma, first, static_cast<std::size_t>(chromaWidth) * 2);
        }
    }
}

}  // namespace ondrix::ffmpeg
