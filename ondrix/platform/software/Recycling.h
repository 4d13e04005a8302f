#pragma once

#include <cstddef>
#include <memory>
#include <memory_resource>

namespace ondrix::software {

/// Memory that is kept for the next object when one goes: what is made and dropped for every frame asks the heap only
/// while more of it exists than ever before. Safe to use from any thread.
using RecyclingMemory = std::shared_ptr<std::pmr::memory_resource>;

inline RecyclingMemory makeRecyclingMemory() {
    constexpr std::pmr::pool_options largestBlock{0, 64 * 1024};
    return std::make_shared<std::pmr::synchronized_pool_resource>(largestBlock);
}

/// For `std::allocate_shared`: takes an object and its reference count from such memory, which lives at least as long.
template <typename T>
class RecyclingAllocator {
public:
    using value_type = T;

    explicit RecyclingAllocator(RecyclingMemory memory) noexcept : memory_(std::move(memory)) {}
    template <typename Other>
    RecyclingAllocator(const RecyclingAllocator<Other>& other) noexcept : memory_(other.memory()) {}

    [[nodiscard]] T* allocate(std::size_t count) {
        return static_cast<T*>(memory_->allocate(count * sizeof(T), alignof(T)));
    }
    void deallocate(T* objects, std::size_t count) noexcept {
        memory_->deallocate(objects, count * sizeof(T), alignof(T));
    }
    [[nodiscard]] const RecyclingMemory& memory() const noexcept { return memory_; }

    template <typename Other>
    bool operator==(const RecyclingAllocator<Other>& other) const noexcept {
        return memory_ == other.memory();
    }

private:
    RecyclingMemory memory_;
};

}  // namespace ondrix::software
