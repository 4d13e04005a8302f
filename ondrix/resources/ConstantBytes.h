#pragma once

#include <ondrix/platform/metal/MTLBuffer.h>
#include <ondrix/types/Int.h>

namespace ondrix {

/// Copies `length` bytes to the start of `buffer`, which must hold as many, in relaxed atomic 32-bit words and a tail
/// of bytes: GPU work may read the same words meanwhile. Source and destination may overlap.
void writeConstants(MTLBuffer& buffer, const void* bytes, Int length) noexcept;

}  // namespace ondrix
