#pragma once

#include <ondrix/platform/software/DispatchGroup.h>
#include <ondrix/platform/software/ExecutionContext.h>

namespace ondrix::software {

/// Runs dispatches on all threads of the context; false without memory for it.
[[nodiscard]] bool run(const DispatchGroup& group, ExecutionContext& context);

}  // namespace ondrix::software
