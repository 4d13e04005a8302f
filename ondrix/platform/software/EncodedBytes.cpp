#include <cstring>

#include <ondrix/platform/software/EncodedBytes.h>

namespace ondrix::software {

std::string encodeBytes(CommandBuffer& commandBuffer, BindingTable& bindings, const char* operation, const void* bytes,
                        std::int64_t length, std::int64_t index) {
    if (bytes == nullptr || length < 1) {
        return std::string(operation) + ": no bytes are given for slot " + std::to_string(index);
    }
    const auto size = static_cast<std::size_t>(length);
    auto* copy = static_cast<std::byte*>(commandBuffer.memory().allocate(size, 16));
    std::memcpy(copy, bytes, size);
    return bindings.setBytes(operation, copy, length, index);
}

}  // namespace ondrix::software
