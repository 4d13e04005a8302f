#pragma once

#include <cstdint>

namespace ondrix {

/// Status of the pixel-buffer functions; 0 is success.
using CVReturn = std::int32_t;

inline constexpr CVReturn kCVReturnSuccess = 0;
inline constexpr CVReturn kCVReturnError = -6660;
inline constexpr CVReturn kCVReturnInvalidArgument = -6661;
inline constexpr CVReturn kCVReturnAllocationFailed = -6662;
inline constexpr CVReturn kCVReturnInvalidPixelFormat = -6680;
inline constexpr CVReturn kCVReturnInvalidSize = -6681;
inline constexpr CVReturn kCVReturnInvalidPixelBufferAttributes = -6682;
inline constexpr CVReturn kCVReturnPixelBufferNotMetalCompatible = -6684;
inline constexpr CVReturn kCVReturnInvalidPoolAttributes = -6691;

}  // namespace ondrix
