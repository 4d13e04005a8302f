#include <atomic>
#include <cstring>

#include <ondrix/platform/software/Commands.h>

namespace ondrix::software {

namespace {

/// The host may write constants while they are copied: whole words are never torn, and none is read twice.
void copyWords(std::byte* destination, const std::byte* source, std::uint32_t size) noexcept {
    std::uint32_t position = 0;
    if (reinterpret_cast<std::uintptr_t>(source) % alignof(std::uint32_t) == 0) {
        for (; position + 4 <= size; position += 4) {
            auto* word = reinterpret_cast<std::uint32_t*>(const_cast<std::byte*>(source + position));
            const std::uint32_t value = std::atomic_ref(*word).load(std::memory_order_relaxed);
            std::memcpy(destination + position, &value, 4);
        }
    }
    for (; position < size; ++position) {
        auto* byte = reinterpret_cast<unsigned char*>(const_cast<std::byte*>(source + position));
        destination[position] = std::byte{std::atomic_ref(*byte).load(std::memory_order_relaxed)};
    }
}

}  // namespace

void BoundFunction::copyConstants() const noexcept {
    for (int index = 0; index < copyCount; ++index) {
        copyWords(copies[index].destination, copies[index].source, copies[index].size);
    }
}

std::size_t BoundFunction::scratchBytes(std::int32_t width) const noexcept {
    return entry->scratchBytes == nullptr ? 0 : entry->scratchBytes(&bindings, width);
}

std::uint64_t nextSerial() noexcept {
    static std::atomic<std::uint64_t> last{0};
    return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace ondrix::software
