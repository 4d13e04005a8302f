#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <variant>

namespace ondrix {

/// Marks an attribute whose value is a dictionary that may only be empty.
struct CVEmptyDictionary {};

/// A dictionary of pixel-buffer or pool attributes. Unknown keys are ignored; a known key with a value of the wrong
/// kind or out of range is an error of the function that is given the dictionary.
using CVAttributes = std::map<std::string, std::variant<std::int64_t, CVEmptyDictionary>>;

inline constexpr const char* kCVPixelBufferPixelFormatTypeKey = "PixelFormatType";
inline constexpr const char* kCVPixelBufferWidthKey = "Width";    ///< pixels, 1 to 16384
inline constexpr const char* kCVPixelBufferHeightKey = "Height";  ///< pixels, 1 to 16384
inline constexpr const char* kCVPixelBufferBytesPerRowAlignmentKey =
    "BytesPerRowAlignment";  ///< a power of two up to 4096
inline constexpr const char* kCVPixelBufferIOSurfacePropertiesKey = "IOSurfaceProperties";
inline constexpr const char* kCVPixelBufferPoolMinimumBufferCountKey = "MinimumBufferCount";  ///< 0 to 4096

}  // namespace ondrix
