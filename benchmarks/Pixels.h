#pragma once

#include <memory>

#include <ondrix/core/Device.h>
#include <ondrix/platform/corevideo/CVPixelBuffer.h>
#include <ondrix/resources/Texture.h>

#include "Frame.h"

namespace ondrix::benchmarks {

// Pixels on their way into the framework and out of it again, by its public operations. All throw std::runtime_error
// when that fails.

/// A texture with the pixels of a BGRA frame.
[[nodiscard]] std::shared_ptr<Texture> makeTexture(Device& device, const Frame& frame);
/// An empty BGRA texture that passes can read, draw to and write.
[[nodiscard]] std::shared_ptr<Texture> makeTexture(Device& device, int width, int height);
/// A video range NV12 buffer with the given planes.
[[nodiscard]] std::shared_ptr<CVPixelBuffer> makeNV12Buffer(const Frame& luma, const Frame& chroma);

/// A frame of 10 bits, in PQ with the primaries of BT.2020.
[[nodiscard]] std::shared_ptr<CVPixelBuffer> makeP010Buffer(const Frame& luma, const Frame& chroma);

/// The pixels of a BGRA texture.
[[nodiscard]] std::shared_ptr<const Frame> read(Texture& texture);
[[nodiscard]] std::shared_ptr<const Frame> read(const MTLTexture& texture);
/// The planes of an NV12 buffer, one byte a pixel, the rows of chroma after those of luma.
[[nodiscard]] std::shared_ptr<const Frame> readNV12(CVPixelBuffer& buffer);
/// The pixels of a BGRA buffer.
[[nodiscard]] std::shared_ptr<const Frame> read(CVPixelBuffer& buffer);

}  // namespace ondrix::benchmarks
