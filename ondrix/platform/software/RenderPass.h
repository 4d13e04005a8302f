#pragma once

#include <ondrix/platform/software/Commands.h>
#include <ondrix/platform/software/ExecutionContext.h>

namespace ondrix::software {

/// Runs a render pass on all threads of the context; false without memory for it. Primitives are set up first, then
/// drawn strip by strip, the load action and all draws of a strip while its pixels are in the cache. Clearing leaves
/// out what the first primitives cover anyway.
[[nodiscard]] bool run(const RenderPassCommand& pass, ExecutionContext& context);

}  // namespace ondrix::software
