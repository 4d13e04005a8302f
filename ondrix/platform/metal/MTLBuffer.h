#pragma once

#include <cstdint>

namespace ondrix {

/// Bytes that the CPU and GPU functions both see, shared by reference. Nothing orders a CPU write against unfinished
/// GPU work that reads the same bytes; word-wise atomic writes are never torn.
class MTLBuffer {
public:
    virtual ~MTLBuffer() = default;

    [[nodiscard]] virtual std::uint64_t length() const = 0;  ///< bytes
    /// Start of the bytes, at least 16-byte aligned; valid as long as the buffer.
    [[nodiscard]] virtual void* contents() const = 0;
};

}  // namespace ondrix
