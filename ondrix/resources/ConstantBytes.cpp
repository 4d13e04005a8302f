#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>

#include <ondrix/resources/ConstantBytes.h>

namespace ondrix {

namespace {

// One element of type T at `offset`, atomically for readers of the destination.
template <class T>
void copyElement(std::byte* destination, const std::byte* source, std::size_t offset) noexcept {
    T value;
    std::memcpy(&value, source + offset, sizeof(T));
    std::atomic_ref<T>(*reinterpret_cast<T*>(destination + offset)).store(value, std::memory_order_relaxed);
}

}  // namespace

void writeConstants(MTLBuffer& buffer, const void* bytes, Int length) noexcept {
    using Word = std::uint32_t;
    auto* const destination = static_cast<std::byte*>(buffer.contents());
    const auto* const source = static_cast<const std::byte*>(bytes);
    const auto end = static_cast<std::size_t>(length);
    const std::size_t wordsEnd = end - end % sizeof(Word);

    // The direction in which no byte of an overlapping source is overwritten before it is read.
    if (std::less<>{}(source, destination)) {
        for (std::size_t i = end; i > wordsEnd; --i) copyElement<std::uint8_t>(destination, source, i - 1);
        for (std::size_t i = wordsEnd; i > 0; i -= sizeof(Word)) {
            copyElement<Word>(destination, source, i - sizeof(Word));
        }
    } else {
        for (std::size_t i = 0; i < wordsEnd; i += sizeof(Word)) copyElement<Word>(destination, source, i);
        for (std::size_t i = wordsEnd; i < end; ++i) copyElement<std::uint8_t>(destination, source, i);
    }
}

}  // namespace ondrix
