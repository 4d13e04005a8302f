#pragma once

#include <memory>
#include <vector>

#include <ondrix/passes/Pass.h>
#include <ondrix/resources/Texture.h>

#include "EffectRequest.h"
#include "Session.h"

namespace ondrix::tools {

/// The passes of the requested effects, in order: the first draws `first` into `second`, the next back, and so on.
/// Throws `Failure` for a table or a picture that can't be read, and with `file` as its subject when the effects can't
/// be made. Needs an open device.
[[nodiscard]] std::vector<std::shared_ptr<Pass>> makeEffectPasses(Session& session,
                                                                  const std::vector<EffectRequest>& requests,
                                                                  const std::shared_ptr<Texture>& first,
                                                                  const std::shared_ptr<Texture>& second,
                                                                  const std::string& file);

}  // namespace ondrix::tools
