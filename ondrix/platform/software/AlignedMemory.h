#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace ondrix::software {

/// Bytes that start at a multiple of 64 and are all zero at first. Large blocks take physical memory when they are
/// first touched, in huge pages where the kernel has them. In pages of the usual size, each pixel of a picture's column
/// would lie on a page of its own.
class AlignedMemory {
public:
    static constexpr std::size_t alignment = 64;

    AlignedMemory() = default;
    /// Empty when there is no such amount of memory; requests above the machine's physical memory are refused.
    static AlignedMemory allocate(std::uint64_t size) noexcept;

    [[nodiscard]] std::byte* bytes() const noexcept { return bytes_; }  ///< null when empty
    [[nodiscard]] std::uint64_t size() const noexcept { return size_; }

private:
    struct Free {
        std::uint64_t mappedBytes;  ///< 0 for a block from the heap
        void operator()(void* block) const noexcept;
    };

    std::unique_ptr<void, Free> block_;
    std::byte* bytes_ = nullptr;
    std::uint64_t size_ = 0;
};

}  // namespace ondrix::software
