#pragma once

#include <ondrix/platform/software/Commands.h>
#include <ondrix/platform/software/ExecutionContext.h>

namespace ondrix::software {

/// Runs a dispatch on all threads of the context; false without memory for it.
[[nodiscard]] bool run(const DispatchCommand& command, ExecutionContext& context);

}  // namespace ondrix::software
