#include <cstdlib>

#include <unistd.h>

#include <ondrix/platform/software/AlignedMemory.h>

namespace ondrix::software {

namespace {

std::uint64_t physicalMemory() {
    static const std::uint64_t bytes = [] {
        const long pages = sysconf(_SC_PHYS_PAGES);
        const long pageSize = sysconf(_SC_PAGESIZE);
        if (pages <= 0 || pageSize <= 0) return std::uint64_t{1} << 32;
        return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
    }();
    return bytes;
}

}  // namespace

AlignedMemory AlignedMemory::allocate(std::uint64_t size) noexcept {
    AlignedMemory memory;
    if (size == 0 || size > physicalMemory()) return memory;
    memory.block_.reset(std::calloc(size + alignment - 1, 1));
    if (!memory.block_) return memory;
    const auto address = reinterpret_cast<std::uintptr_t>(memory.block_.get());
    memory.bytes_ = static_cast<std::byte*>(memory.block_.get()) + (alignment - address % alignment) % alignment;
    memory.size_ = size;
    return memory;
}

void AlignedMemory::Free::operator()(void* block) const noexcept {
    std::free(block);
}

}  // namespace ondrix::software
