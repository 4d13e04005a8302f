#pragma once

#include <cstdint>
#include <string>

#include <ondrix/platform/software/BindingTable.h>
#include <ondrix/platform/software/CommandBuffer.h>

namespace ondrix::software {

/// Binds a copy of the caller's bytes, in the memory of the command buffer; returns a problem or an empty text.
[[nodiscard]] std::string encodeBytes(CommandBuffer& commandBuffer, BindingTable& bindings, const char* operation,
                                      const void* bytes, std::int64_t length, std::int64_t index);

}  // namespace ondrix::software
