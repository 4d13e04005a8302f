#pragma once

#include <cstdint>

namespace ondrix {

/// The signed integer of the framework's interface: sizes in pixels, lengths in bytes, slot indices.
using Int = std::int64_t;

}  // namespace ondrix
