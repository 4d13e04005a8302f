#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <memory_resource>
#include <mutex>

namespace ondrix::software {

/// Memory that is kept for the next object when one goes: what is made and dropped for every frame asks the heap only
/// while more of it exists than ever before. Blocks are kept by size, a power of two each, and given back to the heap
/// when the object goes; blocks above 64 KiB are not kept at all. Safe to use from any thread.
class RecyclingMemory final : public std::pmr::memory_resource {
public:
    RecyclingMemory() = default;
    /// All blocks must have been given back.
    ~RecyclingMemory() override;
    RecyclingMemory(const RecyclingMemory&) = delete;
    RecyclingMemory& operator=(const RecyclingMemory&) = delete;

private:
    struct FreeBlock {
        FreeBlock* next;
    };
    static constexpr std::size_t sizes = 11;  ///< 64 bytes to 64 KiB

    void* do_allocate(std::size_t bytes, std::size_t alignment) override;
    void do_deallocate(void* block, std::size_t bytes, std::size_t alignment) override;
    [[nodiscard]] bool do_is_equal(const memory_resource& other) const noexcept override { return this == &other; }

    std::mutex mutex_;
    std::array<FreeBlock*, sizes> free_{};
};

/// For `std::allocate_shared`: takes an object and its reference count from such memory, which lives at least as long.
template <typename T>
class RecyclingAllocator {
public:
    using value_type = T;

    explicit RecyclingAllocator(std::shared_ptr<RecyclingMemory> memory) noexcept : memory_(std::move(memory)) {}
    template <typename Other>
    RecyclingAllocator(const RecyclingAllocator<Other>& other) noexcept : memory_(other.memory()) {}

    [[nodiscard]] T* allocate(std::size_t count) {
        return static_cast<T*>(memory_->allocate(count * sizeof(T), alignof(T)));
    }
    void deallocate(T* objects, std::size_t count) noexcept {
        memory_->deallocate(objects, count * sizeof(T), alignof(T));
    }
    [[nodiscard]] const std::shared_ptr<RecyclingMemory>& memory() const noexcept { return memory_; }

    template <typename Other>
    bool operator==(const RecyclingAllocator<Other>& other) const noexcept {
        return memory_ == other.memory();
    }

private:
    std::shared_ptr<RecyclingMemory> memory_;
};

}  // namespace ondrix::software
