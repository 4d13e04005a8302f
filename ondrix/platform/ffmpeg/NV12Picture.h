#pragma once

#include <cstdint>

#include <ondrix/platform/corevideo/CVPixelBuffer.h>

namespace ondrix {

/// The pixels of a buffer in 'BGRA', '420v' or '420f', of even sides, as rows of 4:2:0 in BT.709 and video range,
/// chroma interleaved; each within one level of the exact value. A chroma sample is the mean of its four pixels. Keeps
/// the buffer locked while it lives. Internal: not installed.
class NV12Picture {
public:
    /// True when rows can be had of buffers in this format.
    [[nodiscard]] static bool isSupported(OSType pixelFormat);

    explicit NV12Picture(CVPixelBuffer& pixelBuffer);
    ~NV12Picture();
    NV12Picture(const NV12Picture&) = delete;
    NV12Picture& operator=(const NV12Picture&) = delete;

    /// Writes one byte for each pixel of row `y`.
    void copyLumaRow(std::int64_t y, std::uint8_t* row) const;
    /// Writes Cb and Cr for each pair of columns of the rows 2 `y` and 2 `y` + 1.
    void copyChromaRow(std::int64_t y, std::uint8_t* row) const;

private:
    [[nodiscard]] const std::uint8_t* sourceRow(std::int64_t plane, std::int64_t y) const;

    CVPixelBuffer& pixelBuffer_;
    const OSType format_;
    const std::int64_t width_;  ///< pixels
};

}  // namespace ondrix
