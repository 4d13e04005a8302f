// Built with the vector instructions of the machine at hand.

#include "Loops.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace ondrix::benchmarks::loops {

namespace {

template <std::size_t i>
inline float applied(float value) {
    if constexpr (std::holds_alternative<Levels>(pointChain[i])) {
        constexpr Levels levels = std::get<Levels>(pointChain[i]);
        return value * levels.gain + levels.offset;
    } else if constexpr (std::holds_alternative<Square>(pointChain[i])) {
        return value * value;
    } else {
        constexpr MixInverse mix = std::get<MixInverse>(pointChain[i]);
        return value + ((1.0f - value) - value) * mix.amount;
    }
}

/// `value` is of the order of 1.
inline int roundedLevel(float value) {
    const int level = static_cast<int>(value * 255.0f + 0.5f);
    return level < 0 ? 0 : level > 255 ? 255 : level;
}

template <std::size_t... i>
inline std::uint8_t applyAll(std::uint8_t byte, std::index_sequence<i...>) {
    int level = byte;
    ((level = roundedLevel(applied<i>(static_cast<float>(level) * (1.0f / 255.0f)))), ...);
    return static_cast<std::uint8_t>(level);
}

typedef float Colour __attribute__((vector_size(16)));
typedef std::int32_t Levels4 __attribute__((vector_size(16)));
typedef std::uint8_t Bytes4 __attribute__((vector_size(4)));

inline Colour mix(Colour a, Colour b, float weight) {
    return a + (b - a) * weight;
}

}  // namespace

void applyPointChain(const Frame& input, Frame& output, int firstRow, int endRow) {
    const int size = input.width() * 4;
    for (int y = firstRow; y < endRow; ++y) {
        const std::uint8_t* __restrict in = input.row(y);
        std::uint8_t* __restrict out = output.row(y);
        for (int i = 0; i < size; ++i) out[i] = applyAll(in[i], std::make_index_sequence<pointChain.size()>());
    }
}

ColourTable::ColourTable(const Frame& table) {
    for (int blue = 0; blue < tableSize; ++blue) {
        for (int green = 0; green < tableSize; ++green) {
            const std::uint8_t* bytes = table.row(green) + 4 * blue * tableSize;
            for (int i = 0; i < 4 * tableSize; ++i) colours_.push_back(bytes[i]);
        }
    }
    for (int level = 0; level < 256; ++level) {
        // The last level lies at the end of the last step, so that every step has an entry on both sides.
        const float at = static_cast<float>(level) * (tableSize - 1) / 255.0f;
        const int entry = std::min(static_cast<int>(at), tableSize - 2);
        places_[static_cast<std::size_t>(level)] = {entry, at - static_cast<float>(entry)};
    }
}

void ColourTable::lookUp(const Frame& input, Frame& output, int firstRow, int endRow) const {
    const auto* table = reinterpret_cast<const float*>(colours_.data());
    const auto load = [](const float* colour) {
        Colour value;
        std::memcpy(&value, colour, sizeof value);
        return value;
    };
    for (int y = firstRow; y < endRow; ++y) {
        const std::uint8_t* in = input.row(y);
        std::uint8_t* out = output.row(y);
        for (int x = 0; x < input.width(); ++x, in += 4, out += 4) {
            const Place blue = places_[in[0]], green = places_[in[1]], red = places_[in[2]];
            const float* at = table + 4 * ((blue.entry * tableSize + green.entry) * tableSize + red.entry);
            constexpr int down = 4 * tableSize, right = down * tableSize;
            const auto line = [&](const float* first) { return mix(load(first), load(first + 4), red.fraction); };
            const Colour near = mix(line(at), line(at + down), green.fraction);
            const Colour far = mix(line(at + right), line(at + right + down), green.fraction);
            const auto levels = __builtin_convertvector(mix(near, far, blue.fraction) + 0.5f, Levels4);
            const auto bytes = __builtin_convertvector(levels, Bytes4);
            std::memcpy(out, &bytes, 4);
            out[3] = in[3];
        }
    }
}

}  // namespace ondrix::benchmarks::loops
