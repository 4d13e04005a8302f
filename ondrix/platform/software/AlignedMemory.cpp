#include <cerrno>
#include <cstdlib>

#include <sys/mman.h>
#include <unistd.h>

#include <ondrix/platform/software/AlignedMemory.h>

namespace ondrix::software {

namespace {

/// Bytes of the largest page that the processor translates addresses by; usual pages have 4096.
constexpr std::uint64_t hugePage = std::uint64_t{2} << 20;

std::uint64_t physicalMemory() {
    static const std::uint64_t bytes = [] {
        const long pages = sysconf(_SC_PHYS_PAGES);
        const long pageSize = sysconf(_SC_PAGESIZE);
        if (pages <= 0 || pageSize <= 0) return std::uint64_t{1} << 32;
        return static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
    }();
    return bytes;
}

/// Returns how many bytes lie between `address` and the next multiple of `alignment`.
std::uint64_t gap(const void* address, std::uint64_t alignment) {
    return (alignment - reinterpret_cast<std::uintptr_t>(address) % alignment) % alignment;
}

/// Maps `size` bytes that start at a multiple of a huge page; null without memory.
std::byte* mapHugePages(std::uint64_t size) {
    void* const map =
        mmap(nullptr, size + hugePage, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (map == MAP_FAILED) return nullptr;
    auto* const bytes = static_cast<std::byte*>(map) + gap(map, hugePage);
    const auto before = static_cast<std::size_t>(bytes - static_cast<std::byte*>(map));
    if (before > 0) munmap(map, before);
    if (before < hugePage) munmap(bytes + size, hugePage - before);
    madvise(bytes, size, MADV_HUGEPAGE);  // without huge pages the kernel uses small ones
    return bytes;
}

}  // namespace

AlignedMemory AlignedMemory::allocate(std::uint64_t size) noexcept {
    AlignedMemory memory;
    if (size == 0 || size > physicalMemory()) {
        errno = ENOMEM;
        return memory;
    }
    if (size >= hugePage) {
        static const auto pageSize = static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
        const std::uint64_t mapped = (size + pageSize - 1) / pageSize * pageSize;
        memory.bytes_ = mapHugePages(mapped);
        memory.block_ = {memory.bytes_, {mapped}};
    } else {
        memory.block_ = {std::calloc(size + alignment - 1, 1), {0}};
        if (memory.block_) {
            memory.bytes_ = static_cast<std::byte*>(memory.block_.get()) + gap(memory.block_.get(), alignment);
        }
    }
    if (memory.block_) memory.size_ = size;
    return memory;
}

void AlignedMemory::Free::operator()(void* block) const noexcept {
    if (mappedBytes > 0) {
        munmap(block, mappedBytes);
    } else {
        std::free(block);
    }
}

}  // namespace ondrix::software
