#include <cassert>
#include <mutex>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include <ondrix/platform/corevideo/CVBuffer.h>
#include <ondrix/platform/corevideo/CVPixelBufferPool.h>
#include <ondrix/platform/os/OutOfMemory.h>

namespace ondrix {

namespace {

constexpr std::int64_t maximumMinimumBufferCount = 4096;

std::optional<std::int64_t> integerAttribute(const CVAttributes& attributes, const char* key) {
    const auto entry = attributes.find(key);
    if (entry == attributes.end()) return std::nullopt;
    const auto* number = std::get_if<std::int64_t>(&entry->second);
    return number != nullptr ? std::optional(*number) : std::nullopt;
}

/// Absent when the attribute is there but not a count in range.
std::optional<std::int64_t> minimumBufferCount(const CVAttributes* attributes) {
    if (attributes == nullptr || !attributes->contains(kCVPixelBufferPoolMinimumBufferCountKey)) return 0;
    const auto count = integerAttribute(*attributes, kCVPixelBufferPoolMinimumBufferCountKey);
    return count && *count >= 0 && *count <= maximumMinimumBufferCount ? count : std::nullopt;
}

/// The buffers that wait for reuse. The pool owns it; a buffer that is out finds its way back through a weak reference.
class Shelf {
public:
    /// A waiting buffer, counted as live from now on; null when none waits. Throws std::bad_alloc.
    std::shared_ptr<CVPixelBuffer> take() {
        const std::lock_guard lock(mutex_);
        // Room for every buffer that may come back, so that putting back can't fail.
        waiting_.reserve(waiting_.size() + live_ + 1);
        ++live_;
        if (waiting_.empty()) return nullptr;
        auto buffer = std::move(waiting_.back());
        waiting_.pop_back();
        return buffer;
    }
    void add(std::shared_ptr<CVPixelBuffer> buffer) {
        const std::lock_guard lock(mutex_);
        waiting_.push_back(std::move(buffer));
    }
    /// Ends what `take` began. `buffer` is null where none could be made.
    void putBack(std::shared_ptr<CVPixelBuffer> buffer) noexcept {
        const std::lock_guard lock(mutex_);
        --live_;
        if (buffer) waiting_.push_back(std::move(buffer));
    }
    [[nodiscard]] std::int64_t liveCount() const {
        const std::lock_guard lock(mutex_);
        return live_;
    }
    [[nodiscard]] std::int64_t waitingCount() const {
        const std::lock_guard lock(mutex_);
        return waiting_.size();
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::shared_ptr<CVPixelBuffer>> waiting_;
    std::size_t live_ = 0;
};

/// Deleter of the references that the pool hands out: the last one brings the buffer back, unlocked, or frees it when
/// the pool is gone.
struct Return {
    std::shared_ptr<CVPixelBuffer> buffer;
    std::weak_ptr<Shelf> shelf;

    void operator()(CVPixelBuffer*) noexcept {
        while (CVPixelBufferGetLockCount(*buffer) > 0) {
            if (CVPixelBufferUnlockBaseAddress(*buffer, 0) != kCVReturnSuccess) break;
        }
        CVBufferRemoveAllAttachments(*buffer);
        if (const auto home = shelf.lock()) home->putBack(std::move(buffer));
        buffer.reset();
    }
};

}  // namespace

class CVPixelBufferPool {
public:
    CVPixelBufferPool(std::int64_t width, std::int64_t height, OSType pixelFormat, CVAttributes attributes)
        : width_(width), height_(height), pixelFormat_(pixelFormat), attributes_(std::move(attributes)) {}

    CVReturn makeBuffer(std::shared_ptr<CVPixelBuffer>* buffer) const {
        return CVPixelBufferCreate(width_, height_, pixelFormat_, &attributes_, buffer);
    }
    [[nodiscard]] const std::shared_ptr<Shelf>& shelf() const { return shelf_; }

private:
    std::int64_t width_;
    std::int64_t height_;
    OSType pixelFormat_;
    CVAttributes attributes_;
    std::shared_ptr<Shelf> shelf_ = std::make_shared<Shelf>();
};

CVReturn CVPixelBufferPoolCreate(const CVAttributes* poolAttributes, const CVAttributes* pixelBufferAttributes,
                                 std::shared_ptr<CVPixelBufferPool>* pool) {
    assert(pool != nullptr);
    pool->reset();
    return os::orStatus(kCVReturnAllocationFailed, [&]() -> CVReturn {
        const auto minimumCount = minimumBufferCount(poolAttributes);
        if (!minimumCount) return kCVReturnInvalidPoolAttributes;
        if (pixelBufferAttributes == nullptr) return kCVReturnInvalidPixelBufferAttributes;
        const auto width = integerAttribute(*pixelBufferAttributes, kCVPixelBufferWidthKey);
        const auto height = integerAttribute(*pixelBufferAttributes, kCVPixelBufferHeightKey);
        const auto format = integerAttribute(*pixelBufferAttributes, kCVPixelBufferPixelFormatTypeKey);
        if (!width || !height || !format || *format < 0 || *format > 0xFFFFFFFF) {
            return kCVReturnInvalidPixelBufferAttributes;
        }
        auto made =
            std::make_shared<CVPixelBufferPool>(*width, *height, static_cast<OSType>(*format), *pixelBufferAttributes);
        // The first buffer also shows whether the attributes are valid, so one is made in any case.
        std::shared_ptr<CVPixelBuffer> buffer;
        const CVReturn status = made->makeBuffer(&buffer);
        if (status == kCVReturnAllocationFailed) return status;
        if (status != kCVReturnSuccess) return kCVReturnInvalidPixelBufferAttributes;
        for (std::int64_t count = 0; count < *minimumCount; ++count) {
            if (!buffer && made->makeBuffer(&buffer) != kCVReturnSuccess) return kCVReturnAllocationFailed;
            made->shelf()->add(std::move(buffer));
        }
        *pool = std::move(made);
        return kCVReturnSuccess;
    });
}

CVReturn CVPixelBufferPoolCreatePixelBuffer(CVPixelBufferPool& pool, std::shared_ptr<CVPixelBuffer>* buffer) {
    assert(buffer != nullptr);
    buffer->reset();
    const std::shared_ptr<Shelf>& shelf = pool.shelf();
    return os::orStatus(kCVReturnAllocationFailed, [&]() -> CVReturn {
        auto taken = shelf->take();
        if (!taken) {
            const CVReturn status = pool.makeBuffer(&taken);
            if (status != kCVReturnSuccess) {
                shelf->putBack(nullptr);
                return status;
            }
        }
        CVPixelBuffer* const object = taken.get();
        // A failure to make the reference calls the deleter, too.
        *buffer = std::shared_ptr<CVPixelBuffer>(object, Return{std::move(taken), shelf});
        return kCVReturnSuccess;
    });
}

std::int64_t CVPixelBufferPoolGetLiveCount(const CVPixelBufferPool& pool) {
    return pool.shelf()->liveCount();
}

std::int64_t CVPixelBufferPoolGetFreeCount(const CVPixelBufferPool& pool) {
    return pool.shelf()->waitingCount();
}

}  // namespace ondrix
