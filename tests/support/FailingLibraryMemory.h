#pragma once

// In place of FailingMemory.h where C libraries that ask for memory themselves are to lack it, too.
#define ONDRIX_FAILING_LIBRARY_MEMORY
#include <algorithm>
#include <span>
#include <string_view>
#include <utility>

#include <tests/support/FailingMemory.h>

namespace ondrix::test {

/// Whether one of the functions, which libraries export, is on this thread's stack, or one of libavcodec that the
/// framework called and that jumped to another, or the thread is a library's own. Asks for no memory after its first
/// call.
inline bool isInsideLibrary(std::span<const std::string_view> functions) noexcept {
    void* frames[64];
    bool isLibrarysThread = true, isCalledByFramework = false;
    for (int index = backtrace(frames, 64); index > 0; --index) {
        Dl_info place{};
        if (dladdr(static_cast<std::byte*>(frames[index - 1]) - 1, &place) == 0) continue;
        const bool isFramework = std::strstr(place.dli_fname, "libondrix") != nullptr;
        const bool isCalledNow = std::exchange(isCalledByFramework, isFramework);
        if (isFramework) isLibrarysThread = false;
        if (place.dli_sname == nullptr && isCalledNow && std::strstr(place.dli_fname, "libavcodec") != nullptr)
            return true;
        if (place.dli_sname == nullptr) continue;
        if (std::find(functions.begin(), functions.end(), place.dli_sname) != functions.end()) return true;
    }
    return isLibrarysThread;
}

template <class Allocate>
void* allocateForLibrary(const Allocate& allocate) noexcept {
    void* const block = FailingMemory::fails() ? nullptr : allocate();
    if (block != nullptr) {
        FailingMemory::add(1);
    } else {
        errno = ENOMEM;
    }
    return block;
}

}  // namespace ondrix::test

extern "C" {
void* __libc_realloc(void* block, std::size_t size);

void* malloc(std::size_t size) {
    return ondrix::test::allocateForLibrary([=] { return __libc_malloc(size); });
}
void* calloc(std::size_t count, std::size_t size) {
    return ondrix::test::allocateForLibrary([=] { return __libc_calloc(count, size); });
}
void* memalign(std::size_t alignment, std::size_t size) {
    return ondrix::test::allocateForLibrary([=] { return __libc_memalign(alignment, size); });
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return memalign(alignment, size);
}
int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
    void* const made = memalign(alignment, size);
    if (made == nullptr) return ENOMEM;
    *block = made;
    return 0;
}
void free(void* block) {
    if (block != nullptr) ondrix::test::FailingMemory::add(-1);
    __libc_free(block);
}
void* realloc(void* block, std::size_t size) {
    if (block == nullptr) return malloc(size);
    if (size == 0) {
        free(block);
        return nullptr;
    }
    if (!ondrix::test::FailingMemory::fails()) return __libc_realloc(block, size);
    errno = ENOMEM;
    return nullptr;
}
}
