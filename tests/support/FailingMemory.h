#pragma once

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

#include <tests/support/FailureSites.h>

extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);
extern "C" void* __libc_memalign(std::size_t alignment, std::size_t size);
extern "C" void __libc_free(void* block);

namespace ondrix::test {

/// While it lives, the n-th allocation of the process fails, on whatever thread, and on request all that follow; 0 only
/// counts. One at a time. Included by one source of a program: it replaces operator new and calloc, and
/// FailingLibraryMemory.h the others of the C library, too.
class FailingMemory {
public:
    FailingMemory(long n, bool allThatFollow) {
        count_ = 0;
        last_ = allThatFollow ? -1 : n;
        first_ = n;
        armed_ = true;
    }
    ~FailingMemory() { stop(); }
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;

    static void stop() { armed_ = false; }
    /// Asked before an allocation fails: true lets it succeed after all. Must need no memory.
    static void setSpared(bool (*isSpared)()) { isSpared_ = isSpared; }
    [[nodiscard]] static long count() { return count_; }
    [[nodiscard]] static long live() { return live_; }  ///< blocks from what is replaced, but for calloc alone
    static void add(long blocks) { live_ += blocks; }   ///< to `live`

    /// Whether this allocation fails.
    [[nodiscard]] static bool fails() {
        if (!armed_) return false;
        const long number = ++count_;
        if (first_ == 0 || number < first_ || (last_ >= 0 && number > last_)) return false;
        if (isSpared_ != nullptr && isSpared_()) return false;
        if (number == first_) recordFailureSite();
        return true;
    }
    [[nodiscard]] static void* allocate(std::size_t size, std::size_t alignment) {
        if (fails()) throw std::bad_alloc();
        void* const block = alignment > alignof(std::max_align_t) ? __libc_memalign(alignment, size)
                                                                  : __libc_malloc(size > 0 ? size : 1);
        if (block == nullptr) throw std::bad_alloc();
        ++live_;
        return block;
    }
    static void release(void* block) noexcept {
        if (block != nullptr) --live_;
        __libc_free(block);
    }

private:
    static inline std::atomic<bool> armed_{false};
    static inline bool (*isSpared_)() = nullptr;
    static inline std::atomic<long> count_{0}, first_{0}, last_{0}, live_{0};
};

}  // namespace ondrix::test

void* operator new(std::size_t size) {
    return ondrix::test::FailingMemory::allocate(size, 1);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return ondrix::test::FailingMemory::allocate(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* block) noexcept {
    ondrix::test::FailingMemory::release(block);
}
void operator delete(void* block, std::size_t) noexcept {
    ondrix::test::FailingMemory::release(block);
}
void operator delete(void* block, std::align_val_t) noexcept {
    ondrix::test::FailingMemory::release(block);
}
void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
    ondrix::test::FailingMemory::release(block);
}

#ifndef ONDRIX_FAILING_LIBRARY_MEMORY
extern "C" void* calloc(std::size_t count, std::size_t size) {
    if (!ondrix::test::FailingMemory::fails()) return __libc_calloc(count, size);
    errno = ENOMEM;
    return nullptr;
}
#endif
