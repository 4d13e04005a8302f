#pragma once

#include <cstdint>
#include <memory>

#include <ondrix/platform/corevideo/CVPixelBuffer.h>

namespace ondrix {

/// Makes pixel buffers of one kind and takes each back for reuse when its last holder lets go, on whatever thread. The
/// pool may go first: buffers that are still out then free themselves. Safe to use from any thread.
class CVPixelBufferPool;

/// `pixelBufferAttributes` must give format, width and height in range, else the status is invalid pixel buffer
/// attributes; a pool attribute out of range is invalid pool attributes. The minimum count of buffers is made at once,
/// and every buffer that comes back is kept. On failure `pool` is set to null.
CVReturn CVPixelBufferPoolCreate(const CVAttributes* poolAttributes, const CVAttributes* pixelBufferAttributes,
                                 std::shared_ptr<CVPixelBufferPool>* pool);

/// A buffer that nobody else holds, of undefined content.
CVReturn CVPixelBufferPoolCreatePixelBuffer(CVPixelBufferPool& pool, std::shared_ptr<CVPixelBuffer>* buffer);

[[nodiscard]] std::int64_t CVPixelBufferPoolGetLiveCount(const CVPixelBufferPool& pool);  ///< buffers held by somebody
[[nodiscard]] std::int64_t CVPixelBufferPoolGetFreeCount(const CVPixelBufferPool& pool);  ///< buffers waiting for reuse

}  // namespace ondrix
