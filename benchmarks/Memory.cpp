#include "Memory.h"

#include <algorithm>
#include <atomic>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace ondrix::benchmarks {

namespace {

constexpr std::size_t lineSize = 64;
/// Bytes of a block: what is written more than once, because more is written than read, comes out of the first cache.
constexpr std::size_t blockSize = 8192;

using Copy = void (*)(std::uint8_t* to, const std::uint8_t* from, std::size_t size);

void copyByLibrary(std::uint8_t* to, const std::uint8_t* from, std::size_t size) {
    std::memcpy(to, from, size);
}

#if defined(__x86_64__)
// `size` in whole lines, `to` at the beginning of one.

__attribute__((target("avx2"))) void copyThroughCaches(std::uint8_t* to, const std::uint8_t* from, std::size_t size) {
    for (std::size_t i = 0; i < size; i += lineSize) {
        const __m256i first = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + i));
        const __m256i second = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + i + 32));
        _mm256_store_si256(reinterpret_cast<__m256i*>(to + i), first);
        _mm256_store_si256(reinterpret_cast<__m256i*>(to + i + 32), second);
    }
}

__attribute__((target("avx2"))) void copyPastCaches(std::uint8_t* to, const std::uint8_t* from, std::size_t size) {
    for (std::size_t i = 0; i < size; i += lineSize) {
        const __m256i first = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + i));
        const __m256i second = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + i + 32));
        _mm256_stream_si256(reinterpret_cast<__m256i*>(to + i), first);
        _mm256_stream_si256(reinterpret_cast<__m256i*>(to + i + 32), second);
    }
}
#endif

/// Orders what was stored past the caches before what follows.
void finishStores() {
#if defined(__x86_64__)
    _mm_sfence();
#endif
}

/// One word of every line.
std::uint64_t touch(const std::uint8_t* bytes, std::size_t size) {
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < size; i += lineSize) {
        std::uint64_t word;
        std::memcpy(&word, bytes + i, sizeof word);
        sum += word;
    }
    return sum;
}

/// Frames of one row of bytes, one more than there are steps.
using Buffers = std::vector<Frame>;

class Mover {
public:
    Mover(Workers& workers, const std::vector<Traffic>& steps, std::shared_ptr<Buffers> buffers, Copy copy)
        : workers_(workers), steps_(steps), buffers_(std::move(buffers)), copy_(copy) {}

    bool operator()() {
        for (std::size_t i = 0; i < steps_.size(); ++i) {
            step(steps_[i], (*buffers_)[i].row(0), (*buffers_)[i + 1].row(0));
        }
        return true;
    }

private:
    void step(const Traffic& traffic, const std::uint8_t* from, std::uint8_t* to) const {
        // As much written as read is one copy a thread.
        const bool even = traffic.read == traffic.written;
        const std::size_t blocksOfAll = std::max(traffic.read, traffic.written) / blockSize + 1;
        const int blocks = even ? 2 * workers_.threads() : static_cast<int>(blocksOfAll);
        const auto boundary = [blocks](std::size_t size, int block) {
            return size * static_cast<std::size_t>(block) / static_cast<std::size_t>(blocks) / lineSize * lineSize;
        };
        workers_.forRows(blocks, [&](const Workers::Share& share) {
            std::uint64_t sum = 0;
            const int step = even ? share.endRow - share.firstRow : 1;
            for (int block = share.firstRow; block < share.endRow; block += step) {
                const std::size_t first = boundary(traffic.read, block), start = boundary(traffic.written, block);
                const std::size_t read = boundary(traffic.read, block + step) - first;
                const std::size_t written = boundary(traffic.written, block + step) - start;
                for (std::size_t done = 0; done < written && read > 0; done += read) {
                    copy_(to + start + done, from + first, std::min(read, written - done));
                }
                if (read > written) sum += touch(from + first + written, read - written);
            }
            finishStores();
            sum_.fetch_add(sum, std::memory_order_relaxed);
        });
    }

    Workers& workers_;
    std::vector<Traffic> steps_;
    std::shared_ptr<Buffers> buffers_;
    Copy copy_;
    inline static std::atomic<std::uint64_t> sum_{0};  ///< keeps what is only read from being left out
};

}  // namespace

void addMemory(Row& row, Workers& workers, const std::string& name, const std::vector<Traffic>& steps) {
    const auto buffers = std::make_shared<Buffers>();
    for (std::size_t i = 0; i <= steps.size(); ++i) {
        const std::size_t size =
            std::max(i > 0 ? steps[i - 1].written : 0, i < steps.size() ? steps[i].read : 0) + lineSize;
        buffers->push_back(Frame::noisy(static_cast<int>(size), 1, 1, 9));
    }
    std::vector<Copy> copies = {copyByLibrary};
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2")) copies.insert(copies.end(), {copyThroughCaches, copyPastCaches});
#endif
    for (const Copy copy : copies) {
        row.contenders.push_back({name, Role::memory, Mover(workers, steps, buffers, copy), {}});
    }
}

}  // namespace ondrix::benchmarks
