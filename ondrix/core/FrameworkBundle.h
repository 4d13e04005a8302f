#pragma once

#include <memory>

#include <ondrix/platform/foundation/NSBundle.h>

namespace ondrix {

/// The bundle that holds the framework's own code and its default shader library; never null.
[[nodiscard]] std::shared_ptr<NSBundle> frameworkBundle();

}  // namespace ondrix
