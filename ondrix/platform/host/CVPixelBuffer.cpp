#include <array>
#include <atomic>
#include <bit>
#include <cassert>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <ondrix/platform/corevideo/CVBuffer.h>
#include <ondrix/platform/corevideo/CVPixelBuffer.h>
#include <ondrix/platform/os/OutOfMemory.h>

namespace ondrix {

namespace {

constexpr std::int64_t maximumSide = 16384;
constexpr std::int64_t defaultRowAlignment = 64;
constexpr std::int64_t maximumRowAlignment = 4096;
/// Rows that lie a multiple of this apart compete for the same cache lines.
constexpr std::uint64_t cacheSetPeriod = 4096;
/// The longest row of an application's memory: so many bytes, times the largest height, still have 32-bit numbers when
/// counted in words of four bytes, as devices do.
constexpr std::uint64_t maximumBytesPerRow = 1 << 19;
/// Of the planes' first bytes, and what can be read past the end of each plane.
constexpr std::uint64_t planeAlignment = 64;

/// One plane of a pixel format.
struct PlaneFormat {
    std::uint8_t bytesPerElement;
    std::uint8_t columns, rows;  ///< of pixels that share an element: 1 or 2
};

struct BufferFormat {
    OSType pixelFormat;
    std::uint8_t planeCount;
    PlaneFormat planes[3];
};

constexpr BufferFormat bufferFormats[] = {
    {kCVPixelFormatType_32BGRA, 1, {{4, 1, 1}}},
    {kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange, 2, {{1, 1, 1}, {2, 2, 2}}},
    {kCVPixelFormatType_420YpCbCr8BiPlanarFullRange, 2, {{1, 1, 1}, {2, 2, 2}}},
    {kCVPixelFormatType_32RGBA, 1, {{4, 1, 1}}},
    {kCVPixelFormatType_OneComponent8, 1, {{1, 1, 1}}},
    {kCVPixelFormatType_64RGBAHalf, 1, {{8, 1, 1}}},
    {kCVPixelFormatType_128RGBAFloat, 1, {{16, 1, 1}}},
    {kCVPixelFormatType_420YpCbCr8Planar, 3, {{1, 1, 1}, {1, 2, 2}, {1, 2, 2}}},
    {kCVPixelFormatType_420YpCbCr8PlanarFullRange, 3, {{1, 1, 1}, {1, 2, 2}, {1, 2, 2}}},
    {kCVPixelFormatType_422YpCbCr8Planar, 3, {{1, 1, 1}, {1, 2, 1}, {1, 2, 1}}},
    {kCVPixelFormatType_444YpCbCr8Planar, 3, {{1, 1, 1}, {1, 1, 1}, {1, 1, 1}}},
    {kCVPixelFormatType_420YpCrCb8BiPlanarVideoRange, 2, {{1, 1, 1}, {2, 2, 2}}},
    {kCVPixelFormatType_420YpCrCb8BiPlanarFullRange, 2, {{1, 1, 1}, {2, 2, 2}}},
    {kCVPixelFormatType_422YpCbCr8BiPlanarVideoRange, 2, {{1, 1, 1}, {2, 2, 1}}},
    {kCVPixelFormatType_422YpCbCr8BiPlanarFullRange, 2, {{1, 1, 1}, {2, 2, 1}}},
    {kCVPixelFormatType_444YpCbCr8BiPlanarVideoRange, 2, {{1, 1, 1}, {2, 1, 1}}},
    {kCVPixelFormatType_444YpCbCr8BiPlanarFullRange, 2, {{1, 1, 1}, {2, 1, 1}}},
    {kCVPixelFormatType_420YpCbCr10BiPlanarVideoRange, 2, {{2, 1, 1}, {4, 2, 2}}},
    {kCVPixelFormatType_420YpCbCr10BiPlanarFullRange, 2, {{2, 1, 1}, {4, 2, 2}}},
    {kCVPixelFormatType_420YpCbCr10Planar, 3, {{2, 1, 1}, {2, 2, 2}, {2, 2, 2}}},
    {kCVPixelFormatType_422YpCbCr10Planar, 3, {{2, 1, 1}, {2, 2, 1}, {2, 2, 1}}},
    {kCVPixelFormatType_444YpCbCr10Planar, 3, {{2, 1, 1}, {2, 1, 1}, {2, 1, 1}}},
};

/// Empty for an unknown format.
std::span<const PlaneFormat> planesOfFormat(OSType pixelFormat) {
    for (const BufferFormat& format : bufferFormats) {
        if (format.pixelFormat == pixelFormat) return {format.planes, format.planeCount};
    }
    return {};
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

struct Plane {
    std::uint64_t width, height, bytesPerElement, bytesPerRow;
    std::uint8_t* bytes;
};

/// The planes of a format, without their memory. Throws std::bad_alloc.
std::vector<Plane> planesOfSize(std::uint64_t width, std::uint64_t height, OSType pixelFormat) {
    std::vector<Plane> planes;
    for (const PlaneFormat& format : planesOfFormat(pixelFormat)) {
        planes.push_back({(width + format.columns - 1) / format.columns, (height + format.rows - 1) / format.rows,
                          format.bytesPerElement, 0, nullptr});
    }
    return planes;
}

/// The planes of one pixel buffer, in whatever memory they lie.
class Planes final : public IOSurface {
public:
    explicit Planes(std::vector<Plane> planes) : planes_(std::move(planes)) {}

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
        return planes_.at(plane).bytes;
    }

private:
    std::vector<Plane> planes_;
};

struct AlignedDelete {
    void operator()(std::uint8_t* bytes) const noexcept { ::operator delete (bytes, std::align_val_t{planeAlignment}); }
};
using AlignedBytes = std::unique_ptr<std::uint8_t, AlignedDelete>;

/// Memory for the planes, one after the other, and their places in it. Throws std::bad_alloc.
AlignedBytes allocate(std::vector<Plane>& planes, std::optional<std::int64_t> alignment) {
    std::uint64_t size = 0;
    const auto sizeOf = [](const Plane& plane) {
        return roundUp(plane.bytesPerRow * plane.height, planeAlignment) + planeAlignment;
    };
    for (Plane& plane : planes) {
        plane.bytesPerRow = rowStride(plane.width * plane.bytesPerElement, alignment);
        size += sizeOf(plane);
    }
    AlignedBytes memory(static_cast<std::uint8_t*>(::operator new (size, std::align_val_t{planeAlignment})));
    std::uint8_t* next = memory.get();
    for (Plane& plane : planes) {
        plane.bytes = next;
        next += sizeOf(plane);
    }
    return memory;
}

/// False when `memory` can't hold the rows of `plane`.
bool place(Plane& plane, const CVPixelBufferPlane& memory) {
    const std::uint64_t bytesPerRow = memory.bytesPerRow;
    if (memory.bytes == nullptr || memory.bytesPerRow < 1 || bytesPerRow < plane.width * plane.bytesPerElement ||
        bytesPerRow > maximumBytesPerRow || bytesPerRow % plane.bytesPerElement != 0) {
        return false;
    }
    plane.bytesPerRow = bytesPerRow;
    plane.bytes = static_cast<std::uint8_t*>(memory.bytes);
    return true;
}

}  // namespace

namespace {
constexpr std::size_t attachmentCount = static_cast<std::size_t>(CVAttachment::PeakLuminance) + 1;
}

class CVPixelBuffer {
public:
    CVPixelBuffer(OSType pixelFormat, std::vector<Plane> planes)
        : pixelFormat_(pixelFormat), memory_(std::move(planes)) {}
    ~CVPixelBuffer() {
        if (release_) release_();
    }
    CVPixelBuffer(const CVPixelBuffer&) = delete;
    CVPixelBuffer& operator=(const CVPixelBuffer&) = delete;

    /// Called at the end, with the memory no longer needed.
    void setRelease(CVPixelBufferReleaseCallback release) noexcept { release_ = std::move(release); }

    [[nodiscard]] OSType pixelFormat() const { return pixelFormat_; }
    [[nodiscard]] const Planes& memory() const { return memory_; }
    [[nodiscard]] Planes& memory() { return memory_; }
    [[nodiscard]] bool hasPlane(std::int64_t plane) const {
        return plane >= 0 && static_cast<std::uint64_t>(plane) < memory_.planeCount();
    }
    [[nodiscard]] std::string& attachment(CVAttachment attachment) {
        return attachments_[static_cast<std::size_t>(attachment)];
    }
    [[nodiscard]] const std::string& attachment(CVAttachment attachment) const {
        return attachments_[static_cast<std::size_t>(attachment)];
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
    Planes memory_;
    CVPixelBufferReleaseCallback release_;
    std::atomic<std::int64_t> lockCount_ = 0;
    std::array<std::string, attachmentCount> attachments_;  ///< keep their memory when they are emptied
};

namespace {

/// A pixel buffer around the application's memory. `release` is called only for one that was made.
CVReturn wrap(std::int64_t width, std::int64_t height, OSType pixelFormat, std::span<const CVPixelBufferPlane> memory,
              CVPixelBufferReleaseCallback release, std::shared_ptr<CVPixelBuffer>* buffer) {
    assert(buffer != nullptr);
    buffer->reset();
    if (!isSide(width) || !isSide(height)) return kCVReturnInvalidSize;
    if (!isPixelFormat(pixelFormat) || planesOfFormat(pixelFormat).size() != memory.size()) {
        return kCVReturnInvalidPixelFormat;
    }
    return os::orStatus(kCVReturnAllocationFailed, [&] {
        std::vector<Plane> planes = planesOfSize(width, height, pixelFormat);
        for (std::size_t index = 0; index < planes.size(); ++index) {
            if (!place(planes[index], memory[index])) return kCVReturnInvalidArgument;
        }
        *buffer = std::make_shared<CVPixelBuffer>(pixelFormat, std::move(planes));
        (*buffer)->setRelease(std::move(release));
        return kCVReturnSuccess;
    });
}

}  // namespace

CVReturn CVPixelBufferCreate(std::int64_t width, std::int64_t height, OSType pixelFormat,
                             const CVAttributes* attributes, std::shared_ptr<CVPixelBuffer>* buffer) {
    assert(buffer != nullptr);
    buffer->reset();
    if (!isSide(width) || !isSide(height)) return kCVReturnInvalidSize;
    if (!isPixelFormat(pixelFormat)) return kCVReturnInvalidPixelFormat;
    return os::orStatus(kCVReturnAllocationFailed, [&] {
        if (attributes != nullptr && !areValid(*attributes)) return kCVReturnInvalidPixelBufferAttributes;
        std::vector<Plane> planes = planesOfSize(width, height, pixelFormat);
        AlignedBytes memory = allocate(planes, rowAlignment(attributes));
        CVPixelBufferReleaseCallback release = [bytes = memory.get()] { AlignedDelete()(bytes); };
        auto made = std::make_shared<CVPixelBuffer>(pixelFormat, std::move(planes));
        made->setRelease(std::move(release));
        (void)memory.release();
        *buffer = std::move(made);
        return kCVReturnSuccess;
    });
}

CVReturn CVPixelBufferCreateWithBytes(std::int64_t width, std::int64_t height, OSType pixelFormat, void* bytes,
                                      std::int64_t bytesPerRow, CVPixelBufferReleaseCallback release,
                                      std::shared_ptr<CVPixelBuffer>* buffer) {
    const CVPixelBufferPlane plane{bytes, bytesPerRow};
    return wrap(width, height, pixelFormat, {&plane, 1}, std::move(release), buffer);
}

CVReturn CVPixelBufferCreateWithPlanarBytes(std::int64_t width, std::int64_t height, OSType pixelFormat,
                                            const std::vector<CVPixelBufferPlane>& planes,
                                            CVPixelBufferReleaseCallback release,
                                            std::shared_ptr<CVPixelBuffer>* buffer) {
    return wrap(width, height, pixelFormat, planes, std::move(release), buffer);
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

CVReturn CVBufferSetAttachment(CVPixelBuffer& buffer, CVAttachment attachment, std::string_view value) {
    return os::orStatus(kCVReturnAllocationFailed, [&] {
        buffer.attachment(attachment) = value;
        return kCVReturnSuccess;
    });
}

std::string_view CVBufferGetAttachment(const CVPixelBuffer& buffer, CVAttachment attachment) {
    return buffer.attachment(attachment);
}

CVReturn CVBufferPropagateAttachments(const CVPixelBuffer& from, CVPixelBuffer& to) {
    for (std::size_t i = 0; i < attachmentCount; ++i) {
        const auto attachment = static_cast<CVAttachment>(i);
        const CVReturn status = CVBufferSetAttachment(to, attachment, from.attachment(attachment));
        if (status != kCVReturnSuccess) return status;
    }
    return kCVReturnSuccess;
}

void CVBufferRemoveAllAttachments(CVPixelBuffer& buffer) {
    for (std::size_t i = 0; i < attachmentCount; ++i) buffer.attachment(static_cast<CVAttachment>(i)).clear();
}

std::shared_ptr<IOSurface> CVPixelBufferGetIOSurface(const std::shared_ptr<CVPixelBuffer>& buffer) {
    assert(buffer != nullptr);
    return {buffer, &buffer->memory()};
}

}  // namespace ondrix
