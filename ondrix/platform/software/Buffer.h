#pragma once

#include <memory>

#include <ondrix/platform/metal/MTLBuffer.h>
#include <ondrix/platform/software/AlignedMemory.h>

namespace ondrix::software {

/// A buffer in main memory, 64-byte aligned.
class Buffer final : public MTLBuffer {
public:
    /// All bytes zero; null for a length below 1 or without memory for it.
    static std::shared_ptr<Buffer> create(std::int64_t length);

    [[nodiscard]] std::uint64_t length() const override { return memory_.size(); }
    [[nodiscard]] void* contents() const override { return memory_.bytes(); }
    [[nodiscard]] const std::byte* bytes() const noexcept { return memory_.bytes(); }

private:
    explicit Buffer(AlignedMemory memory) : memory_(std::move(memory)) {}

    AlignedMemory memory_;
};

}  // namespace ondrix::software
