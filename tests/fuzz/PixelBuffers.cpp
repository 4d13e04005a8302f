// Pixel buffers over foreign memory, of any size, stride and offset, through the converter and back. The memory ends at
// pages that can't be touched, and what lies between its rows must stay as it was.
#include <vector>

#include <tests/support/GuardedMemory.h>

#include <ondrix/Ondrix.h>

#include "FuzzTarget.h"

using namespace ondrix;
using namespace ondrix::test;

namespace {

constexpr std::int64_t largestPlane = 1 << 20;  // bytes

/// The application's memory of one plane, and what it is for; without memory where none of the size could be had.
struct Plane {
    std::int64_t rowBytes = 0, rows = 0, bytesPerRow = 0;
    std::shared_ptr<GuardedMemory> memory;
    std::vector<std::uint8_t> content;  ///< as it was at first

    Plane(FuzzInput& input, std::int64_t width, std::int64_t height, std::int64_t elementBytes)
        : rowBytes(width * elementBytes), rows(height) {
        bytesPerRow = rowBytes + elementBytes * input.number(0, 40);
        if (input.rarely()) bytesPerRow = input.number(-5, 1 << 20);
        if (input.rarely()) bytesPerRow = input.number(INT64_MIN, INT64_MAX);
        const bool sensible = width > 0 && height > 0 && rowBytes <= largestPlane && height <= largestPlane &&
                              bytesPerRow >= rowBytes && bytesPerRow <= largestPlane &&
                              bytesPerRow * (height - 1) + rowBytes <= largestPlane;
        if (!sensible) return;
        const auto size = static_cast<std::size_t>(bytesPerRow * (height - 1) + rowBytes);
        const auto offset = static_cast<std::size_t>(input.number(0, 3));
        memory = std::make_shared<GuardedMemory>(size + offset, input.flag() ? GuardedEnd::first : GuardedEnd::last);
        start_ = memory->bytes() + offset;
        input.fill(memory->pages(), memory->usable());
        content.assign(memory->pages(), memory->pages() + memory->usable());
    }
    /// Whether its rows may lie like this, whatever memory there is.
    [[nodiscard]] bool isAllowed(std::int64_t elementBytes) const {
        return bytesPerRow >= rowBytes && bytesPerRow <= 524288 && bytesPerRow % elementBytes == 0;
    }
    [[nodiscard]] CVPixelBufferPlane description() { return {memory ? start_ : &nowhere_, bytesPerRow}; }
    [[nodiscard]] bool isUntouched() const {
        return !memory || std::equal(content.begin(), content.end(), memory->pages());
    }

private:
    std::uint8_t* start_ = nullptr;
    std::uint8_t nowhere_ = 0;
};

std::int64_t side(FuzzInput& input) {
    return input.rarely() ? input.number(-2, 20000) : input.number(1, 150);
}

void readForeignMemory(FuzzInput& input, const std::shared_ptr<Device>& device) {
    constexpr OSType formats[] = {kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange,
                                  kCVPixelFormatType_420YpCbCr8BiPlanarFullRange, kCVPixelFormatType_32BGRA};
    const OSType format = input.rarely() ? static_cast<OSType>(input.number(0, UINT32_MAX)) : input.oneOf(formats);
    const std::int64_t width = side(input), height = side(input);
    std::vector<Plane> planes;
    if (format == kCVPixelFormatType_32BGRA) {
        planes.emplace_back(input, width, height, 4);
    } else {
        planes.emplace_back(input, width, height, 1);
        planes.emplace_back(input, (width + 1) / 2, (height + 1) / 2, 2);
    }
    std::vector<CVPixelBufferPlane> descriptions;
    for (Plane& plane : planes) descriptions.push_back(plane.description());
    if (input.rarely()) descriptions.resize(static_cast<std::size_t>(input.number(0, 3)));

    auto released = std::make_shared<int>(0);
    const auto release = [planes, released] { ++*released; };
    std::shared_ptr<CVPixelBuffer> buffer;
    const CVReturn status =
        input.flag() || descriptions.size() != 1
            ? CVPixelBufferCreateWithPlanarBytes(width, height, format, descriptions, release, &buffer)
            : CVPixelBufferCreateWithBytes(width, height, format, descriptions[0].bytes, descriptions[0].bytesPerRow,
                                           release, &buffer);
    require((status == kCVReturnSuccess) == (buffer != nullptr), "a pixel buffer, or else a status");
    const auto isSide = [](std::int64_t value) { return value >= 1 && value <= 16384; };
    bool allowed = std::ranges::count(formats, format) == 1 && isSide(width) && isSide(height) &&
                   descriptions.size() == planes.size();
    for (std::size_t i = 0; i < planes.size(); ++i)
        allowed &= planes[i].isAllowed(planes.size() == 1 ? 4 : i == 0 ? 1 : 2);
    require((buffer != nullptr) == allowed, "a pixel buffer of exactly what is allowed");
    // A length of rows may be right for memory that is larger than what there is here.
    const bool readable = std::all_of(planes.begin(), planes.end(), [](const Plane& plane) { return plane.memory; });
    require(*released == 0, "memory that is left to the application, or held as long as it is used");
    if (buffer == nullptr || !readable || descriptions.size() != planes.size()) return;

    NSError error;
    const auto texture = device->textureConverter()->texture(buffer, &error);
    require(texture != nullptr, "a texture of each pixel buffer");
    const auto pixels = readPixels(*device->makeTexture(texture), &error);
    require(pixels && pixels->width == width && pixels->height == height, "all pixels of the texture");
    if (format == kCVPixelFormatType_32BGRA) {
        for (std::int64_t row = 0; row < height; ++row) {
            const auto* theirs = static_cast<const std::uint8_t*>(descriptions[0].bytes) + row * planes[0].bytesPerRow;
            require(
                std::memcmp(pixels->bytes.data() + row * width * 4, theirs, static_cast<std::size_t>(width) * 4) == 0,
                "the bytes of the pixel buffer");
        }
    } else {
        std::shared_ptr<CVPixelBuffer> copy;
        require(CVPixelBufferCreate(width, height, format, nullptr, &copy) == kCVReturnSuccess, "a copy");
        for (std::size_t plane = 0; plane < 2; ++plane) {
            const PixelBufferLock lock(copy);
            for (std::int64_t row = 0; row < planes[plane].rows; ++row) {
                const auto* theirs = static_cast<const std::uint8_t*>(descriptions[plane].bytes);
                std::memcpy(lock.row(row, static_cast<std::int64_t>(plane)), theirs + row * planes[plane].bytesPerRow,
                            static_cast<std::size_t>(planes[plane].rowBytes));
            }
        }
        const auto converted = Device::create(device->mtlDevice())->textureConverter()->texture(copy, &error);
        require(readPixels(*device->makeTexture(converted), &error)->bytes == pixels->bytes, "the pixels of a copy");
    }
    require(std::all_of(planes.begin(), planes.end(), [](const Plane& plane) { return plane.isUntouched(); }),
            "memory that reading leaves as it is");
    require(*released == 0, "memory that is held as long as it is used");
    buffer.reset();
    require(*released <= 1, "memory that is released once");
}

void writePool(FuzzInput& input, const std::shared_ptr<Device>& device) {
    const std::int64_t width = side(input), height = side(input);
    NSError error;
    const auto pool = device->textureConverter()->makePixelBufferPool(
        width, height, input.rarely() ? static_cast<OSType>(input.number(0, UINT32_MAX)) : kCVPixelFormatType_32BGRA,
        &error);
    if (pool == nullptr) return;
    const Size2<Int> textureSize{input.number(1, 150), input.number(1, 150)};
    const auto texture = device->makeTexture(textureSize, MTLPixelFormat::bgra8Unorm, MTLTextureUsage::unknown);
    const auto rowBytes = static_cast<std::size_t>(textureSize.width()) * 4;
    std::vector<std::uint8_t> bytes(rowBytes * static_cast<std::size_t>(textureSize.height()));
    input.fill(bytes.data(), bytes.size());
    require(writePixels(*texture, bytes.data(), static_cast<Int>(rowBytes), &error), "pixels to write");
    const auto buffer = device->textureConverter()->makePixelBuffer(*texture, *pool, &error);
    require((buffer != nullptr) == (textureSize.width() <= width && textureSize.height() <= height),
            "a pixel buffer where the texture fits into it");
    if (buffer == nullptr) return;
    const PixelBufferLock lock(*buffer);
    for (Int row = 0; row < textureSize.height(); ++row) {
        require(std::memcmp(lock.row(row), bytes.data() + static_cast<std::size_t>(row) * rowBytes, rowBytes) == 0,
                "the texture's bytes");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static const auto device = DeviceManager::shared().defaultDevice();
    FuzzInput input(bytes, size);
    if (input.rarely(4)) {
        writePool(input, device);
    } else {
        readForeignMemory(input, device);
    }
    return 0;
}
