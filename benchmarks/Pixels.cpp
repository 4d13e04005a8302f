#include "Pixels.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>

#include <png.h>

#include <ondrix/conversion/MetalTextureConverter.h>
#include <ondrix/platform/corevideo/CVBuffer.h>

namespace ondrix::benchmarks {

namespace {

/// A folder for temporary files that goes with its content.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "ondrix-bench-XXXXXX").string();
        if (!mkdtemp(pattern.data())) throw std::runtime_error("can't make a folder for temporary files");
        path_ = pattern;
    }
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

void writePNG(const Frame& frame, const std::filesystem::path& file) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(frame.width());
    image.height = static_cast<png_uint_32>(frame.height());
    image.format = PNG_FORMAT_BGRA;
    image.flags = PNG_IMAGE_FLAG_FAST;
    if (!png_image_write_to_file(&image, file.c_str(), 0, frame.row(0), frame.bytesPerRow(), nullptr)) {
        throw std::runtime_error(file.string() + ": " + image.message);
    }
}

void copyRows(const Frame& from, void* to, std::int64_t bytesPerRow) {
    for (int y = 0; y < from.height(); ++y) {
        std::memcpy(static_cast<std::uint8_t*>(to) + y * bytesPerRow, from.row(y),
                    static_cast<std::size_t>(from.width() * from.bytesPerPixel()));
    }
}

}  // namespace

std::shared_ptr<Texture> makeTexture(Device& device, const Frame& frame) {
    const TemporaryFolder folder;
    const auto file = folder.path() / "input.png";
    writePNG(frame, file);
    auto texture = device.makeTexture(URL(file), false);
    if (!texture) throw std::runtime_error("no texture from a picture");
    return texture;
}

std::shared_ptr<Texture> makeTexture(Device& device, int width, int height) {
    auto texture =
        device.makeTexture(width, height, MTLPixelFormat::bgra8Unorm,
                           MTLTextureUsage::shaderRead | MTLTextureUsage::shaderWrite | MTLTextureUsage::renderTarget);
    if (!texture) throw std::runtime_error("no output texture");
    return texture;
}

namespace {

std::shared_ptr<CVPixelBuffer> makeBuffer(const Frame& luma, const Frame& chroma, OSType format) {
    std::shared_ptr<CVPixelBuffer> buffer;
    if (CVPixelBufferCreate(luma.width(), luma.height(), format, nullptr, &buffer) != kCVReturnSuccess ||
        CVPixelBufferLockBaseAddress(*buffer, 0) != kCVReturnSuccess) {
        throw std::runtime_error("no buffer for a video frame");
    }
    const Frame* const planes[] = {&luma, &chroma};
    for (std::int64_t plane = 0; plane < 2; ++plane) {
        copyRows(*planes[plane], CVPixelBufferGetBaseAddressOfPlane(*buffer, plane),
                 CVPixelBufferGetBytesPerRowOfPlane(*buffer, plane));
    }
    CVPixelBufferUnlockBaseAddress(*buffer, 0);
    return buffer;
}

}  // namespace

std::shared_ptr<CVPixelBuffer> makeNV12Buffer(const Frame& luma, const Frame& chroma) {
    return makeBuffer(luma, chroma, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange);
}

std::shared_ptr<CVPixelBuffer> makeP010Buffer(const Frame& luma, const Frame& chroma) {
    auto buffer = makeBuffer(luma, chroma, kCVPixelFormatType_420YpCbCr10BiPlanarVideoRange);
    CVBufferSetAttachment(*buffer, CVAttachment::TransferFunction, kCVImageBufferTransferFunction_SMPTE_ST_2084_PQ);
    CVBufferSetAttachment(*buffer, CVAttachment::ColorPrimaries, kCVImageBufferColorPrimaries_ITU_R_2020);
    return buffer;
}

std::shared_ptr<const Frame> readNV12(CVPixelBuffer& buffer) {
    if (CVPixelBufferLockBaseAddress(buffer, kCVPixelBufferLock_ReadOnly) != kCVReturnSuccess) {
        throw std::runtime_error("no pixels from a buffer");
    }
    const int height = static_cast<int>(CVPixelBufferGetHeight(buffer));
    auto frame = std::make_shared<Frame>(static_cast<int>(CVPixelBufferGetWidth(buffer)), height * 3 / 2, 1);
    for (int y = 0; y < frame->height(); ++y) {
        const int plane = y < height ? 0 : 1;
        const auto* bytes = static_cast<const std::uint8_t*>(CVPixelBufferGetBaseAddressOfPlane(buffer, plane));
        std::memcpy(frame->row(y), bytes + (y - plane * height) * CVPixelBufferGetBytesPerRowOfPlane(buffer, plane),
                    static_cast<std::size_t>(frame->width()));
    }
    CVPixelBufferUnlockBaseAddress(buffer, kCVPixelBufferLock_ReadOnly);
    return frame;
}

std::shared_ptr<const Frame> read(Texture& texture) {
    auto& converter = *texture.device()->textureConverter();
    const auto pool = converter.makePixelBufferPool(texture.width(), texture.height(), kCVPixelFormatType_32BGRA);
    const auto buffer = pool ? converter.makePixelBuffer(texture, *pool) : nullptr;
    if (!buffer) throw std::runtime_error("no pixels from a texture");
    return read(*buffer);
}

std::shared_ptr<const Frame> read(const MTLTexture& texture) {
    auto frame = std::make_shared<Frame>(static_cast<int>(texture.width()), static_cast<int>(texture.height()), 4);
    texture.getBytes(frame->row(0), static_cast<std::uint64_t>(frame->bytesPerRow()),
                     MTLRegionMake2D(0, 0, texture.width(), texture.height()), 0);
    return frame;
}

std::shared_ptr<const Frame> read(CVPixelBuffer& buffer) {
    if (CVPixelBufferLockBaseAddress(buffer, kCVPixelBufferLock_ReadOnly) != kCVReturnSuccess) {
        throw std::runtime_error("no pixels from a buffer");
    }
    auto frame = std::make_shared<Frame>(static_cast<int>(CVPixelBufferGetWidth(buffer)),
                                         static_cast<int>(CVPixelBufferGetHeight(buffer)), 4);
    const auto* bytes = static_cast<const std::uint8_t*>(CVPixelBufferGetBaseAddress(buffer));
    for (int y = 0; y < frame->height(); ++y) {
        std::memcpy(frame->row(y), bytes + y * CVPixelBufferGetBytesPerRow(buffer),
                    static_cast<std::size_t>(frame->width() * 4));
    }
    CVPixelBufferUnlockBaseAddress(buffer, kCVPixelBufferLock_ReadOnly);
    return frame;
}

}  // namespace ondrix::benchmarks
