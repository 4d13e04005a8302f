#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

#include <sys/mman.h>
#include <unistd.h>

namespace ondrix::test {

/// Which end of guarded memory nobody gets past.
enum class GuardedEnd { first, last };

/// Memory with a page before it and a page after it that can't be touched. Pages are larger than most memory, so only
/// its first or its last byte lies next to one.
class GuardedMemory {
public:
    GuardedMemory(std::size_t size, GuardedEnd end) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        usable_ = (size + page - 1) / page * page;
        mapped_ = usable_ + 2 * page;
        map_ = mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (map_ == MAP_FAILED) throw std::bad_alloc();
        pages_ = static_cast<std::uint8_t*>(map_) + page;
        bytes_ = end == GuardedEnd::first ? pages_ : pages_ + usable_ - size;
        if (mprotect(pages_, usable_, PROT_READ | PROT_WRITE) != 0) throw std::bad_alloc();
    }
    ~GuardedMemory() { munmap(map_, mapped_); }
    GuardedMemory(const GuardedMemory&) = delete;
    GuardedMemory& operator=(const GuardedMemory&) = delete;

    [[nodiscard]] std::uint8_t* bytes() const { return bytes_; }
    /// All that can be touched: the memory, and what fills up its pages.
    [[nodiscard]] std::uint8_t* pages() const { return pages_; }
    [[nodiscard]] std::size_t usable() const { return usable_; }

private:
    std::size_t usable_, mapped_;
    void* map_;
    std::uint8_t *pages_, *bytes_;
};

}  // namespace ondrix::test
