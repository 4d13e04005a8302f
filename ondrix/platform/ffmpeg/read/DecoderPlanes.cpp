#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <ondrix/platform/ffmpeg/read/DecoderPlanes.h>

namespace ondrix::ffmpeg {

namespace {

/// Planes are turned in blocks with sides of so many elements, so that the rows of a block stay in the nearest cache.
constexpr std::int64_t blockSide = 32;

/// Where the target's first element is in the source, and how many bytes further those for its right and lower
/// neighbours are.
struct Walk {
    const std::uint8_t* first;
    std::int64_t right, down;
};

Walk walkOf(const StoredPlane& source, PictureOrientation orientation, std::int64_t bytesPerElement) {
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

/// The pixel buffers that hold a format's numbers in video and in full range. Where both are the same, its attachment
/// tells the range.
struct KnownFormat {
    AVPixelFormat format;
    OSType video, full;
};
constexpr KnownFormat knownFormats[] = {
    {AV_PIX_FMT_YUV420P, kCVPixelFormatType_420YpCbCr8Planar, kCVPixelFormatType_420YpCbCr8PlanarFullRange},
    {AV_PIX_FMT_YUV422P, kCVPixelFormatType_422YpCbCr8Planar, kCVPixelFormatType_422YpCbCr8Planar},
    {AV_PIX_FMT_YUV444P, kCVPixelFormatType_444YpCbCr8Planar, kCVPixelFormatType_444YpCbCr8Planar},
    {AV_PIX_FMT_NV12, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange},
    {AV_PIX_FMT_NV21, kCVPixelFormatType_420YpCrCb8BiPlanarVideoRange, kCVPixelFormatType_420YpCrCb8BiPlanarFullRange},
    {AV_PIX_FMT_NV16, kCVPixelFormatType_422YpCbCr8BiPlanarVideoRange, kCVPixelFormatType_422YpCbCr8BiPlanarFullRange},
    {AV_PIX_FMT_NV24, kCVPixelFormatType_444YpCbCr8BiPlanarVideoRange, kCVPixelFormatType_444YpCbCr8BiPlanarFullRange},
    {AV_PIX_FMT_YUV420P10, kCVPixelFormatType_420YpCbCr10Planar, kCVPixelFormatType_420YpCbCr10Planar},
    {AV_PIX_FMT_YUV422P10, kCVPixelFormatType_422YpCbCr10Planar, kCVPixelFormatType_422YpCbCr10Planar},
    {AV_PIX_FMT_YUV444P10, kCVPixelFormatType_444YpCbCr10Planar, kCVPixelFormatType_444YpCbCr10Planar},
    {AV_PIX_FMT_P010, kCVPixelFormatType_420YpCbCr10BiPlanarVideoRange,
     kCVPixelFormatType_420YpCbCr10BiPlanarFullRange},
    {AV_PIX_FMT_GRAY8, kCVPixelFormatType_OneComponent8, kCVPixelFormatType_OneComponent8},
    {AV_PIX_FMT_BGRA, kCVPixelFormatType_32BGRA, kCVPixelFormatType_32BGRA},
    {AV_PIX_FMT_RGBA, kCVPixelFormatType_32RGBA, kCVPixelFormatType_32RGBA},
};

const KnownFormat* find(AVPixelFormat format) {
    const auto* const found = std::find_if(std::begin(knownFormats), std::end(knownFormats),
                                           [=](const KnownFormat& known) { return known.format == format; });
    return found != std::end(knownFormats) ? found : nullptr;
}

/// The planar format with as much chroma, or more, and as many bits, 10 at most.
AVPixelFormat planarFormat(const AVPixFmtDescriptor& format) {
    const bool hasManyBits = format.comp[0].depth > 8;
    if (format.log2_chroma_w == 0) return hasManyBits ? AV_PIX_FMT_YUV444P10 : AV_PIX_FMT_YUV444P;
    if (format.log2_chroma_h == 0) return hasManyBits ? AV_PIX_FMT_YUV422P10 : AV_PIX_FMT_YUV422P;
    return hasManyBits ? AV_PIX_FMT_YUV420P10 : AV_PIX_FMT_YUV420P;
}

/// The known format that is nearest; none for grey, red, green and blue, and for what has alpha, unless known itself.
AVPixelFormat nearestFormat(int stored) {
    const AVPixelFormat format = withoutRange(static_cast<AVPixelFormat>(stored));
    if (find(format) != nullptr) return format;
    const AVPixFmtDescriptor* const descriptor = av_pix_fmt_desc_get(format);
    constexpr int others = AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_ALPHA | AV_PIX_FMT_FLAG_HWACCEL |
                           AV_PIX_FMT_FLAG_FLOAT;
    const bool isYCbCr = descriptor != nullptr && descriptor->nb_components == 3 && (descriptor->flags & others) == 0;
    return isYCbCr ? planarFormat(*descriptor) : AV_PIX_FMT_NONE;
}

/// One plane of a picture, with its bytes an element.
struct PicturePlane {
    StoredPlane stored;
    std::int64_t bytesPerElement;

    [[nodiscard]] std::int64_t rowBytes() const { return stored.width * bytesPerElement; }
};

int planeCountOf(const AVFrame& frame) {
    return av_pix_fmt_count_planes(static_cast<AVPixelFormat>(frame.format));
}

/// Of a picture in a known format.
PicturePlane planeOf(const AVFrame& frame, int index) {
    const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    const bool isChroma = index > 0;
    std::int64_t bytesPerElement = 0;
    for (int i = 0; i < format.nb_components; ++i) {
        if (format.comp[i].plane == index) bytesPerElement = format.comp[i].step;
    }
    return {{frame.data[index], frame.linesize[index],
             isChroma ? AV_CEIL_RSHIFT(frame.width, format.log2_chroma_w) : frame.width,
             isChroma ? AV_CEIL_RSHIFT(frame.height, format.log2_chroma_h) : frame.height},
            bytesPerElement};
}

/// Whether the rows don't overlap and lie in the picture's memory.
bool isSound(AVFrame& frame, int index) {
    const auto [plane, bytesPerElement] = planeOf(frame, index);
    const std::int64_t rowBytes = plane.width * bytesPerElement;
    const AVBufferRef* const memory = plane.bytes != nullptr ? av_frame_get_plane_buffer(&frame, index) : nullptr;
    if (memory == nullptr || std::abs(plane.bytesPerRow) < rowBytes) return false;
    const std::int64_t first = plane.bytes - memory->data;
    const std::int64_t last = first + plane.bytesPerRow * (plane.height - 1);
    return std::min(first, last) >= 0 && std::max(first, last) + rowBytes <= static_cast<std::int64_t>(memory->size);
}

/// Whether a pixel buffer can be laid around the picture's memory.
bool canBeWrapped(const AVFrame& frame) {
    for (int index = 0; index < planeCountOf(frame); ++index) {
        const PicturePlane plane = planeOf(frame, index);
        if (plane.stored.bytesPerRow <= 0 || plane.stored.bytesPerRow % plane.bytesPerElement != 0) return false;
    }
    return true;
}

/// Null where the pixel buffer doesn't take the planes. It holds the picture.
std::shared_ptr<CVPixelBuffer> wrap(FramePointer picture, OSType format) {
    std::vector<CVPixelBufferPlane> planes(static_cast<std::size_t>(planeCountOf(*picture)));
    for (std::size_t index = 0; index < planes.size(); ++index) {
        planes[index] = {picture->data[index], picture->linesize[index]};
    }
    AVFrame* const held = picture.get();
    std::shared_ptr<CVPixelBuffer> buffer;
    const CVReturn status = CVPixelBufferCreateWithPlanarBytes(
        held->width, held->height, format, planes, [held] { Deleter()(held); }, &buffer);
    if (status == kCVReturnAllocationFailed) throw std::bad_alloc();
    if (status == kCVReturnSuccess) (void)picture.release();
    return buffer;
}

}  // namespace

void copyUpright(const StoredPlane& source, PictureOrientation orientation, std::int64_t bytesPerElement,
                 std::uint8_t* target, std::int64_t targetBytesPerRow) {
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

std::shared_ptr<CVPixelBuffer> PictureBuffers::make(std::int64_t width, std::int64_t height, OSType format) {
    if (!pool_ || width != width_ || height != height_ || format != format_) {
        const CVAttributes attributes = {{kCVPixelBufferPixelFormatTypeKey, std::int64_t{format}},
                                         {kCVPixelBufferWidthKey, width},
                                         {kCVPixelBufferHeightKey, height},
                                         {kCVPixelBufferBytesPerRowAlignmentKey, std::int64_t{64}},
                                         {kCVPixelBufferIOSurfacePropertiesKey, CVEmptyDictionary{}}};
        if (CVPixelBufferPoolCreate(nullptr, &attributes, &pool_) != kCVReturnSuccess) throw std::bad_alloc();
        width_ = width;
        height_ = height;
        format_ = format;
    }
    std::shared_ptr<CVPixelBuffer> buffer;
    if (CVPixelBufferPoolCreatePixelBuffer(*pool_, &buffer) != kCVReturnSuccess) throw std::bad_alloc();
    return buffer;
}

bool DecoderPlanes::canHold(const AVFrame& frame, const PictureColours& colours) {
    const bool isKnownMatrix = colours.matrix != AVCOL_SPC_FCC && colours.matrix != AVCOL_SPC_SMPTE240M;
    return nearestFormat(frame.format) != AV_PIX_FMT_NONE && isKnownMatrix;
}

std::shared_ptr<CVPixelBuffer> DecoderPlanes::make(const AVFrame& frame, const PictureColours& colours,
                                                   PictureOrientation orientation, std::string& reason) {
    AVPixelFormat format = nearestFormat(frame.format);
    const AVPixFmtDescriptor& descriptor = *av_pix_fmt_desc_get(format);
    // A sample of chroma belongs to two columns and perhaps two rows. A turn would make those two rows and two columns;
    // and where a side is odd, the last sample has only one, and would be the first.
    const bool sharesColumns = descriptor.log2_chroma_w > 0;
    const bool isOdd = frame.width % 2 != 0 || (frame.height % 2 != 0 && descriptor.log2_chroma_h > 0);
    if (!orientation.isUpright() && sharesColumns &&
        (isOdd || (orientation.swapsSides() && descriptor.log2_chroma_h == 0))) {
        format = descriptor.comp[0].depth > 8 ? AV_PIX_FMT_YUV444P10 : AV_PIX_FMT_YUV444P;
    }
    const KnownFormat& known = *find(format);
    const OSType type = colours.isFullRange ? known.full : known.video;
    if (withoutRange(static_cast<AVPixelFormat>(frame.format)) != format) {
        if (!orientation.isUpright()) {
            preparePicture(scratch_, format, frame.width, frame.height);
            return scaler_.scale(frame, colours, *scratch_, reason) ? copy(*scratch_, type, orientation) : nullptr;
        }
        auto buffer = buffers_.make(frame.width, frame.height, type);
        const FramePointer target = pictureIn(PixelBufferLock(*buffer), format);
        return scaler_.scale(frame, colours, *target, reason) ? buffer : nullptr;
    }
    FramePointer picture = makeFrame();
    throwIfOutOfMemory(av_frame_ref(picture.get(), &frame));
    picture->format = format;
    av_buffer_unref(&picture->opaque_ref);  // what the decoder counts is only its own
    for (int index = 0; index < planeCountOf(*picture); ++index) {
        if (isSound(*picture, index)) continue;
        reason = "the decoder's planes are too small for their picture";
        return nullptr;
    }
    if (!orientation.isUpright() || !canBeWrapped(*picture)) return copy(*picture, type, orientation);
    auto buffer = wrap(std::move(picture), type);
    if (buffer == nullptr) reason = "a pixel buffer doesn't take the decoder's planes";
    return buffer;
}

std::shared_ptr<CVPixelBuffer> DecoderPlanes::copy(const AVFrame& picture, OSType type,
                                                   PictureOrientation orientation) {
    const bool swaps = orientation.swapsSides();
    auto buffer = buffers_.make(swaps ? picture.height : picture.width, swaps ? picture.width : picture.height, type);
    const PixelBufferLock pixels(*buffer);
    for (int index = 0; index < planeCountOf(picture); ++index) {
        const auto [plane, bytesPerElement] = planeOf(picture, index);
        copyUpright(plane, orientation, bytesPerElement, pixels.bytes(index), pixels.bytesPerRow(index));
    }
    return buffer;
}

}  // namespace ondrix::ffmpeg
