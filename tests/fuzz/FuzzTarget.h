#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <span>
#include <stdexcept>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

/// Feeds `size` bytes to what is tested. Every fault ends the process; whatever the bytes are refused for is none. Each
/// target is a source file that defines this, linked with libFuzzer or with Replay.cpp.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size);

namespace ondrix::test {

/// Ends the process unless `condition` holds.
inline void require(bool condition, const char* what) {
    if (condition) return;
    std::fprintf(stderr, "fault: %s\n", what);
    std::abort();
}

/// Numbers made from bytes, the first ones first; zeros when the bytes are used up. So a longer or a damaged input is
/// one as good as any.
class FuzzInput {
public:
    FuzzInput(const std::uint8_t* bytes, std::size_t size) : bytes_(bytes, size) {}

    /// A number from `low` to `high`, both included.
    std::int64_t number(std::int64_t low, std::int64_t high) {
        const std::uint64_t range = static_cast<std::uint64_t>(high) - static_cast<std::uint64_t>(low);
        std::uint64_t value = 0;
        for (std::uint64_t most = range; most > 0; most >>= 8) value = value << 8 | byte();
        if (range != UINT64_MAX) value %= range + 1;
        return static_cast<std::int64_t>(static_cast<std::uint64_t>(low) + value);
    }
    bool flag() { return (byte() & 1) != 0; }
    /// True once in `times`.
    bool rarely(int times = 16) { return byte() % times == 1; }
    template <class Choices>
    const auto& oneOf(const Choices& choices) {
        return choices[static_cast<std::size_t>(number(0, static_cast<std::int64_t>(std::size(choices)) - 1))];
    }
    /// From `low` to `high`, rarely any float at all, infinite and NaN among them.
    float real(float low, float high) {
        if (!rarely()) return low + (high - low) * static_cast<float>(number(0, 4096)) / 4096;
        const auto bits = static_cast<std::uint32_t>(number(0, UINT32_MAX));
        float value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    /// Pseudo-random bytes, which take few of the input.
    void fill(void* bytes, std::size_t size) {
        std::minstd_rand random(static_cast<unsigned>(number(1, 0xFFFF)));
        for (std::size_t i = 0; i < size; ++i)
            static_cast<std::uint8_t*>(bytes)[i] = static_cast<std::uint8_t>(random() >> 8);
    }
    /// What hasn't been used yet.
    [[nodiscard]] std::span<const std::uint8_t> rest() const { return bytes_; }

private:
    std::uint8_t byte() {
        if (bytes_.empty()) return 0;
        const std::uint8_t first = bytes_.front();
        bytes_ = bytes_.subspan(1);
        return first;
    }

    std::span<const std::uint8_t> bytes_;
};

/// A file in memory alone, for what reads files by name.
class MemoryFile {
public:
    MemoryFile(const std::uint8_t* bytes, std::size_t size) : file_(memfd_create("fuzz", MFD_CLOEXEC)) {
        if (file_ < 0 || write(file_, bytes, size) != static_cast<ssize_t>(size)) {
            throw std::runtime_error("no file in memory");
        }
    }
    ~MemoryFile() { close(file_); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    [[nodiscard]] std::filesystem::path path() const { return "/proc/self/fd/" + std::to_string(file_); }

private:
    int file_;
};

}  // namespace ondrix::test
