#include <algorithm>
#include <cassert>
#include <cstring>
#include <new>
#include <utility>

#include <ondrix/platform/ffmpeg/read/SampleMaker.h>

namespace ondrix::ffmpeg {

namespace {

/// A plane as it is stored: sides in elements, bytes from row to row.
struct StoredPlane {
    const std::uint8_t* bytes;
    std::int64_t bytesPerRow;
    std::int64_t width, height;
};

/// Planes are turned in blocks with sides of so many elements, so that the rows of a block stay in the nearest cache.
constexpr std::int64_t blockSide = 32;

/// Where the target's first element is in the source, and how many bytes further those for its right and lower
/// neighbours are.
struct Walk {
    const std::uint8_t* first;
    std::int64_t right, down;
};

Walk walkOf(const StoredPlane& source, PictureOrientation orientation, int bytesPerElement) {
    const std::int64_t across = orientation.isMirrored ? -bytesPerElement : bytesPerElement;
    const std::int64_t along = source.bytesPerRow;
    const std::uint8_t* const topLeft =
        orientation.isMirrored ? source.bytes + (source.width - 1) * bytesPerElement : source.bytes;
    switch (orientation.clockwiseQuarters) {
        case 1:
            return {topLeft + (source.height - 1) * along, -along, across};
        case 2:
            return {topLeft + (source.width - 1) * across + (source.height - 1) * along, -across, -along};
        case 3:
            return {topLeft + (source.width - 1) * across, along, -across};
        default:
            return {topLeft, across, along};
    }
}

template <class Element>
void copyBlocks(Walk walk, std::uint8_t* target, std::int64_t targetBytesPerRow, std::int64_t width,
                std::int64_t height) {
    for (std::int64_t top = 0; top < height; top += blockSide) {
        const std::int64_t bottom = std::min(top + blockSide, height);
        for (std::int64_t left = 0; left < width; left += blockSide) {
            const std::int64_t right = std::min(left + blockSide, width);
            for (std::int64_t y = top; y < bottom; ++y) {
                const std::uint8_t* source = walk.first + y * walk.down + left * walk.right;
                std::uint8_t* const row = target + y * targetBytesPerRow;
                for (std::int64_t x = left; x < right; ++x, source += walk.right) {
                    std::memcpy(row + x * static_cast<std::int64_t>(sizeof(Element)), source, sizeof(Element));
                }
            }
        }
    }
}

/// Writes the plane upright. Elements have 1, 2 or 4 bytes; the target has the turned sides.
void copyUpright(const StoredPlane& source, PictureOrientation orientation, int bytesPerElement, std::uint8_t* target,
                 std::int64_t targetBytesPerRow) {
    const Walk walk = walkOf(source, orientation, bytesPerElement);
    const std::int64_t width = orientation.swapsSides() ? source.height : source.width;
    const std::int64_t height = orientation.swapsSides() ? source.width : source.height;
    switch (bytesPerElement) {
        case 1:
            return copyBlocks<std::uint8_t>(walk, target, targetBytesPerRow, width, height);
        case 2:
            return copyBlocks<std::uint16_t>(walk, target, targetBytesPerRow, width, height);
        default:
            assert(bytesPerElement == 4);
            return copyBlocks<std::uint32_t>(walk, target, targetBytesPerRow, width, height);
    }
}

bool isPlanar420(int format) {
    return format == AV_PIX_FMT_YUV420P || format == AV_PIX_FMT_YUVJ420P;
}

void interleave(const std::uint8_t* first, const std::uint8_t* second, std::uint8_t* target, std::int64_t count) {
    for (std::int64_t index = 0; index < count; ++index) {
        target[2 * index] = first[index];
        target[2 * index + 1] = second[index];
    }
}

/// The pixels as a picture that doesn't own them.
FramePointer frameOf(const PixelBufferLock& pixels) {
    FramePointer frame = makeFrame();
    frame->format = AV_PIX_FMT_BGRA;
    frame->width = static_cast<int>(pixels.width());
    frame->height = static_cast<int>(pixels.height());
    frame->data[0] = pixels.bytes();
    frame->linesize[0] = static_cast<int>(pixels.bytesPerRow());
    frame->buf[0] = av_buffer_create(
        frame->data[0], static_cast<std::size_t>(pixels.bytesPerRow() * pixels.height()), [](void*, std::uint8_t*) {},
        nullptr, 0);
    if (frame->buf[0] == nullptr) throw std::bad_alloc();
    return frame;
}

}  // namespace

SampleMaker::SampleMaker(const MovieInput& input, MovieFrameFormat format, std::string name)
    : timeBase_(input.stream().time_base),
      format_(format),
      streamOrientation_(PictureOrientation::of(input.stream())),
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
    const std::int64_t width = orientation.swapsSides() ? frame.height : frame.width;
    const std::int64_t height = orientation.swapsSides() ? frame.width : frame.height;
    // An element of chroma belongs to two columns and two rows. Where a side is odd, the last has only one, and would
    // be the first after a turn: chroma then has to be computed anew.
    const bool keepsChromaPairs = orientation.isUpright() || (frame.width % 2 == 0 && frame.height % 2 == 0);
    const bool isNative = format_ == MovieFrameFormat::native && colours.matrix == AVCOL_SPC_BT709 &&
                          (isPlanar420(frame.format) || frame.format == AV_PIX_FMT_NV12) && keepsChromaPairs;
    const OSType nativeFormat = colours.isFullRange ? kCVPixelFormatType_420YpCbCr8BiPlanarFullRange
                                                    : kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
    auto buffer = makeBuffer(width, height, isNative ? nativeFormat : kCVPixelFormatType_32BGRA);
    const PixelBufferLock pixels(*buffer);
    if (isNative) {
        copyNative(frame, orientation, pixels);
        return buffer;
    }
    const FramePointer target = frameOf(pixels);
    if (orientation.isUpright()) return bgra_.convert(frame, colours, *target, reason) ? buffer : nullptr;
    preparePicture(scratch_, AV_PIX_FMT_BGRA, frame.width, frame.height);
    if (!bgra_.convert(frame, colours, *scratch_, reason)) return nullptr;
    copyUpright({scratch_->data[0], scratch_->linesize[0], frame.width, frame.height}, orientation, 4, target->data[0],
                target->linesize[0]);
    return buffer;
}

std::shared_ptr<CVPixelBuffer> SampleMaker::makeBuffer(std::int64_t width, std::int64_t height, OSType format) {
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
