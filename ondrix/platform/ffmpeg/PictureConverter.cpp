#include <cstring>
#include <new>

#include <ondrix/platform/ffmpeg/PictureConverter.h>

namespace ondrix {

namespace {

constexpr int maximumSide = 16384;

/// Base addresses can be read while this lives.
class Lock {
public:
    explicit Lock(CVPixelBuffer& buffer) : buffer_(buffer) { CVPixelBufferLockBaseAddress(buffer_, 0); }
    ~Lock() { CVPixelBufferUnlockBaseAddress(buffer_, 0); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

private:
    CVPixelBuffer& buffer_;
};

bool isPlanar420(int format) {
    return format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_YUVJ420P;
}

void interleave(const std::uint8_t* first, const std::uint8_t* second, std::uint8_t* target, std::int64_t count) {
    for (std::int64_t index = 0; index < count; ++index) {
        target[2 * index] = first[index];
        target[2 * index + 1] = second[index];
    }
}

/// The pixels of a locked buffer as a picture that doesn't own them.
FramePointer frameOf(CVPixelBuffer& buffer) {
    FramePointer frame = makeFrame();
    auto* const bytes = static_cast<std::uint8_t*>(CVPixelBufferGetBaseAddress(buffer));
    const std::int64_t bytesPerRow = CVPixelBufferGetBytesPerRow(buffer);
    frame->format = AV_PIX_FMT_BGRA;
    frame->width = static_cast<int>(CVPixelBufferGetWidth(buffer));
    frame->height = static_cast<int>(CVPixelBufferGetHeight(buffer));
    frame->data[0] = bytes;
    frame->linesize[0] = static_cast<int>(bytesPerRow);
    frame->buf[0] = av_buffer_create(
        bytes, static_cast<std::size_t>(bytesPerRow) * frame->height, [](void*, std::uint8_t*) {}, nullptr, 0);
    if (frame->buf[0] == nullptr) throw std::bad_alloc();
    return frame;
}

}  // namespace

std::shared_ptr<CVPixelBuffer> PictureConverter::convert(const AVFrame& frame, const PictureColours& colours,
                                                         std::string& reason) {
    if (frame.width < 1 || frame.height < 1 || frame.width > maximumSide || frame.height > maximumSide) {
        reason = "pictures of " + std::to_string(frame.width) + "x" + std::to_string(frame.height) +
                 " pixels can't be taken";
        return nullptr;
    }
    const PictureOrientation orientation = PictureOrientation::of(frame, streamOrientation_);
    const std::int64_t width = orientation.swapsSides() ? frame.height : frame.width;
    const std::int64_t height = orientation.swapsSides() ? frame.width : frame.height;
    // Chroma lies between the luma of two columns and rows; where a turn would part such a pair, it has to be
    // resampled.
    const bool keepsChromaPairs = orientation.isUpright() || (frame.width % 2 == 0 && frame.height % 2 == 0);
    const bool isNative = format_ == MovieFrameFormat::native && colours.matrix == AVCOL_SPC_BT709 &&
                          (isPlanar420(frame.format) || frame.format == AV_PIX_FMT_NV12) && keepsChromaPairs;
    const OSType nativeFormat = colours.isFullRange ? kCVPixelFormatType_420YpCbCr8BiPlanarFullRange
                                                    : kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
    auto buffer = makeBuffer(width, height, isNative ? nativeFormat : kCVPixelFormatType_32BGRA);
    const Lock lock(*buffer);
    if (isNative) {
        copyNative(frame, orientation, *buffer);
        return buffer;
    }
    const FramePointer target = frameOf(*buffer);
    if (orientation.isUpright()) return bgra_.convert(frame, colours, *target, reason) ? buffer : nullptr;
    preparePicture(scratch_, AV_PIX_FMT_BGRA, frame.width, frame.height);
    if (!bgra_.convert(frame, colours, *scratch_, reason)) return nullptr;
    copyUpright({scratch_->data[0], scratch_->linesize[0], frame.width, frame.height}, orientation, 4, target->data[0],
                target->linesize[0]);
    return buffer;
}

std::shared_ptr<CVPixelBuffer> PictureConverter::makeBuffer(std::int64_t width, std::int64_t height, OSType format) {
    if (!pool_ || width != poolWidth_ || height != poolHeight_ || format != poolFormat_) {
        const CVAttributes attributes = {{kCVPixelBufferPixelFormatTypeKey, std::int64_t{format}},
                                         {kCVPixelBufferWidthKey, width},
                                         {kCVPixelBufferHeightKey, height},
                                         {kCVPixelBufferBytesPerRowAlignmentKey, std::int64_t{64}},
                                         {kCVPixelBufferIOSurfacePropertiesKey, CVEmptyDictionary{}}};
        if (CVPixelBufferPoolCreate(nullptr, &attributes, &pool_) != kCVReturnSuccess) throw std::bad_alloc();
        poolWidth_ = width;
        poolHeight_ = height;
        poolFormat_ = format;
    }
    std::shared_ptr<CVPixelBuffer> buffer;
    if (CVPixelBufferPoolCreatePixelBuffer(*pool_, &buffer) != kCVReturnSuccess) throw std::bad_alloc();
    return buffer;
}

void PictureConverter::copyNative(const AVFrame& frame, PictureOrientation orientation, CVPixelBuffer& buffer) {
    auto* const luma = static_cast<std::uint8_t*>(CVPixelBufferGetBaseAddressOfPlane(buffer, 0));
    auto* chroma = static_cast<std::uint8_t*>(CVPixelBufferGetBaseAddressOfPlane(buffer, 1));
    const std::int64_t lumaBytesPerRow = CVPixelBufferGetBytesPerRowOfPlane(buffer, 0);
    const std::int64_t chromaBytesPerRow = CVPixelBufferGetBytesPerRowOfPlane(buffer, 1);
    const int chromaWidth = (frame.width + 1) / 2;
    const int chromaHeight = (frame.height + 1) / 2;
    if (!orientation.isUpright()) {
        copyUpright({frame.data[0], frame.linesize[0], frame.width, frame.height}, orientation, 1, luma,
                    lumaBytesPerRow);
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
        copyUpright(stored, orientation, 2, chroma, chromaBytesPerRow);
        return;
    }
    for (std::int64_t y = 0; y < frame.height; ++y) {
        std::memcpy(luma + y * lumaBytesPerRow, frame.data[0] + y * frame.linesize[0],
                    static_cast<std::size_t>(frame.width));
    }
    for (std::int64_t y = 0; y < chromaHeight; ++y, chroma += chromaBytesPerRow) {
        const std::uint8_t* const first = frame.data[1] + y * frame.linesize[1];
        if (isPlanar420(frame.format)) {
            interleave(first, frame.data[2] + y * frame.linesize[2], chroma, chromaWidth);
        } else {
            std::memcpy(chroma, first, static_cast<std::size_t>(chromaWidth) * 2);
        }
    }
}

}  // namespace ondrix
