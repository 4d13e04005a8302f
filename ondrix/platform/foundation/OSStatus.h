#pragma once

#include <cstdint>

namespace ondrix {

/// Status of the media functions; 0 is success.
using OSStatus = std::int32_t;

inline constexpr OSStatus noErr = 0;

}  // namespace ondrix
