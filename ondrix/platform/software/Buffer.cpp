#include <new>

#include <ondrix/platform/software/Buffer.h>

namespace ondrix::software {

std::shared_ptr<Buffer> Buffer::create(std::int64_t length) {
    if (length < 1) return nullptr;
    try {
        AlignedMemory memory = AlignedMemory::allocate(static_cast<std::uint64_t>(length));
        if (memory.bytes() == nullptr) return nullptr;
        return std::shared_ptr<Buffer>(new Buffer(std::move(memory)));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

}  // namespace ondrix::software
