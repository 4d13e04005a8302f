#include <algorithm>
#include <bit>
#include <new>

#include <ondrix/platform/software/RecyclingMemory.h>

namespace ondrix::software {

namespace {

/// The smallest block; all blocks that are kept begin at a multiple of it.
constexpr std::size_t unit = 64;
constexpr std::align_val_t unitAlignment{unit};

/// The index of the smallest size, `unit` times a power of two, that holds so many bytes.
std::size_t sizeIndex(std::size_t bytes) {
    return static_cast<std::size_t>(std::bit_width((std::max(bytes, unit) - 1) / unit));
}

}  // namespace

RecyclingMemory::~RecyclingMemory() {
    for (FreeBlock* block : free_) {
        while (block != nullptr) {
            FreeBlock* const next = block->next;
            ::operator delete(block, unitAlignment);
            block = next;
        }
    }
}

void* RecyclingMemory::do_allocate(std::size_t bytes, std::size_t alignment) {
    const std::size_t index = sizeIndex(bytes);
    if (index >= sizes || alignment > unit) return ::operator new (bytes, std::align_val_t{alignment});
    {
        const std::scoped_lock lock(mutex_);
        if (FreeBlock* const block = free_[index]) {
            free_[index] = block->next;
            return block;
        }
    }
    return ::operator new(unit << index, unitAlignment);
}

void RecyclingMemory::do_deallocate(void* block, std::size_t bytes, std::size_t alignment) {
    const std::size_t index = sizeIndex(bytes);
    if (index >= sizes || alignment > unit) {
        ::operator delete (block, std::align_val_t{alignment});
        return;
    }
    const std::scoped_lock lock(mutex_);
    free_[index] = new (block) FreeBlock{free_[index]};
}

}  // namespace ondrix::software
