#include <atomic>
#include <bit>
#include <cassert>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include <ondrix/platform/corevideo/CVPixelBuffer.h>

namespace ondrix {

namespace {

constexpr std::int64_t maximumSide = 16384;
constexpr std::int64_t defaultRowAlignment = 64;
constexpr std::int64_t maximumRowAlignment = 4096;
/// Rows that lie a multiple of this apart compete for the same cache lines.
constexpr std::uint64_t cacheSetPeriod = 4096;
/// Of the planes' first bytes, and what can be read past the end of each plane.
constexpr std::uint64_t planeAlignment = 64;

/// One plane of a pixel format.
struct PlaneFormat {
    std::uint64_t bytesPerElement;
    bool halfSides;
};

constexpr PlaneFormat interleavedPlanes[] = {{4, false}};
constexpr PlaneFormat lumaAndChromaPlanes[] = {{1, false}, {2, true}};

/// Empty for an unknown format.
std::span<const PlaneFormat> planesOfFormat(OSType pixelFormat) {
    switch (pixelFormat) {
        case kCVPixelFormatType_32BGRA:
            return interleavedPlanes;
        case kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange:
        case kCVPixelFormatType_420YpCbCr8BiPlanarFullRange:
            return lumaAndChromaPlanes;
        default:
            return {};
    }
}

bool isSide(std::int64_t value) {
    return value >= 1 && value <= maximumSide;
}

bool isRowAlignment(std::int64_t value) {
    return value >= 1 && value <= maximumRowAlignment && std::has_single_bit(static_cast<std::uint64_t>(value));
}

bool isPixelFormat(std::int64_t value) {
    return value >= 0 && value <= 0xFFFFFFFF && !planesOfFormat(static_cast<OSType>(value)).empty();
}

bool isValid(const std::string& key, const std::variant<std::int64_t, CVEmptyDictionary>& value) {
    const auto* number = std::get_if<std::int64_t>(&value);
    if (key == kCVPixelBufferIOSurfacePropertiesKey) return number == nullptr;
    if (key == kCVPixelBufferPixelFormatTypeKey) return number != nullptr && isPixelFormat(*number);
    if (key == kCVPixelBufferWidthKey || key == kCVPixelBufferHeightKey) return number != nullptr && isSide(*number);
    if (key == kCVPixelBufferBytesPerRowAlignmentKey) return number != nullptr && isRowAlignment(*number);
    return true;
}

/// Every known key that is there has a value of its kind and in its range.
bool areValid(const CVAttributes& attributes) {
    for (const auto& [key, value] : attributes) {
        if (!isValid(key, value)) return false;
    }
    return true;
}

std::optional<std::int64_t> rowAlignment(const CVAttributes* attributes) {
    if (attributes == nullptr) return std::nullopt;
    const auto entry = attributes->find(kCVPixelBufferBytesPerRowAlignmentKey);
    if (entry == attributes->end()) return std::nullopt;
    return std::get<std::int64_t>(entry->second);
}

std::uint64_t roundUp(std::uint64_t value, std::uint64_t powerOfTwo) {
    return (value + powerOfTwo - 1) & ~(powerOfTwo - 1);
}

std::uint64_t rowStride(std::uint64_t rowBytes, std::optional<std::int64_t> alignment) {
    const std::uint64_t stride = roundUp(rowBytes, alignment.value_or(defaultRowAlignment));
    return (!alignment && stride % cacheSetPeriod == 0) ? stride + defaultRowAlignment : stride;
}

/// The planes of one pixel buffer, one after the other in one allocation.
class PlaneMemory final : public IOSurface {
public:
    /// Throws std::bad_alloc.
    PlaneMemory(std::uint64_t width, std::uint64_t height, std::span<const PlaneFormat> formats,
                std::optional<std::int64_t> alignment) {
        std::uint64_t size = 0;
        for (const PlaneFormat& format : formats) {
            Plane plane{};
            plane.width = format.halfSides ? (width + 1) / 2 : width;
            plane.height = format.halfSides ? (height + 1) / 2 : height;
            plane.bytesPerElement = format.bytesPerElement;
            plane.bytesPerRow = rowStride(plane.width * plane.bytesPerElement, alignment);
            plane.offset = size;
            size += roundUp(plane.bytesPerRow * plane.height, planeAlignment) + planeAlignment;
            planes_.push_back(plane);
        }
        bytes_ = static_cast<std::uint8_t*>(::operator new (size, std::align_val_t{planeAlignment}));
    }
    ~PlaneMemory() override { ::operator delete (bytes_, std::align_val_t{planeAlignment}); }
    PlaneMemory(const PlaneMemory&) = delete;
    PlaneMemory& operator=(const PlaneMemory&) = delete;

    [[nodiscard]] std::uint64_t planeCount() const override { return planes_.size(); }
    [[nodiscard]] std::uint64_t widthOfPlane(std::uint64_t plane) const override { return planes_.at(plane).width; }
    [[nodiscard]] std::uint64_t heightOfPlane(std::uint64_t plane) const override { return planes_.at(plane).height; }
    [[nodiscard]] std::uint64_t bytesPerElementOfPlane(std::uint64_t plane) const override {
        return planes_.at(plane).bytesPerElement;
    }
    [[nodiscard]] std::uint64_t bytesPerRowOfPlane(std::uint64_t plane) const override {
        return planes_.at(plane).bytesPerRow;
    }
    [[nodiscard]] std::uint8_t* baseAddressOfPlane(std::uint64_t plane) const override {
        return bytes_ + planes_.at(plane).offset;
    }

private:
    struct Plane {
        std::uint64_t width, height, bytesPerElement, bytesPerRow, offset;
    };

    std::vector<Plane> planes_;
    std::uint8_t* bytes_ = nullptr;
};

}  // namespace

class CVPixelBuffer {
public:
    CVPixelBuffer(std::int64_t width, std::int64_t height, OSType pixelFormat, std::optional<std::int64_t> alignment)
        : pixelFormat_(pixelFormat), memory_(width, height, planesOfFormat(pixelFormat), alignment) {}

    [[nodiscard]] OSType pixelFormat() const { return pixelFormat_; }
    [[nodiscard]] const PlaneMemory& memory() const { return memory_; }
    [[nodiscard]] PlaneMemory& memory() { return memory_; }
    [[nodiscard]] bool hasPlane(std::int64_t plane) const {
        return plane >= 0 && static_cast<std::uint64_t>(plane) < memory_.planeCount();
    }
    [[nodiscard]] std::int64_t lockCount() const { return lockCount_.load(); }
    void lock() { ++lockCount_; }
    /// False when it isn't locked.
    bool unlock() {
        std::int64_t count = lockCount_.load();
        while (count > 0) {
            if (lockCount_.compare_exchange_weak(count, count - 1)) return true;
        }
        return false;
    }

private:
    OSType pixelFormat_;
    PlaneMemory memory_;
    std::atomic<std::int64_t> lockCount_ = 0;
};

CVReturn CVPixelBufferCreate(std::int64_t width, std::int64_t height, OSType pixelFormat,
                             const CVAttributes* attributes, std::shared_ptr<CVPixelBuffer>* buffer) {
    assert(buffer != nullptr);
    buffer->reset();
    if (!isSide(width) || !isSide(height)) return kCVReturnInvalidSize;
    if (!isPixelFormat(pixelFormat)) return kCVReturnInvalidPixelFormat;
    if (attributes != nullptr && !areValid(*attributes)) return kCVReturnInvalidPixelBufferAttributes;
    try {
        *buffer = std::make_shared<CVPixelBuffer>(width, height, pixelFormat, rowAlignment(attributes));
    } catch (const std::bad_alloc&) {
        return kCVReturnAllocationFailed;
    }
    return kCVReturnSuccess;
}

std::int64_t CVPixelBufferGetWidth(const CVPixelBuffer& buffer) {
    return buffer.memory().widthOfPlane(0);
}

std::int64_t CVPixelBufferGetHeight(const CVPixelBuffer& buffer) {
    return buffer.memory().heightOfPlane(0);
}

OSType CVPixelBufferGetPixelFormatType(const CVPixelBuffer& buffer) {
    return buffer.pixelFormat();
}

bool CVPixelBufferIsPlanar(const CVPixelBuffer& buffer) {
    return buffer.memory().planeCount() > 1;
}

std::int64_t CVPixelBufferGetPlaneCount(const CVPixelBuffer& buffer) {
    return CVPixelBufferIsPlanar(buffer) ? buffer.memory().planeCount() : 0;
}

std::int64_t CVPixelBufferGetWidthOfPlane(const CVPixelBuffer& buffer, std::int64_t plane) {
    return buffer.hasPlane(plane) ? buffer.memory().widthOfPlane(plane) : 0;
}

std::int64_t CVPixelBufferGetHeightOfPlane(const CVPixelBuffer& buffer, std::int64_t plane) {
    return buffer.hasPlane(plane) ? buffer.memory().heightOfPlane(plane) : 0;
}

std::int64_t CVPixelBufferGetBytesPerRow(const CVPixelBuffer& buffer) {
    return CVPixelBufferGetBytesPerRowOfPlane(buffer, 0);
}

std::int64_t CVPixelBufferGetBytesPerRowOfPlane(const CVPixelBuffer& buffer, std::int64_t plane) {
    return buffer.hasPlane(plane) ? buffer.memory().bytesPerRowOfPlane(plane) : 0;
}

CVReturn CVPixelBufferLockBaseAddress(CVPixelBuffer& buffer, CVPixelBufferLockFlags flags) {
    if ((flags & ~kCVPixelBufferLock_ReadOnly) != 0) return kCVReturnInvalidArgument;
    buffer.lock();
    return kCVReturnSuccess;
}

CVReturn CVPixelBufferUnlockBaseAddress(CVPixelBuffer& buffer, CVPixelBufferLockFlags flags) {
    if ((flags & ~kCVPixelBufferLock_ReadOnly) != 0) return kCVReturnInvalidArgument;
    return buffer.unlock() ? kCVReturnSuccess : kCVReturnError;
}

std::int64_t CVPixelBufferGetLockCount(const CVPixelBuffer& buffer) {
    return buffer.lockCount();
}

void* CVPixelBufferGetBaseAddress(const CVPixelBuffer& buffer) {
    return CVPixelBufferGetBaseAddressOfPlane(buffer, 0);
}

void* CVPixelBufferGetBaseAddressOfPlane(const CVPixelBuffer& buffer, std::int64_t plane) {
    if (buffer.lockCount() == 0 || !buffer.hasPlane(plane)) return nullptr;
    return buffer.memory().baseAddressOfPlane(plane);
}

std::shared_ptr<IOSurface> CVPixelBufferGetIOSurface(const std::shared_ptr<CVPixelBuffer>& buffer) {
    assert(buffer != nullptr);
    return {buffer, &buffer->memory()};
}

}  // namespace ondrix
