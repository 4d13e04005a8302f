#include <ondrix/platform/os/OutOfMemory.h>
#include <ondrix/platform/software/Buffer.h>

namespace ondrix::software {

std::shared_ptr<Buffer> Buffer::create(std::int64_t length) {
    if (length < 1) return nullptr;
    return os::orAbsent([&]() -> std::shared_ptr<Buffer> {
        AlignedMemory memory = AlignedMemory::allocate(static_cast<std::uint64_t>(length));
        if (memory.bytes() == nullptr) return nullptr;
        return std::shared_ptr<Buffer>(new Buffer(std::move(memory)));
    });
}

}  // namespace ondrix::software
